#include "model/thread.h"
#include "view/thread.h"

#include "tests/unit/made.h"

#include <gtest/gtest.h>

namespace {
struct MadeThread {
    int tid;
    uint64_t run_ns, wait_ns;
    uint64_t user = 0, start = 5000;
    char state = 'S';
    const char* name = "worker";
    bool schedule = true;
    int switches = -1; // voluntary ones; a third of them not; -1: no file tells
};
} // namespace

// The files of threads, as directives of a world.
static std::string files(int pid, const std::vector<MadeThread>& threads) {
    std::string lines;
    const auto n = [](auto value) { return std::to_string(value); };
    for (auto& thread : threads) {
        const auto at = "/proc/" + n(pid) + "/task/" + n(thread.tid);
        if (thread.schedule)
            lines += "file " + at + "/schedstat <<E\n" + n(thread.run_ns) + " " + n(thread.wait_ns) + " 3\nE\n";
        if (thread.switches >= 0)
            lines += "file " + at + "/status <<E\nName:\tx\nvoluntary_ctxt_switches:\t" + n(thread.switches) +
                     "\nnonvoluntary_ctxt_switches:\t" + n(thread.switches / 3) + "\nE\n";
        lines += "file " + at + "/stat <<E\n" + n(thread.tid) + " (" + thread.name + ") " + thread.state +
                 " 1 1 1 0 -1 64 7 0 2 0 " + n(thread.user) + " 4 0 0 20 -5 3 0 " + n(thread.start) +
                 " 1000000 100 18446744073709551615 1 1 0 0 0 0 0 0 0 0 0 0 17 3 0 0 9 0 0 0 0 0 0 0 0 0 0\nE\n";
    }
    return lines;
}

namespace {
struct Sampled {
    ThreadSampler sampler{Root()};
    ThreadSample sample;
    ProcSample processes;
    std::vector<Ran> ran;
    Interval interval;

    Sampled() {
        processes.boot_us = 100000000; // tick 10000
        auto& process = processes.slots.emplace_back();
        process.pid = 100, process.name = "java";
        processes.entries.push_back({100, 0, 0, 3, 'S', false});
    }
    void take(std::vector<Ran> now) {
        ran = std::move(now);
        sampler.sample(ran, processes, sample);
        interval.threads.clear(), interval.threadsTotal.clear();
        threadRows(sample, interval.threadsTotal, interval.threads);
    }
    const ThreadRow* row(uint64_t tid) const {
        for (auto& row : interval.threads.rows)
            if (row.tid == tid) return &row;
        return nullptr;
    }
};
} // namespace

static Ran several(int pid = 100, uint64_t start = 5000, uint64_t threads = 3) { return {pid, start, threads}; }

TEST(ThreadSampler, ThreadsThatMovedHaveRows) {
    Made made(files(100, {{100, 1000000, 0}, {101, 2000000, 500}, {102, 7000000, 0}}) + "step 1\n" +
              files(100, {{100, 1000000, 0}, {101, 5500000, 3500500, 30, 5000, 'R', "gc)1"}, {102, 7000000, 2000000}}));
    Sampled threads;
    threads.take({several()});
    EXPECT_TRUE(threads.interval.threadsTotal.rows.empty());
    made.step();
    threads.take({several(), several(7, 50, 1)});
    const auto& all = threads.interval.threadsTotal.rows.at(0);
    EXPECT_EQ(all.threads, 4U);
    EXPECT_EQ(all.ran, 3U); // one waited, one is a process of its own
    ASSERT_EQ(threads.interval.threads.rows.size(), 2U);
    const auto* row = threads.row(101);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->cpu_us, 3500U);
    EXPECT_EQ(row->wait_us, 3500U);
    EXPECT_FALSE(row->user_us); // the first pass reads no more than it must
    EXPECT_EQ(row->name, "gc)1");
    EXPECT_EQ(row->process, "java");
    EXPECT_EQ(row->state, 'R');
    EXPECT_EQ(row->core, 3U);
    EXPECT_EQ(row->nice, -5);
    EXPECT_EQ(row->start, 5000U);
    EXPECT_EQ(row->thread_start, 5000U);
    EXPECT_EQ(threads.row(102)->wait_us, 2000U);
    EXPECT_EQ(threads.interval.threads.elapsed_us, 1000000);
}

TEST(ThreadSampler, TimesAndFaultsFromTheSecondTimeOn) {
    Made made(files(100, {{100, 1, 0}, {101, 1000000, 0}}) + "step 1\n" + files(100, {{101, 2000000, 0, 10}}) +
              "step 2\n" + files(100, {{101, 3000000, 0, 13}}));
    Sampled threads;
    threads.take({several()});
    made.step();
    threads.take({several()});
    made.step();
    threads.take({several()});
    const auto* row = threads.row(101);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->user_us, 30000U);
    EXPECT_EQ(row->system_us, 0U);
    EXPECT_EQ(row->minor_faults, 0U);
    EXPECT_FALSE(row->block_us);
    EXPECT_EQ(threads.interval.threads.rows.size(), 1U);
}

// A wait is booked while it lasts, and not once more when the kernel books it at its end.
TEST(ThreadSampler, WaitsThatLast) {
    const auto waits = [](uint64_t run_ns, uint64_t wait_ns, char state) {
        return "step 1\n" + files(100, {{101, run_ns, wait_ns, 0, 5000, state}});
    };
    std::string lines = files(100, {{100, 1, 0}, {101, 1000000, 500000, 0, 5000, 'R'}});
    const std::string steps[] = {
        waits(2000000, 600000, 'R'),                                      // it runs
        waits(2000000, 600000, 'R'),                                      // it waits, a second each
        waits(2000000, 600000, 'R'),     waits(3000000, 2400600000, 'R'), // 2.4 seconds in all
        waits(3000000, 2400600000, 'S'),                                  // asleep
        waits(3000000, 2400600000, 'R'), // and woken up: it has not run since it was seen asleep
    };
    int number = 0;
    for (auto step : steps) lines += step.replace(5, 1, std::to_string(++number));
    Made made(lines);
    Sampled threads;
    threads.take({several()});
    const std::optional<uint64_t> expected[] = {100, 1000000, 1000000, 400000, {}, {}};
    for (const auto& wait : expected) {
        made.step();
        threads.take({several()});
        const auto* row = threads.row(101);
        ASSERT_EQ(row != nullptr, wait.has_value());
        if (row) {
            EXPECT_EQ(row->wait_us, wait);
        }
    }
}

TEST(ThreadSampler, Switches) {
    Made made(files(100, {{100, 1, 0}, {101, 1000000, 0}}) + "step 1\n" +
              files(100, {{101, 2000000, 0, 0, 5000, 'S', "worker", true, 30}}) + "step 2\n" +
              files(100, {{101, 3000000, 0, 0, 5000, 'S', "worker", true, 36},
                          {102, 3000000, 0, 0, 10150, 'S', "worker", true, 9}}));
    Sampled threads;
    threads.take({several()});
    made.step();
    threads.take({several()});
    EXPECT_FALSE(threads.row(101)->voluntary); // the first pass reads no more than it must
    made.step();
    threads.take({several()});
    EXPECT_EQ(threads.row(101)->voluntary, 6U);
    EXPECT_EQ(threads.row(101)->involuntary, 2U);
    EXPECT_EQ(threads.row(102)->voluntary, 9U); // it began since
}

// What began since the last pass has its whole counters as its amounts; what was only not seen has none.
TEST(ThreadSampler, BirthsEndsAndReuse) {
    Made made(files(100, {{100, 1000, 0}, {101, 9000000, 0}}) + "step 1\ngone /proc/100/task/101\n" +
              files(100, {{102, 4000000, 0, 1, 10001}}) +
              files(200, {{200, 8000000, 0, 1, 300}, {201, 2000000, 0, 1, 10002}}) + "step 2\n" +
              files(100, {{102, 1000000, 0, 1, 10201}}) + "step 3\n" + files(100, {{100, 6000000, 0, 1, 77}}));
    Sampled threads;
    threads.take({several()});
    made.step();
    threads.take({several(), several(200, 300)});
    EXPECT_EQ(threads.row(102)->cpu_us, 4000U);
    EXPECT_FALSE(threads.row(101));
    EXPECT_FALSE(threads.row(200)->cpu_us); // it had one thread before
    EXPECT_EQ(threads.row(201)->cpu_us, 2000U);
    made.step();
    threads.take({several()});
    EXPECT_EQ(threads.row(102)->cpu_us, 1000U); // another thread with the same number
    made.step();
    threads.take({several(100, 99)}); // another process with the same pid
    EXPECT_FALSE(threads.row(100)->cpu_us);
}

// Its counters are larger than those of the one that had its number, but they are its own.
TEST(ThreadSampler, ReuseByABusierThread) {
    Made made(files(100, {{100, 1000, 0}, {101, 1000000, 0}}) + "step 1\n" + files(100, {{101, 2000000, 500000}}) +
              "step 2\n" + files(100, {{101, 7000000, 900000, 1, 10150}}));
    Sampled threads;
    threads.take({several()});
    made.step();
    threads.take({several()});
    EXPECT_EQ(threads.row(101)->cpu_us, 1000U);
    made.step();
    threads.take({several()});
    EXPECT_EQ(threads.row(101)->cpu_us, 7000U);
    EXPECT_EQ(threads.row(101)->wait_us, 900U);
}

TEST(ThreadSampler, AKernelWithoutSchedstat) {
    MadeThread idle{100, 0, 0, 5}, busy{101, 0, 0, 5}, later{101, 0, 0, 25}, last{101, 0, 0, 26};
    idle.schedule = busy.schedule = later.schedule = last.schedule = false;
    Made made(files(100, {idle, busy}) + "step 1\n" + files(100, {later}) + "step 2\n" + files(100, {last}));
    Sampled threads;
    threads.take({several()});
    made.step();
    threads.take({several()});
    made.step();
    threads.take({several()});
    ASSERT_EQ(threads.interval.threads.rows.size(), 1U);
    EXPECT_EQ(threads.row(101)->cpu_us, 10000U);
    EXPECT_FALSE(threads.row(101)->wait_us);
}

TEST(ThreadSampler, AProcessThatVanishes) {
    Made made("");
    Sampled threads;
    threads.take({several()});
    threads.take({several(), several(7)});
    EXPECT_TRUE(threads.interval.threads.rows.empty());
    EXPECT_EQ(threads.interval.threadsTotal.rows.at(0).threads, 0U);
}

TEST(ThreadView, ThreadsAndProcessesWithOneThread) {
    Interval interval;
    EXPECT_EQ(
        [&] {
            Page page(0, false);
            showThreads(interval, {LogHead{}, ViewRow{}}, page);
            return page.text();
        }(),
        "");
    interval.threadsTotal.elapsed_us = interval.threads.elapsed_us = 2000000;
    auto& all = interval.threadsTotal.rows.emplace_back();
    all.threads = 90, all.ran = 3;
    const auto shown = [&](const ViewRow& asked, size_t width = 0) {
        Page page(width, false);
        showThreads(interval, {LogHead{}, asked}, page);
        return page.text();
    };
    EXPECT_EQ(shown({}), "THREAD  90 threads of the processes that ran: 3 ran, 0 shown\n");
    auto& thread = interval.threads.rows.emplace_back();
    thread.pid = 100, thread.tid = 101, thread.name = "gc\x1b[2J", thread.process = "java", thread.state = 'D';
    thread.cpu_us = 200000, thread.wait_us = 20000, thread.user_us = 180000, thread.system_us = 20000;
    thread.major_faults = 4, thread.core = 3, thread.nice = -5;
    auto& process = interval.processes.rows.emplace_back();
    process.pid = 7, process.name = "bash", process.state = 'S', process.threads = 1, process.cpu_us = 400000;
    auto& other = interval.processes.rows.emplace_back();
    other.pid = 8, other.threads = 1, other.cpu_us = 0, other.wait_us = 100000, other.name = "waiter";
    auto& many = interval.processes.rows.emplace_back();
    many.pid = 100, many.threads = 3, many.cpu_us = 200000; // its threads have rows
    EXPECT_EQ(shown({}),
              " THREAD     pid S  cpu% wait%  usr%  sys%  blk% majf/s minf/s core  ni name            process\n"
              "      7       7 S  20.0     -     -     -     -      -      -    -   - bash            bash\n"
              "    101     100 D  10.0   1.0   9.0   1.0     -      2      -    3  -5 gc\\x1B[2J       java\n"
              "      8       8 -   0.0   5.0     -     -     -      -      -    -   - waiter          waiter\n"
              "90 threads of the processes that ran: 3 ran, 3 shown\n");
    ViewRow asked;
    asked.sort = "faults";
    EXPECT_EQ(shown(asked, 60), " THREAD     pid S  cpu% wait%  usr% name            process\n"
                                "    101     100 D  10.0   1.0   9.0 gc\\x1B[2J       java\n"
                                "90 threads of the processes that ran: 3 ran, 1 shown\n");
    asked.sort = "wait", asked.rows = 1;
    EXPECT_NE(shown(asked).find("\n      8 "), std::string::npos);
    asked.pid = "100";
    EXPECT_NE(shown(asked).find("\n    101 "), std::string::npos);
}
