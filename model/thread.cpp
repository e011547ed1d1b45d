#include "model/thread.h"

#include "model/amounts.h"

namespace {
// The amounts of one thread.
struct Change {
    const ThreadChange& thread;

    std::optional<uint64_t> of(bool ThreadCounters::* known, uint64_t ThreadCounters::* counter,
                               uint64_t unit = 1) const {
        if (!thread.before || !(*thread.before.*known) || !(thread.now.*known)) return {};
        const auto change = grown(*thread.before.*counter, thread.now.*counter);
        return change ? std::optional(*change * unit) : std::nullopt;
    }
    // Counters are rounded, not changes: so the sum of several intervals is exact.
    std::optional<uint64_t> ofClock(uint64_t ThreadCounters::* counter) const {
        constexpr uint64_t Micro = 1000;
        if (!of(&ThreadCounters::hasSchedule, counter)) return {};
        return thread.now.*counter / Micro - *thread.before.*counter / Micro;
    }
};
} // namespace

static void fill(const ThreadSample& sample, const ThreadChange& thread, ThreadRow& row) {
    row.pid = static_cast<uint64_t>(thread.pid), row.start = thread.start;
    row.tid = static_cast<uint64_t>(thread.tid), row.thread_start = thread.thread_start;
    row.name = thread.name.view(), row.process = thread.process.view();
    row.state = thread.state, row.core = thread.core, row.nice = thread.nice;
    const Change change{thread};
    const auto ofStat = [&](uint64_t ThreadCounters::* counter, uint64_t unit) {
        return change.of(&ThreadCounters::hasStat, counter, unit);
    };
    row.cpu_us = change.ofClock(&ThreadCounters::run_ns), row.wait_us = change.ofClock(&ThreadCounters::wait_ns);
    row.user_us = ofStat(&ThreadCounters::user_ticks, sample.tick_us);
    row.system_us = ofStat(&ThreadCounters::system_ticks, sample.tick_us);
    if (!row.cpu_us && row.user_us && row.system_us) row.cpu_us = *row.user_us + *row.system_us;
    if (sample.blocksCounted) row.block_us = ofStat(&ThreadCounters::block_ticks, sample.tick_us);
    row.minor_faults = ofStat(&ThreadCounters::minor_faults, 1);
    row.major_faults = ofStat(&ThreadCounters::major_faults, 1);
    row.voluntary = change.of(&ThreadCounters::hasSwitches, &ThreadCounters::voluntary);
    row.involuntary = change.of(&ThreadCounters::hasSwitches, &ThreadCounters::involuntary);
}

void threadRows(const ThreadSample& sample, Rows<ThreadsRow>& all, Rows<ThreadRow>& threads) {
    if (sample.pass < 2) return;
    all.sampled = threads.sampled = true;
    all.elapsed_us = threads.elapsed_us = sample.at_us - sample.before_us;
    auto& total = all.rows.emplace_back();
    total.threads = sample.threads, total.ran = sample.ran;
    for (auto& thread : sample.changes) fill(sample, thread, threads.rows.emplace_back());
}
