// Threads that ran or waited (THREAD).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

struct ThreadRow {
    uint64_t pid = 0, start = 0; // of the process, as in PROC
    uint64_t tid = 0;
    uint64_t thread_start = 0; // clock ticks since boot
    std::string name;          // of the thread
    std::string process;       // name of the process
    char state = 0;
    std::optional<uint64_t> cpu_us, user_us, system_us, wait_us, block_us;
    std::optional<uint64_t> minor_faults, major_faults, voluntary, involuntary;
    std::optional<uint64_t> core; // that it ran on last
    std::optional<int64_t> nice;
};
inline constexpr auto ThreadKind = kind<ThreadRow>(
    "THREAD", id("pid", &ThreadRow::pid), id("start", &ThreadRow::start), id("tid", &ThreadRow::tid),
    id("thread_start", &ThreadRow::thread_start), label("name", &ThreadRow::name),
    label("process", &ThreadRow::process), label("state", &ThreadRow::state), amount("cpu", "us", &ThreadRow::cpu_us),
    amount("user_time", "us", &ThreadRow::user_us), amount("system_time", "us", &ThreadRow::system_us),
    amount("wait", "us", &ThreadRow::wait_us), amount("block", "us", &ThreadRow::block_us),
    amount("minor_faults", "", &ThreadRow::minor_faults), amount("major_faults", "", &ThreadRow::major_faults),
    amount("voluntary", "", &ThreadRow::voluntary), amount("involuntary", "", &ThreadRow::involuntary),
    level("core", "", &ThreadRow::core), level("nice", "", &ThreadRow::nice));

struct ThreadsRow {
    uint64_t threads = 0, ran = 0; // of the processes that ran
};
inline constexpr auto ThreadsKind =
    kind<ThreadsRow>("THREADS", level("threads", "", &ThreadsRow::threads), level("ran", "", &ThreadsRow::ran));
