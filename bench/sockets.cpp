// What the socket report costs. On made-up tables, where only the collector counts: how it grows, with owners to be
// searched for and with owners kept. On real loopback sockets: a sample with -f -o 10 against a bare reader that walks
// the descriptors of all processes and reads the socket tables once and parses nothing.
#include "bench/bare.h"
#include "collect/output.h"
#include "collect/port.h"
#include "collect/settings.h"
#include "collect/system.h"
#include "monitor/options.h"
#include "monitor/proc.h"
#include "monitor/reports.h"

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr int Rounds = 11;
static constexpr int Few = 4000, Many = 40000; // sockets

// --- Made-up tables

// A table of `count` sockets as the kernel prints it.
static std::string getTable(int count) {
    std::string text(149, ' ');
    text += '\n';
    for (int i = 0; i < count; i++) {
        char line[192];
        const int size =
            snprintf(line, sizeof line,
                     "%4d: 0100007F:%04X 0100007F:%04X 01 00000000:00000000 00:00000000 00000000 %5d        0 "
                     "%d 1 ffff888003a5c000 20 4 30 10 -1",
                     i, i % 65536, 40000 + i % 20000, 1000, 100000 + i);
        text.append(line, static_cast<size_t>(size)).append(149 - static_cast<size_t>(size), ' ').append("\n");
    }
    return text;
}

// Their owners: twenty processes with as many each.
static TProcTable getProcesses(int count) {
    TProcTable processes;
    processes.texts = "/usr/bin/server --with options";
    for (int p = 0; p < 20; p++) {
        auto& process = processes.procs.emplace_back();
        process.pid = 100 + p, process.ppid = 1, process.cmd = "server";
        process.arg = {0, static_cast<uint32_t>(processes.texts.size())};
        process.fdinfo = {static_cast<uint32_t>(processes.fds.size()), static_cast<uint32_t>(count / 20)};
        for (int f = 0; f < count / 20; f++) processes.fds.emplace_back().inode = 100000 + f * 20 + p;
    }
    processes.proccount = processes.capacity = 20;
    return processes;
}

// Best of ten, for each socket, microseconds.
static double getCost(int count, bool kept) {
    const auto text = getTable(count);
    auto processes = getProcesses(count);
    TPortTable table;
    getportrows(text, {}, table, &processes, 64);
    double best = 1e9;
    for (int i = 0; i < 10; i++) {
        if (!kept) table.rows.clear();
        best = std::min(best, timed([&] { getportrows(text, {}, table, &processes, 64); }));
    }
    return best * 1000 / count;
}

static void showGrowth(FILE* out) {
    fprintf(out, "%-48s %9s %9s\n", "collector, us for each socket of a made-up table", "searched", "kept");
    for (int count : {40, 400, Few, Many, 10 * Many})
        fprintf(out, "%48d %9.3f %9.3f\n", count, getCost(count, false), getCost(count, true));
}

// --- Real sockets

static int passes = 0;

static void wyrtSample() {
    const int icur = passes % 2;
    dispproc(passes, icur, 1 - icur, 1, 0, 262144, 64, 0);
    if (passes > 0) dispport(passes, icur, 1 - icur, currentProcesses(icur), 64);
    dispproc(passes, icur, 1 - icur, 1, 0, 262144, 64, 1);
    flushOutput();
    passes++;
}

static void bareTables() {
    for (const char* path : {"/proc/net/tcp", "/proc/net/udp"}) {
        const int fd = open(path, O_RDONLY | O_CLOEXEC);
        while (read(fd, bareBuffer, sizeof bareBuffer) > 0) {
        }
        close(fd);
    }
}

static void set() {
    procrowcount = 24;
    portrowcount = 10;
    FDMonitoring = 1;
    proc_io_file = 1;
    clocktick = getClockTicks();
    pagesize = getPageSize();
    timediff = 2;
}

// The largest memory of a process that takes ten samples, KB.
static long peakMemory() {
    const pid_t pid = fork();
    if (pid == 0) {
        for (int i = 0; i < 10; i++) wyrtSample();
        _exit(0);
    }
    rusage usage{};
    int status = 0;
    wait4(pid, &status, 0, &usage);
    return usage.ru_maxrss;
}

// The medians of a sample's and of the bare reader's CPU time, in turn.
static std::pair<double, double> compare() {
    for (int i = 0; i < 3; i++) wyrtSample(); // the first two fill the slots, the third finds the owners
    std::vector<double> ours, bare;
    for (int i = 0; i < Rounds; i++) {
        ours.push_back(timed(wyrtSample));
        bare.push_back(timed([] { bareSample(false, true), bareTables(); }));
    }
    return {median(ours), median(bare)};
}

int main(int, char** argv) {
    // Standard output takes the tables; the figures go where it went.
    FILE* out = fdopen(dup(STDOUT_FILENO), "w");
    const int null = open("/dev/null", O_WRONLY);
    if (!out || null < 0 || dup2(null, STDOUT_FILENO) < 0) return 1;
    set();
    fprintf(out, "%-48s %9s %9s %7s %9s\n", "CPU time of a sample with -f -o 10, ms", "wyrt", "bare", "ratio",
            "peak KB");
    double before = 0;
    for (int count : {Few, Many}) {
        const Load load(argv[0], {"--processes", "20", "--sockets", std::to_string(count / 20)});
        const long peak = peakMemory();
        passes = 0;
        const auto [ours, bare] = compare();
        fprintf(out, "%40d sockets %9.2f %9.2f %7.3f %9ld\n", count, ours, bare, ours / bare, peak);
        fflush(out);
        if (before > 0) fprintf(out, "%-48s %9.2f\n", "ten times the sockets cost", ours / before);
        before = ours;
    }
    showGrowth(out); // last, so that its tables are in nobody's peak
    return 0;
}
