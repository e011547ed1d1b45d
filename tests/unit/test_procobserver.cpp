// An observer who knows everything that the processes of a made-up machine do: whatever runs, execs, ends, begins and
// takes a used pid, each row has exactly what happened between the two samples, and nothing that happened has no row.
#include "model/proc.h"
#include "sample/proc.h"
#include "tests/unit/made.h"
#include "tests/unit/process.h"
#include "tests/unit/sanitized.h"

#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {
// One process, and what it had at the sample before.
struct Known {
    MadeProcess now, before;
    bool born = false;
};
struct Step {
    std::map<int, Known> processes; // after the step
    size_t ended = 0, born = 0;
};

class Observer {
    std::mt19937 random;
    std::map<int, Known> processes;
    std::string lines;
    unsigned steps = 0;

    uint64_t upTo(uint64_t most) { return std::uniform_int_distribution<uint64_t>(0, most)(random); }
    bool oneIn(uint64_t n) { return upTo(n - 1) == 0; }
    int freePid() {
        for (;;)
            if (const int pid = 2 + static_cast<int>(upTo(998)); !processes.contains(pid)) return pid;
    }
    MadeProcess made(int pid) {
        MadeProcess process{.pid = pid};
        process.name = oneIn(3) ? "a) R 1 (b" : "worker " + std::to_string(pid);
        process.start = 10000 + steps * 100ULL - 50;
        process.cpu_ns = static_cast<int64_t>(1 + upTo(900)) * 1000000;
        process.user = upTo(90), process.system = upTo(9);
        process.write_bytes = upTo(5) * 4096;
        return process;
    }
    void run(MadeProcess& process) {
        process.cpu_ns += static_cast<int64_t>(1 + upTo(400000)) * 1000;
        process.user += upTo(20), process.system += upTo(20);
        process.voluntary += upTo(100), process.involuntary += upTo(100);
        process.wait_ns += upTo(5000) * 1000;
        if (oneIn(2)) process.read_bytes += upTo(1000) * 512;
        if (oneIn(2)) process.write_bytes += upTo(1000) * 512;
        if (oneIn(2)) process.minor_faults += 1 + upTo(500), process.anonymous_kib += 4 * upTo(100);
        if (oneIn(8)) process.major_faults += 1 + upTo(5);
        if (oneIn(8)) process.name = "after exec " + std::to_string(upTo(99)), process.command = process.name + " --x";
        process.state = oneIn(2) ? 'D' : 'S'; // at the sample; one that waits for a CPU has tests of its own
    }
    void begin(int pid, Step& step) {
        processes[pid] = {made(pid), {}, true};
        lines += processes[pid].now.text();
        step.born++;
    }
    void end(int pid, Step& step) {
        lines += "gone /proc/" + std::to_string(pid) + "\ncpuclock " + std::to_string(pid) + " gone\n";
        processes.erase(pid);
        step.ended++;
    }

public:
    std::vector<Step> truth;
    explicit Observer(unsigned seed, unsigned count) : random(seed) {
        lines = MadeTicks().text() + MadeProcess{.pid = 1, .parent = 0}.text();
        Step first;
        for (int i = 0; i < 30; i++) begin(freePid(), first);
        for (steps = 1; steps <= count; steps++) {
            lines += "step " + std::to_string(steps) + "\n";
            Step step;
            std::vector<int> pids;
            for (auto& [pid, process] : processes) {
                process.before = process.now, process.born = false;
                pids.push_back(pid);
            }
            for (const int pid : pids) {
                auto& process = processes[pid].now;
                if (oneIn(25)) {
                    end(pid, step);
                    if (oneIn(2)) begin(pid, step); // the same pid, another process
                } else if (oneIn(3)) {
                    run(process);
                    lines += process.text();
                }
            }
            for (uint64_t births = upTo(3); births > 0; births--) begin(freePid(), step);
            step.processes = processes;
            truth.push_back(std::move(step));
        }
    }
    const std::string& text() const { return lines; }
};
} // namespace

// Figures of a row beside what happened; `before` is null for one that was born.
static void expectExact(const ProcRow& row, const MadeProcess& now, const MadeProcess* before) {
    const auto since = [&](auto member) {
        return static_cast<uint64_t>(now.*member) - (before ? static_cast<uint64_t>(before->*member) : 0);
    };
    EXPECT_EQ(row.cpu_us, since(&MadeProcess::cpu_ns) / 1000);
    EXPECT_EQ(row.minor_faults, since(&MadeProcess::minor_faults));
    EXPECT_EQ(row.major_faults, since(&MadeProcess::major_faults));
    EXPECT_EQ(row.read_bytes, since(&MadeProcess::read_bytes));
    EXPECT_EQ(row.write_bytes, since(&MadeProcess::write_bytes));
    // Their file is read where memory may have changed. They are empty unless it was read both times.
    EXPECT_EQ(row.voluntary.value_or(since(&MadeProcess::voluntary)), since(&MadeProcess::voluntary));
    EXPECT_EQ(row.involuntary.value_or(since(&MadeProcess::involuntary)), since(&MadeProcess::involuntary));
    EXPECT_EQ(row.wait_us, since(&MadeProcess::wait_ns) / 1000);
    EXPECT_EQ(row.name, now.name.substr(0, 15));
    EXPECT_EQ(row.state, now.state);
    EXPECT_TRUE(row.ran);
}

namespace {
// The rows of a sample.
struct Seen {
    Rows<ProcsRow> all;
    Rows<ProcRow> rows;
    Rows<StartRow> starts;
    Rows<ExitRow> exits;
    explicit Seen(const ProcSample& sample) { processRows(sample, false, all, rows, starts, exits); }
};
} // namespace

TEST(ProcessObserver, NothingIsMissedAndNothingIsMadeUp) {
    constexpr unsigned Steps = 40;
    for (const unsigned seed : {1U, 2U, 3U, 4U, 5U}) {
        const Observer observer(seed, Steps);
        Made made("boot 100\n" + observer.text());
        Helper helper;
        ProcSampler sampler{Root(), helper};
        ProcSample sample;
        sampler.sample(sample);
        for (unsigned i = 0; i < Steps; i++) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(i + 1));
            made.step();
            sampler.sample(sample);
            const Seen seen(sample);
            const auto& truth = observer.truth[i];
            EXPECT_EQ(seen.starts.rows.size(), truth.born);
            EXPECT_EQ(seen.exits.rows.size(), truth.ended);
            EXPECT_EQ(seen.all.rows.at(0).processes, truth.processes.size() + 1); // and init
            std::map<uint64_t, const ProcRow*> byPid;
            for (auto& row : seen.rows.rows)
                EXPECT_TRUE(byPid.emplace(row.pid, &row).second) << "two rows of " << row.pid;
            for (auto& [pid, process] : truth.processes) {
                const auto found = byPid.find(static_cast<uint64_t>(pid));
                const bool ran = process.born || process.now.cpu_ns != process.before.cpu_ns;
                if (found == byPid.end()) {
                    EXPECT_FALSE(ran) << pid << " has no row";
                    continue;
                }
                EXPECT_EQ(found->second->start, process.now.start);
                if (ran) expectExact(*found->second, process.now, process.born ? nullptr : &process.before);
                else EXPECT_EQ(found->second->cpu_us.value_or(0), 0U) << pid << " did not run";
                byPid.erase(found);
            }
            for (auto& [pid, row] : byPid) EXPECT_EQ(pid, 1U) << "a row of no process: " << row->name;
        }
    }
}

// Those of them that ran are found, and no others.
TEST(ProcessObserver, AHundredThousandProcesses) {
#ifdef WYRT_SANITIZED
    constexpr int Count = 20000; // a sanitizer takes five times as long
#else
    constexpr int Count = 100000;
#endif
    std::string lines = MadeTicks().text();
    for (int pid = 1; pid <= Count; pid++)
        lines +=
            "file /proc/" + std::to_string(pid) + "/stat <<END\n" + std::to_string(pid) +
            " (x) S 1 1 1 0 -1 0 0 0 0 0 1 1 0 0 20 0 1 0 50 1000000 10 18446744073709551615 1 1 1 0 0 0 0 0 0 0 0 0 "
            "17 1 0 0 0 0 0\nEND\ncpuclock " +
            std::to_string(pid) + " 1000000\n";
    lines += "step 1\ncpuclock 7 3000000\ncpuclock " + std::to_string(Count - 1) + " 5000000\n";
    Made made("boot 100\n" + lines);
    Helper helper;
    ProcSampler sampler{Root(), helper};
    ProcSample sample;
    sampler.sample(sample);
    EXPECT_EQ(sample.entries.size(), static_cast<size_t>(Count));
    made.step();
    sampler.sample(sample);
    const Seen seen(sample);
    std::map<uint64_t, uint64_t> used;
    for (auto& row : seen.rows.rows)
        if (row.cpu_us.value_or(0) > 0) used[row.pid] = *row.cpu_us;
    EXPECT_EQ(used, (std::map<uint64_t, uint64_t>{{7, 2000}, {Count - 1, 4000}}));
    EXPECT_EQ(seen.all.rows.at(0).processes, static_cast<uint64_t>(Count));
}
