// Logs of made-up machines, written by the program's own writer: for tests and benchmarks of what reads logs.
//   live-logmaker WHAT [HOST] >LOG   day: of a busy server at 10 s; year: one interval an hour; quiet: an hour at 10 s;
//                                one: a single interval; none: a head; hostile: names that mean harm
#include "record/log.h"
#include "why/findings.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

static constexpr uint64_t KiB = 1024, MiB = 1048576, GiB = 1073741824;

namespace {
struct Size {
    int intervals, seconds, processes, disks, links, groups, files;
};

class Machine {
    Size size;
    uint64_t state = 88172645463325252U;
    std::string hostile;
    double hours = 0, drift = 0; // since the beginning; of the load

    // 0 to 1, the same in each run.
    double random() {
        state ^= state << 13, state ^= state >> 7, state ^= state << 17;
        return static_cast<double>(state >> 11) / 9007199254740992.0;
    }
    uint64_t upTo(double most) { return static_cast<uint64_t>(random() * most); }
    // What somebody does: busy for a while, then quiet, each at times of its own. 0 to 1.
    double activity(int who) const {
        const double wave =
            std::sin(hours * (0.7 + 0.37 * (who % 7)) + who * 1.9) * std::sin(hours * 0.31 * (who % 5 + 1) + who);
        return (wave > 0 ? wave : 0.05) / (1 + who % 15);
    }
    std::string named(const std::string& name) const { return name + hostile; }
    template <typename Row> static Row& add(Rows<Row>& rows, int64_t elapsed_us, Row row = {}) {
        rows.sampled = true, rows.elapsed_us = elapsed_us;
        return rows.rows.emplace_back(std::move(row));
    }
    void machineRows(Interval& interval, double load, bool slow);
    void deviceRows(Interval& interval, double load, bool slow);
    void processRows(Interval& interval, double load, bool slow, bool first);
    void groupRows(Interval& interval, double load);

public:
    Machine(const Size& its, std::string hostileName) : size(its), hostile(std::move(hostileName)) {}
    void fill(Interval& interval, int number, int64_t start_ms);
};
} // namespace

void Machine::machineRows(Interval& interval, double load, bool slow) {
    const auto us = interval.elapsed_us;
    const auto all = static_cast<double>(us) * 16;
    HostRow host;
    host.name = named("db7"), host.kernel = "6.1.0-27", host.machine = "x86_64", host.cpus = 16, host.memory = 64 * GiB;
    add(interval.host, us, host);
    CpuRow cpu;
    cpu.user_us = static_cast<uint64_t>(all * load * (0.5 + 0.03 * random()));
    cpu.system_us = static_cast<uint64_t>(all * load * (0.15 + 0.05 * random()));
    cpu.nice_us = 0, cpu.irq_us = 0, cpu.softirq_us = upTo(all * 0.01), cpu.steal_us = 0;
    cpu.iowait_us = upTo(all * 0.1 * load);
    cpu.idle_us = static_cast<uint64_t>(all) - *cpu.user_us - *cpu.system_us - *cpu.softirq_us - *cpu.iowait_us;
    cpu.cpus = 16, cpu.running = 1 + upTo(6 * load), cpu.blocked = upTo(4 * load);
    cpu.switches = upTo(4e5), cpu.interrupts = upTo(3e5), cpu.forks = upTo(200);
    cpu.load1 = 16 * load, cpu.load5 = 14 * load, cpu.load15 = 12 * load;
    add(interval.cpu, us, cpu);
    MemoryRow memory;
    memory.total = 64 * GiB, memory.anonymous = static_cast<uint64_t>(20e9 + 15e9 * load), memory.shared = GiB;
    memory.slab = 2 * GiB, memory.kernel_stack = 64 * MiB, memory.page_tables = 200 * MiB, memory.free = 2 * GiB;
    memory.file = 60 * GiB - *memory.anonymous - 3 * GiB, memory.available = *memory.free + *memory.file;
    memory.swap_total = 8 * GiB, memory.swap_free = 7 * GiB + static_cast<uint64_t>(1e9 * (1 - load)),
    memory.swap_in = upTo(2e6 * load);
    memory.swap_out = upTo(4e6 * load), memory.scanned = upTo(1e4), memory.refaults = upTo(500),
    memory.major_faults = upTo(300);
    memory.direct_scanned = 0, memory.oom_kills = 0, memory.dirty = upTo(5e9), memory.dirty_limit = 8 * GiB;
    add(interval.memory, us, memory);
    for (auto* resource : {"cpu", "memory", "io"})
        add(interval.pressure, us,
            PressureRow{resource,
                        slow && strcmp(resource, "io") == 0 ? static_cast<uint64_t>(us) * 3 / 5
                                                            : upTo(static_cast<double>(us) * 0.12 * load),
                        upTo(static_cast<double>(us) * 0.05 * load)});
    for (auto* name :
         {"InSegs", "OutSegs", "RetransSegs", "ActiveOpens", "PassiveOpens", "AttemptFails", "EstabResets"})
        add(interval.protocols, us, ProtocolRow{"Tcp", name, upTo(strstr(name, "Segs") ? 1e5 : 100), {}});
    for (int i = 0; i < 20; i++)
        add(interval.protocols, us, ProtocolRow{"TcpExt", "TCPCounter" + std::to_string(i), upTo(1e4), {}});
    add(interval.protocols, us, ProtocolRow{"Tcp", "CurrEstab", {}, static_cast<int64_t>(800 + upTo(300))});
    SelfRow self;
    self.cpu_us = 20000 + upTo(10000), self.memory = 9 * MiB + upTo(5e5);
    add(interval.self, us, self);
}

void Machine::deviceRows(Interval& interval, double load, bool slow) {
    const auto us = interval.elapsed_us;
    const double seconds = static_cast<double>(us) / 1e6;
    for (int i = 0; i < size.disks; i++) {
        DiskRow row;
        row.name = "sd" + std::string(1, static_cast<char>('a' + i)), row.device = "8:" + std::to_string(16 * i);
        row.kind = "disk", row.holds = named("vg" + std::to_string(i) + ": data /srv/" + std::to_string(i));
        const bool worst = slow && i == 1;
        const double busy = 0.1 + activity(i) * (1 + i % 15);
        row.reads = static_cast<uint64_t>(400 * seconds * load * busy * (0.8 + 0.2 * random())),
        row.read_bytes = *row.reads * 16 * KiB;
        row.read_us = *row.reads * (300 + upTo(2000));
        row.writes = worst ? static_cast<uint64_t>(400 * seconds)
                           : static_cast<uint64_t>(300 * seconds * load * busy * (0.8 + 0.2 * random()));
        row.write_bytes = *row.writes * 64 * KiB, row.write_us = *row.writes * (worst ? 45000 : 900 + upTo(2000));
        row.flushes = upTo(10 * seconds), row.flush_us = *row.flushes * 5000;
        row.busy_us =
            worst
                ? static_cast<uint64_t>(us)
                : static_cast<uint64_t>(static_cast<double>(us) * std::min(0.95, load * busy * (0.9 + 0.1 * random())));
        row.queue_us = *row.read_us + *row.write_us;
        row.discards = row.discard_bytes = row.discard_us = row.reads_merged = row.writes_merged = 0;
        add(interval.disks, us, row);
    }
    for (int i = 0; i < size.links; i++) {
        LinkRow row;
        row.index = 2 + i, row.name = named("eth" + std::to_string(i)), row.state = "up", row.counted = true;
        row.addresses = "10.2.0." + std::to_string(7 + i), row.speed = 10000000000U;
        const double busy = load * (0.2 + activity(i + 3)) * (0.85 + 0.15 * random());
        row.rx_bytes = static_cast<uint64_t>(8e7 * seconds * busy),
        row.tx_bytes = static_cast<uint64_t>(3e7 * seconds * busy);
        row.rx_packets = *row.rx_bytes / 900, row.tx_packets = *row.tx_bytes / 900;
        row.rx_errors = row.tx_errors = row.tx_dropped = 0, row.rx_dropped = random() < 0.002 ? upTo(40) : 0;
        add(interval.links, us, row);
    }
    for (int i = 0; i < 6; i++) {
        FsRow row;
        row.point = named("/srv/" + std::to_string(i)), row.device = "253:" + std::to_string(i), row.type = "ext4";
        row.size = 4000 * GiB,
        row.used = static_cast<uint64_t>(i + 1) * 500 * GiB + interval.number * 20 * MiB % (400 * GiB);
        row.available = *row.size - *row.used;
        add(interval.filesystems, us, row);
    }
}

void Machine::processRows(Interval& interval, double load, bool slow, bool first) {
    static const char* const Names[] = {"postgres",  "nginx",        "java",    "python3",    "rsync",
                                        "node",      "redis-server", "sshd",    "systemd",    "kworker/3:1",
                                        "jbd2/dm-3", "cron",         "dockerd", "containerd", "bash"};
    const auto us = interval.elapsed_us;
    const double share = load * 0.65 * 16 * static_cast<double>(us) / size.processes * 2;
    ProcsRow all;
    all.processes = static_cast<uint64_t>(size.processes * 3), all.ran = static_cast<uint64_t>(size.processes);
    all.used_us = all.accounted_us = static_cast<uint64_t>(load * 0.65 * 16 * static_cast<double>(us));
    add(interval.processesTotal, us, all);
    for (int i = 0; i < size.processes * (first ? 3 : 1); i++) {
        ProcRow row;
        const size_t name = static_cast<size_t>(i) % std::size(Names);
        row.pid = 1000 + static_cast<uint64_t>(i), row.start = 4711, row.name = named(Names[name]).substr(0, 120);
        row.state = 'S', row.parent = 1, row.uid = 1000, row.user = "app", row.ran = true;
        row.unit = named(std::string(Names[name]) + ".service"), row.cgroup = "/system.slice/" + row.unit;
        row.command = "/usr/bin/" + row.name + " --config /etc/" + row.name + ".conf --worker " + std::to_string(i);
        const double busy = 4 * activity(static_cast<int>(name)) * (0.85 + 0.15 * random());
        row.cpu_us = static_cast<uint64_t>(share * busy), row.user_us = *row.cpu_us, row.system_us = 0,
        row.wait_us = static_cast<uint64_t>(share * busy * load / 5);
        row.children_us = 0, row.minor_faults = upTo(1000), row.major_faults = upTo(2);
        row.read_bytes = static_cast<uint64_t>(4e6 * load * busy),
        row.write_bytes = static_cast<uint64_t>(8e6 * load * busy), row.cancelled_bytes = 0;
        row.read_chars = upTo(1e7), row.write_chars = upTo(1e7), row.voluntary = upTo(5000),
        row.involuntary = upTo(500);
        row.growth = 0, row.rss = 100 * MiB + upTo(1e7),
        row.anonymous = 300 * MiB / (1 + name) + static_cast<uint64_t>(2e8 * busy), row.swap = 0;
        row.memory_age_us = 0, row.threads = 8, row.descriptors = 64, row.descriptor_limit = 1024, row.nice = 0;
        row.oom_adjust = 0, row.oom_score = 667, row.written_recently = upTo(1e7);
        // The backup.
        if (slow && i == 4) row.write_bytes = static_cast<uint64_t>(24e6 * static_cast<double>(us) / 1e6);
        add(interval.processes, us, row);
    }
    for (int i = 0; i < size.files; i++) {
        FileRow row;
        row.path = named("/srv/data/base/16401/" + std::to_string(2619 + i)), row.pid = 1000 + static_cast<uint64_t>(i);
        add(interval.files, us, row);
    }
}

void Machine::groupRows(Interval& interval, double load) {
    const auto us = interval.elapsed_us;
    for (int i = 0; i < size.groups; i++) {
        CgroupRow row;
        row.name = named("app" + std::to_string(i) + ".service"), row.path = "/system.slice/" + row.name,
        row.kind = "service";
        const double busy = activity(i) * (0.85 + 0.15 * random());
        row.cpu_us = static_cast<uint64_t>(4 * static_cast<double>(us) * load * busy), row.user_us = *row.cpu_us,
        row.system_us = 0;
        row.read_bytes = static_cast<uint64_t>(2e7 * busy), row.write_bytes = static_cast<uint64_t>(5e7 * busy),
        row.reads = 10, row.writes = 20;
        row.memory = 400 * MiB / (1 + static_cast<uint64_t>(i) % 9) + static_cast<uint64_t>(2e9 * busy), row.pids = 20;
        add(interval.cgroups, us, row);
    }
}

void Machine::fill(Interval& interval, int number, int64_t start_ms) {
    clearRows(interval);
    interval.number = static_cast<uint64_t>(number);
    interval.elapsed_us = int64_t{size.seconds} * 1000000;
    interval.time = {start_ms + int64_t{number} * size.seconds * 1000, 60};
    // A day has a night; each hour a backup takes four minutes.
    const double day = static_cast<double>(interval.time.epoch_ms % 86400000) / 86400000;
    hours = static_cast<double>(number) * size.seconds / 3600;
    drift = 0.97 * drift + 0.06 * (random() - 0.5);
    const double load = std::max(0.05, 0.4 - 0.25 * std::cos(day * 6.2832) + drift);
    const bool slow = (interval.time.epoch_ms + 3000000) % 3600000 < 240000;
    machineRows(interval, load, slow);
    deviceRows(interval, load, slow);
    processRows(interval, load, slow, number == 1);
    groupRows(interval, load);
    judge(interval, Limits());
}

int main(int argc, char** argv) {
    const std::string_view what = argc > 1 ? argv[1] : "";
    Size size{360, 10, 12, 2, 1, 6, 5};
    std::string hostile;
    if (what == "day") size = {8640, 10, 60, 8, 4, 40, 40};
    else if (what == "year") size = {8760, 3600, 12, 2, 2, 6, 0};
    else if (what == "one") size.intervals = 1;
    else if (what == "none") size.intervals = 0;
    else if (what == "hostile")
        hostile =
            "</script><script>alert(1)</script><img src=http://127.0.0.1/x onerror=alert(2)>\"'&{{data}}\x1B[2J\xFF";
    else if (what != "quiet") return fputs("live-logmaker day|year|quiet|one|none|hostile [HOST] >LOG\n", stderr), 2;

    constexpr int64_t Start = 1795215600000; // 2026-11-21 00:00 +01:00
    ViewRow view;
    view.areas = "why cpu mem pressure disk fs net limits proc";
    view.interval_us = static_cast<uint64_t>(size.seconds) * 1000000;
    LogWriter writer;
    std::string out;
    const std::string host = argc > 2 ? argv[2] : "db7", run = argc > 2 ? "run of " + host : "run";
    writer.head({"1.2.0", host + hostile, "boot", run}, view, {Start, 60}, out);
    Machine machine(size, hostile);
    Interval interval;
    for (int i = 1; i <= size.intervals; i++) {
        // A break of ten minutes, after which the program was started again.
        if (i == size.intervals / 2 && what == "quiet")
            i += 60, writer.head({"1.2.0", host, "boot", run + " 2"}, view, {Start, 60}, out);
        machine.fill(interval, i, Start);
        writer.interval(interval, out);
        if (out.size() > MiB) fwrite(out.data(), 1, out.size(), stdout), out.clear();
    }
    fwrite(out.data(), 1, out.size(), stdout);
    return ferror(stdout) || fflush(stdout) ? 1 : 0;
}
