// A process of a made-up machine.
#pragma once

#include <cstdint>
#include <string>

// What it has in its files; the directives of a world (tests/worlds/README.md) are made of it.
struct MadeProcess {
    int pid = 100;
    int parent = 1;
    std::string name = "worker";
    char state = 'S';
    uint64_t start = 5000;       // ticks since boot
    int64_t cpu_ns = 1000000000; // its CPU clock; below 0: it has none
    uint64_t flags = 0x400000;
    uint64_t minor_faults = 100, major_faults = 0, children_faults = 0;
    uint64_t user = 50, system = 50, children = 0; // ticks
    int nice = 0;
    unsigned threads = 1;
    uint64_t rss_kib = 4000, anonymous_kib = 3000, swap_kib = 0;
    uint64_t wait_ns = 1000;
    uint64_t read_bytes = 0, write_bytes = 0; // of its only thread
    uint64_t group_write_bytes = 0;           // more in /proc/PID/io: of children and ended threads
    uint64_t voluntary = 5, involuntary = 6;
    uint64_t stack = 0x7ffc00000000, block = 0;
    unsigned uid = 0;
    std::string command = "/usr/bin/worker --all"; // blanks separate the arguments
    std::string group = "/system.slice/worker.service";

    std::string text() const;
};

inline std::string ioText(uint64_t read_bytes, uint64_t write_bytes) {
    return "rchar: " + std::to_string(read_bytes) + "\nwchar: " + std::to_string(write_bytes) +
           "\nsyscr: 1\nsyscw: 2\nread_bytes: " + std::to_string(read_bytes) +
           "\nwrite_bytes: " + std::to_string(write_bytes) + "\ncancelled_write_bytes: 0\n";
}

inline std::string MadeProcess::text() const {
    const auto number = [](auto value) { return std::to_string(value); };
    const std::string at = "/proc/" + number(pid);
    std::string lines;
    const auto file = [&](const std::string& path, const std::string& content) {
        lines += "file " + at + path + " <<END\n" + content + (content.ends_with('\n') ? "" : "\n") + "END\n";
    };
    const bool kernel = (flags & 0x200000) != 0;
    file("/stat", number(pid) + " (" + name + ") " + state + ' ' + number(parent) + " 1 1 0 -1 " + number(flags) + ' ' +
                      number(minor_faults) + ' ' + number(children_faults) + ' ' + number(major_faults) + " 0 " +
                      number(user) + ' ' + number(system) + ' ' + number(children) + " 0 20 " + number(nice) + ' ' +
                      number(threads) + " 0 " + number(start) + " 1000000 " + number(kernel ? 0 : rss_kib / 4) +
                      " 18446744073709551615 1 1 " + number(stack) + " 0 0 0 0 0 0 0 0 0 17 1 0 0 " + number(block) +
                      " 0 0 0 0 0 0 0 0 0 0");
    file("/status", "Name:\t" + name + "\nUid:\t" + number(uid) + "\t0\t0\t0\n" +
                        (kernel ? ""
                                : "VmRSS:\t" + number(rss_kib) + " kB\nRssAnon:\t" + number(anonymous_kib) +
                                      " kB\nVmSwap:\t" + number(swap_kib) + " kB\n") +
                        "Threads:\t" + number(threads) + "\nvoluntary_ctxt_switches:\t" + number(voluntary) +
                        "\nnonvoluntary_ctxt_switches:\t" + number(involuntary));
    file("/io", ioText(read_bytes, write_bytes + group_write_bytes));
    file("/task/" + number(pid) + "/io", ioText(read_bytes, write_bytes));
    file("/schedstat", number(cpu_ns > 0 ? cpu_ns : 0) + ' ' + number(wait_ns) + " 7");
    for (unsigned i = 0; i < threads; i++)
        file("/task/" + number(pid + static_cast<int>(i)) + "/schedstat",
             number(cpu_ns > 0 ? cpu_ns / threads : 0) + ' ' + number(wait_ns) + " 7");
    file("/cgroup", "0::" + group);
    file("/oom_score_adj", "-17"), file("/oom_score", "667");
    file("/limits", "Limit                     Soft Limit           Hard Limit           Units     \n"
                    "Max open files            1024                 524288               files     ");
    std::string arguments = command;
    for (auto& c : arguments) c = c == ' ' ? '\1' : c;
    std::string escaped;
    for (const char c : arguments) escaped += c == '\1' ? std::string("\\0") : std::string(1, c);
    lines += "text " + at + "/cmdline \"" + (kernel ? "" : escaped + "\\0") + "\"\n";
    lines += "cpuclock " + number(pid) + (cpu_ns < 0 ? " gone" : ' ' + number(cpu_ns)) + "\n";
    return lines;
}

// The machine's /proc/stat.
struct MadeTicks {
    uint64_t user = 1000, system = 500, idle = 9000, iowait = 0, irq = 10, softirq = 20, steal = 0;
    uint64_t forks = 1000, running = 1;
    std::string text() const {
        std::string sums;
        for (auto value : {user, uint64_t{0}, system, idle, iowait, irq, softirq, steal})
            sums += ' ' + std::to_string(value);
        return "file /proc/stat <<END\ncpu " + sums + "\ncpu0" + sums + "\nprocesses " + std::to_string(forks) +
               "\nprocs_running " + std::to_string(running) + "\nprocs_blocked 0\nEND\n";
    }
};
