#include "base/clock.h"

#include <cstdlib>
#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>

static timespec readClock(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now;
}

static int64_t microseconds(const timespec& t) { return int64_t{t.tv_sec} * 1000000 + t.tv_nsec / 1000; }

int64_t getMonotonic() { return microseconds(readClock(CLOCK_MONOTONIC)); }

int64_t getBoottime() { return microseconds(readClock(CLOCK_BOOTTIME)); }

int64_t getRealtime() { return microseconds(readClock(CLOCK_REALTIME)) / 1000; }

static uint64_t nanoseconds(const timespec& t) {
    return static_cast<uint64_t>(t.tv_sec) * 1000000000 + static_cast<uint64_t>(t.tv_nsec);
}

// The kernel is asked at once where its call has the C library's types: the library would first look among the clocks
// that need no call, which are none of these.
static int readCpuClock(clockid_t clock, timespec& time) {
#if defined(SYS_clock_gettime) && __SIZEOF_LONG__ == 8
    return static_cast<int>(syscall(SYS_clock_gettime, clock, &time));
#else
    return clock_gettime(clock, &time);
#endif
}

std::optional<uint64_t> getCpuClock(int pid) {
    constexpr int SchedulerClock = 2; // of a process, not of one thread (4): <linux/posix-timers.h> of the kernel
    if (pid <= 0) return {};          // 0 is the caller
    const auto clock = static_cast<clockid_t>((~static_cast<unsigned>(pid) << 3) | SchedulerClock);
    timespec spent{};
    if (readCpuClock(clock, spent) != 0) return {};
    return nanoseconds(spent);
}

// The pid that /proc/self leads to; 0: none.
static int pidOfProc() {
    char target[16] = {};
    if (readlink("/proc/self", target, sizeof target - 1) <= 0) return 0;
    return std::atoi(target);
}

bool cpuClocksMatchProc() { return pidOfProc() == getpid(); }

uint64_t getOwnCpu() { return nanoseconds(readClock(CLOCK_PROCESS_CPUTIME_ID)); }

int getOwnPid() {
    const int pid = pidOfProc();
    return pid > 0 ? pid : getpid();
}
