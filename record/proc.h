// Processes (PROC), and all of them together (PROCS).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

// Figures are those of the whole thread group, ended threads included. A process without a row did not run.
struct ProcRow {
    uint64_t pid = 0;
    uint64_t start = 0;  // when it began, in clock ticks since boot: a pid that is used again has another one
    std::string name;    // as the kernel has it, 15 bytes at most
    char state = 0;      // R, S, D, Z, T ...; of the thread group's leader
    uint64_t parent = 0; // pid
    std::optional<uint64_t> uid;
    std::string user;    // the account's name, or the uid where it has none
    std::string unit;    // systemd unit, container or pod
    std::string cgroup;  // path of its group
    std::string command; // its command line, arguments separated by blanks; empty of kernel threads
    bool ran = false;    // used CPU time in the interval
    bool kernel = false; // a kernel thread

    std::optional<uint64_t> cpu_us;             // exact, by its CPU clock
    std::optional<uint64_t> user_us, system_us; // by the kernel's ticks
    std::optional<uint64_t> wait_us;            // ready to run and waited for a CPU, summed over its threads
    std::optional<uint64_t> block_us;           // waited for block I/O; kernels with delay accounting only
    std::optional<uint64_t> children_us;        // CPU time of children that were reaped, less what they had before
    std::optional<uint64_t> minor_faults, major_faults;
    std::optional<uint64_t> read_bytes, write_bytes, cancelled_bytes; // storage; its reaped children not included
    std::optional<uint64_t> read_chars, write_chars;                  // by read() and write(), from the page cache too
    std::optional<uint64_t> voluntary, involuntary;                   // context switches
    // Of anonymous memory and swap, bytes, since they were read before; 0 where they were not read again.
    std::optional<int64_t> growth;
    bool io_shared = false; // the I/O figures may have those of reaped children

    std::optional<uint64_t> rss, anonymous, swap; // bytes
    std::optional<uint64_t> memory_age_us;        // how long ago anonymous and swap were read
    std::optional<uint64_t> threads;
    std::optional<uint64_t> descriptors, descriptor_limit;
    std::optional<int64_t> nice, oom_adjust, oom_score;
    std::optional<uint64_t> written_recently; // storage bytes written in the last 35 s: write-back comes that late
    // The function of the kernel in which its first thread is blocked, while that is in state D: io_schedule.
    std::string wait_channel;
    // Bytes of its TCP sockets; of one that several processes have, at the one that SOCK names. None: sockets are not
    // looked at.
    std::optional<uint64_t> tcp_received, tcp_sent;
};
inline constexpr auto ProcKind = kind<ProcRow>(
    "PROC", id("pid", &ProcRow::pid), id("start", &ProcRow::start), label("name", &ProcRow::name),
    label("state", &ProcRow::state), level("ppid", "", &ProcRow::parent), level("uid", "", &ProcRow::uid),
    label("user", &ProcRow::user), label("unit", &ProcRow::unit), label("cgroup", &ProcRow::cgroup),
    label("command", &ProcRow::command), level("ran", "", &ProcRow::ran), level("kernel", "", &ProcRow::kernel),
    amount("cpu", "us", &ProcRow::cpu_us), amount("user_time", "us", &ProcRow::user_us),
    amount("system_time", "us", &ProcRow::system_us), amount("wait", "us", &ProcRow::wait_us),
    amount("block", "us", &ProcRow::block_us), amount("children", "us", &ProcRow::children_us),
    amount("minor_faults", "", &ProcRow::minor_faults), amount("major_faults", "", &ProcRow::major_faults),
    amount("read_bytes", "B", &ProcRow::read_bytes), amount("write_bytes", "B", &ProcRow::write_bytes),
    amount("cancelled_bytes", "B", &ProcRow::cancelled_bytes), amount("read_chars", "B", &ProcRow::read_chars),
    amount("write_chars", "B", &ProcRow::write_chars), amount("voluntary", "", &ProcRow::voluntary),
    amount("involuntary", "", &ProcRow::involuntary), amount("growth", "B", &ProcRow::growth),
    level("io_shared", "", &ProcRow::io_shared), level("rss", "B", &ProcRow::rss),
    level("anonymous", "B", &ProcRow::anonymous), level("swap", "B", &ProcRow::swap),
    level("memory_age", "us", &ProcRow::memory_age_us), level("threads", "", &ProcRow::threads),
    level("descriptors", "", &ProcRow::descriptors), level("descriptor_limit", "", &ProcRow::descriptor_limit),
    level("nice", "", &ProcRow::nice), level("oom_adjust", "", &ProcRow::oom_adjust),
    level("oom_score", "", &ProcRow::oom_score), level("written_35s", "B", &ProcRow::written_recently),
    amount("tcp_received", "B", &ProcRow::tcp_received), amount("tcp_sent", "B", &ProcRow::tcp_sent),
    label("wait_channel", &ProcRow::wait_channel));

// CPU time that the processes explain is accounted_us; that of the machine (without idle, iowait and steal) is used_us.
// Interrupts are irq_us of it. Kernels that measure their time count it apart from the processes: accounted_us and
// irq_us together are used_us then. On others it is part of accounted_us. The two are measured one after the other, and
// used_us in ticks: accounted_us can be a little more.
struct ProcsRow {
    uint64_t processes = 0, threads = 0; // at the end; threads as far as they are known
    uint64_t ran = 0;                    // processes that used CPU time
    uint64_t runnable = 0, blocked = 0;  // in state R, in state D, at the end
    uint64_t zombies = 0;
    std::optional<uint64_t> started, ended; // between the two samples, of those that one of them saw
    std::optional<uint64_t> accounted_us, used_us, irq_us;
    uint64_t without_io = 0; // processes that ran and whose I/O figures could not be read
    // Threads of processes that /proc does not show here, by the kernel's count of all; they may differ by what began
    // or ended meanwhile. And what hides them: "hidepid", "pid namespace"; empty: nothing.
    std::optional<uint64_t> hidden;
    std::string hidden_by;
};
inline constexpr auto ProcsKind =
    kind<ProcsRow>("PROCS", level("processes", "", &ProcsRow::processes), level("threads", "", &ProcsRow::threads),
                   level("ran", "", &ProcsRow::ran), level("runnable", "", &ProcsRow::runnable),
                   level("blocked", "", &ProcsRow::blocked), level("zombies", "", &ProcsRow::zombies),
                   amount("started", "", &ProcsRow::started), amount("ended", "", &ProcsRow::ended),
                   amount("accounted", "us", &ProcsRow::accounted_us), amount("used", "us", &ProcsRow::used_us),
                   amount("irq", "us", &ProcsRow::irq_us), level("without_io", "", &ProcsRow::without_io),
                   level("hidden", "", &ProcsRow::hidden), label("hidden_by", &ProcsRow::hidden_by));
