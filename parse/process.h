// The files of a process below /proc/PID, and of a thread below /proc/PID/task/TID.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// stat. Times and faults below /proc/PID are those of the whole thread group, ended threads included; state, core and
// block_ticks are those of the thread named.
//
//     4411 (rsync) D 1 4411 4411 0 -1 4194304 101 0 21 0 620 840 3 2 20 0 1 0 1267604 9437184 2329 ...
struct ProcessStat {
    std::string_view name; // part of the text; whatever stands between the first ( and the last )
    char state = 0;
    uint64_t parent = 0;
    uint64_t flags = 0; // PF_... of the kernel
    uint64_t minor_faults = 0, major_faults = 0;
    uint64_t children_faults = 0; // minor ones, of children that were waited for; every child has some
    uint64_t user_ticks = 0, system_ticks = 0;
    uint64_t children_ticks = 0; // user and system of children that were waited for, and of theirs
    int64_t nice = 0;
    uint64_t threads = 0;
    uint64_t start = 0;                // clock ticks since boot
    uint64_t size = 0, rss = 0;        // virtual memory, bytes; resident, pages
    uint64_t stack = 0, arguments = 0; // addresses, other ones after each exec; 0 where they may not be seen
    uint64_t core = 0;                 // that it ran on last
    uint64_t block_ticks = 0;          // waited for block I/O; 0 where the kernel does not count it

    static constexpr uint64_t NotExecuted = 0x40; // PF_FORKNOEXEC: a fork that has not executed a program yet
    static constexpr uint64_t Kernel = 0x200000;  // PF_KTHREAD
};
// False: the text is not that of a process, or it ends before `rss`.
bool parseProcessStat(std::string_view text, ProcessStat& stat);

// What the other files do not tell. A kernel thread has no memory of its own. Switches are those of the thread named.
struct ProcessStatus {
    std::optional<uint64_t> uid; // the real one
    std::optional<uint64_t> rss_kib, anonymous_kib, swap_kib;
    std::optional<uint64_t> voluntary, involuntary; // context switches
};
ProcessStatus parseProcessStatus(std::string_view text);

struct ProcessIo {
    uint64_t read_chars = 0, write_chars = 0;                      // by read() and write(), page cache included
    uint64_t reads = 0, writes = 0;                                // these calls
    uint64_t read_bytes = 0, write_bytes = 0, cancelled_bytes = 0; // from and to storage
};
// None: not all lines are there.
std::optional<ProcessIo> parseProcessIo(std::string_view text);

// schedstat of one thread: "1234567 891 12".
struct ThreadSchedule {
    uint64_t run_ns = 0, wait_ns = 0; // on a CPU; ready to run and waiting for one, of waits that have ended
    uint64_t slices = 0;              // times it was put on a CPU
};
std::optional<ThreadSchedule> parseSchedule(std::string_view text);

// cmdline as one text: arguments are separated by blanks; at most `most` bytes, whole characters of UTF-8.
std::string parseCommandLine(std::string_view text, size_t most);

// The path of the control group in /proc/PID/cgroup. Of several hierarchies (version 1) the first that has more than
// the root: cpu, cpuacct, memory, pids, systemd's own, version 2. Part of the text.
//
//     4:memory:/system.slice/ssh.service
//     0::/system.slice/ssh.service
std::string_view parseProcessGroup(std::string_view text);

// "Max open files            1024                 524288               files": the soft limit in /proc/PID/limits.
std::optional<uint64_t> parseFileLimit(std::string_view text);
