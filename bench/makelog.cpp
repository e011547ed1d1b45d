// bench-makelog BYTES [SECONDS] >LOG: a log of a busy made-up machine, by the recorder's own writer. 400 processes of
// 3,000 run in each interval, 24 of 40 disks, 60 groups; commands begin and end. The same bytes each time.
#include "record/log.h"

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace {
struct Machine {
    static constexpr uint64_t Processes = 3000, Running = 400, Disks = 40, Groups = 120, Files = 200, Cores = 32;
    std::mt19937_64 random{1};
    uint64_t below(uint64_t most) { return random() % most; }

    void processes(Interval& interval, bool all);
    void machine(Interval& interval);
    void disks(Interval& interval);
    void groups(Interval& interval);
    void files(Interval& interval);
};
} // namespace

template <typename R> static R& added(Rows<R>& rows, int64_t elapsed_us) {
    rows.sampled = true, rows.elapsed_us = elapsed_us;
    return rows.rows.emplace_back();
}

void Machine::processes(Interval& interval, bool all) {
    for (uint64_t i = 0; i < Processes; i++) {
        if (!all && below(Processes) >= Running) continue;
        auto& row = added(interval.processes, interval.elapsed_us - 71);
        row.pid = 1000 + i * 7, row.start = 5000 + i * 13, row.parent = 1;
        row.name = "postgres", row.state = i % 5 ? 'S' : 'R';
        row.uid = 100 + i % 9, row.user = "postgres", row.unit = "postgresql@15-main.service";
        row.cgroup = "/system.slice/system-postgresql.slice/postgresql@15-main.service";
        row.command =
            "postgres: 15/main: app orders 10.2.0." + std::to_string(i % 256) + "(" + std::to_string(40000 + i) + ")";
        row.ran = true;
        row.cpu_us = below(2000000), row.user_us = below(1000000), row.system_us = below(1000000);
        row.wait_us = below(50000), row.block_us = below(9000), row.children_us = 0;
        row.minor_faults = below(5000), row.major_faults = below(9), row.read_bytes = below(1 << 26);
        row.write_bytes = below(1 << 26), row.cancelled_bytes = 0, row.read_chars = below(1 << 28);
        row.write_chars = below(1 << 28), row.voluntary = below(9000), row.involuntary = below(900);
        row.growth = static_cast<int64_t>(below(1 << 20)) - (1 << 19);
        row.rss = below(1 << 30), row.anonymous = below(1 << 29), row.swap = 0, row.memory_age_us = 0;
        row.threads = 1 + i % 7, row.descriptors = below(500), row.descriptor_limit = 65536;
        row.nice = 0, row.oom_adjust = 0, row.oom_score = below(1000), row.written_recently = below(1 << 27);
    }
}

void Machine::machine(Interval& interval) {
    auto& cpu = added(interval.cpu, interval.elapsed_us - 5);
    cpu.user_us = below(300000000), cpu.system_us = below(100000000), cpu.idle_us = below(100000000);
    cpu.load1 = static_cast<double>(below(3000)) / 100, cpu.running = below(40), cpu.switches = below(1 << 20);
    for (uint64_t i = 0; i < Cores; i++) {
        auto& core = added(interval.cores, interval.elapsed_us - 5);
        core.core = i, core.user_us = below(9000000), core.system_us = below(900000), core.idle_us = below(900000);
    }
    auto& memory = added(interval.memory, interval.elapsed_us - 9);
    memory.total = uint64_t{256} << 30, memory.available = below(uint64_t{200} << 30), memory.dirty = below(1 << 30);
    memory.faults = below(1 << 22), memory.major_faults = below(999);
    auto& self = added(interval.self, interval.elapsed_us);
    self.cpu_us = below(90000), self.memory = 30 << 20, self.late_us = below(200);
}

void Machine::disks(Interval& interval) {
    for (uint64_t i = 0; i < Disks; i++) {
        if (below(Disks) >= 24) continue;
        auto& row = added(interval.disks, interval.elapsed_us - 12);
        row.name = "nvme" + std::to_string(i) + "n1", row.device = "259:" + std::to_string(i), row.sequence = i + 1;
        row.kind = "disk", row.holds = "vg_data: pg" + std::to_string(i) + " /srv/pg" + std::to_string(i);
        row.reads = below(90000), row.read_bytes = below(uint64_t{1} << 31), row.read_us = below(9000000);
        row.writes = below(90000), row.write_bytes = below(uint64_t{1} << 31), row.write_us = below(9000000);
        row.busy_us = below(10000000), row.queue_us = below(90000000), row.in_flight = below(64);
    }
}

void Machine::groups(Interval& interval) {
    for (uint64_t i = 0; i < Groups; i++) {
        if (below(Groups) >= 60) continue;
        auto& row = added(interval.cgroups, interval.elapsed_us - 30);
        row.path =
            "/kubepods.slice/kubepods-burstable.slice/kubepods-burstable-pod" + std::to_string(1000000 + i) + ".slice";
    }
}

void Machine::files(Interval& interval) {
    for (uint64_t i = 0; i < Files; i++) {
        auto& row = added(interval.files, interval.elapsed_us - 80);
        row.pid = 1000 + below(Processes) * 7;
        row.path = "/srv/pg" + std::to_string(i % 24) + "/base/16384/" + std::to_string(20000 + i);
    }
}

int main(int argc, char** argv) {
    const size_t bytes = argc > 1 ? strtoull(argv[1], nullptr, 10) : size_t{64} << 20;
    const int64_t seconds = argc > 2 ? atoll(argv[2]) : 10;
    Machine machine;
    LogWriter writer;
    Moment time{1795266000000, 60};
    ViewRow view;
    view.areas = "cpu mem disk cgroup proc file", view.interval_us = static_cast<uint64_t>(seconds) * 1000000;
    std::string text;
    writer.head({"1.2.0", "db7", "9d6c2f0e-5c1b-4c36-8a55-6a1f1f6f2b11", "19aa6d1c2f0-1d78"}, view, time, text);
    size_t written = 0;
    for (uint64_t number = 1; written < bytes; number++) {
        time.epoch_ms += seconds * 1000;
        Interval interval;
        interval.time = time, interval.number = number;
        interval.elapsed_us = seconds * 1000000 + static_cast<int64_t>(machine.below(300));
        machine.machine(interval), machine.disks(interval), machine.groups(interval);
        machine.processes(interval, number == 1), machine.files(interval);
        writer.interval(interval, text);
        if (fwrite(text.data(), 1, text.size(), stdout) != text.size()) return 1;
        written += text.size();
        text.clear();
    }
    return fflush(stdout) == 0 ? 0 : 1;
}
