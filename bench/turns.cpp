#include "bench/turns.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include <sys/mman.h>
#include <sys/wait.h>

static double cpuMs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

static Figures figuresOf(std::vector<double>& times) {
    std::sort(times.begin(), times.end());
    return {times.front(), times[times.size() / 2]};
}

static double residentNow() {
    double pages = 0;
    if (FILE* file = fopen("/proc/self/statm", "r")) {
        if (fscanf(file, "%*f %lf", &pages) != 1) pages = 0;
        fclose(file);
    }
    return pages * static_cast<double>(sysconf(_SC_PAGESIZE));
}

Cost takeTurns(const std::function<void()>& ours, const std::function<void()>& bare,
               const std::function<void(size_t pass)>& change, Passes passes) {
    constexpr size_t First = 3; // buffers grow, names are looked up
    std::vector<double> mine, theirs;
    for (size_t pass = 0; pass < passes.count + First; pass++) {
        if (change) change(pass);
        if (passes.pause_ms) usleep(static_cast<useconds_t>(passes.pause_ms) * 1000);
        const double start = cpuMs();
        ours();
        const double middle = cpuMs();
        if (passes.pause_ms) usleep(static_cast<useconds_t>(passes.pause_ms) * 1000);
        const double second = cpuMs();
        bare();
        const double end = cpuMs();
        if (pass >= First) mine.push_back(middle - start), theirs.push_back(end - second);
    }
    return {figuresOf(mine), figuresOf(theirs), residentNow()};
}

Cost apart(const std::function<Cost()>& measure) {
    auto* cost =
        static_cast<Cost*>(mmap(nullptr, sizeof(Cost), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    if (cost == MAP_FAILED) return {};
    const pid_t child = fork();
    if (child == 0) {
        *cost = measure();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const Cost result = status == 0 ? *cost : Cost{};
    munmap(cost, sizeof(Cost));
    return result;
}
