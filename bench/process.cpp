// What a sample of processes costs, against a bare reader that opens, reads and closes the same files and parses
// nothing. Both run in turn on the same load (bench/load.cpp), medians of the CPU time of this process.
#include "bench/bare.h"
#include "collect/output.h"
#include "collect/settings.h"
#include "collect/system.h"
#include "monitor/options.h"
#include "monitor/proc.h"
#include "monitor/reports.h"

#include <cstdio>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr int Rounds = 15;

// --- wyrt

static int passes = 0;

static void wyrtSample() {
    const int icur = passes % 2;
    for (int nMode : {0, 1}) dispproc(passes, icur, 1 - icur, 1, 1, 262144, 64, nMode);
    flushOutput();
    passes++;
}

static void set(bool threads, bool descriptors) {
    procrowcount = 24;
    ThreadMonitoring = threads;
    FDMonitoring = descriptors;
    proc_io_file = 1;
    clocktick = getClockTicks();
    pagesize = getPageSize();
    timediff = 2;
    passes = 0;
}

static void compare(FILE* out, const char* what, bool threads, bool descriptors) {
    set(threads, descriptors);
    wyrtSample(); // the first two fill the slots
    wyrtSample();
    std::vector<double> ours, bare;
    for (int i = 0; i < Rounds; i++) {
        ours.push_back(timed(wyrtSample));
        bare.push_back(timed([=] { bareSample(threads, descriptors); }));
    }
    const double a = median(ours), b = median(bare);
    fprintf(out, "%-48s %9.2f %9.2f %7.3f\n", what, a, b, a / b);
    fflush(out);
}

// The largest memory of a process that takes ten samples, KB.
static long peakMemory(bool descriptors) {
    const pid_t pid = fork();
    if (pid == 0) {
        set(false, descriptors);
        for (int i = 0; i < 10; i++) wyrtSample();
        _exit(0);
    }
    rusage usage{};
    int status = 0;
    wait4(pid, &status, 0, &usage);
    return usage.ru_maxrss;
}

int main(int, char** argv) {
    // Standard output takes the tables; the figures go where it went.
    FILE* out = fdopen(dup(STDOUT_FILENO), "w");
    const int null = open("/dev/null", O_WRONLY);
    if (!out || null < 0 || dup2(null, STDOUT_FILENO) < 0) return 1;
    fprintf(out, "%-48s %9s %9s %7s\n", "CPU time of a sample, ms", "wyrt", "bare", "ratio");
    long idle = 0;
    {
        const Load load(argv[0], {"--processes", "5000"});
        idle = peakMemory(false);
        compare(out, "5,000 idle processes", false, false);
    }
    {
        const Load load(argv[0], {"--processes", "200", "--threads", "10"});
        compare(out, "200 processes of 10 threads, with threads", true, false);
    }
    {
        constexpr long Count = 60000;
        const Load load(argv[0], {"--processes", "100", "--fds", std::to_string(Count / 100)});
        const long without = peakMemory(false), with = peakMemory(true);
        compare(out, "60,000 descriptors", false, true);
        fprintf(out, "peak memory with 5,000 processes: %ld KB; of a descriptor with its path: %ld bytes\n", idle,
                (with - without) * 1024 / Count);
    }
    return 0;
}
