// What a system-only sample costs (-b -r): CPU time against a bare reader of the same three files, and its system
// calls. And what the start of a run takes: most of it is the shell commands.
#include "collect/system.h"
#include "bench/bare.h"
#include "collect/info.h"
#include "collect/output.h"
#include "monitor/options.h"
#include "monitor/reports.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr int Rounds = 10;
static constexpr int Samples = 200; // in a round

static FILE* shown = nullptr; // standard output, which the samples lose

// --- CPU time

static int pass = 0;

static void takeSample() {
    timediff = 2;
    dispbasic(pass, pass % 2, (pass + 1) % 2);
    flushOutput();
    pass++;
}

static void readBare() {
    for (const char* file : {"/proc/stat", "/proc/meminfo", "/proc/vmstat"}) {
        const int fd = open(file, O_RDONLY | O_CLOEXEC);
        while (read(fd, bareBuffer, sizeof bareBuffer) > 0) {
        }
        close(fd);
    }
}

static void showCost(const char* name, void (*act)()) {
    std::vector<double> costs(Rounds);
    for (auto& cost : costs)
        cost = timed([&] {
                   for (int i = 0; i < Samples; i++) act();
               }) /
               Samples;
    const double middle = median(costs); // sorts them
    fprintf(shown, "%-28s %8.3f ms %8.3f ms\n", name, costs[0], middle);
}

// --- System calls

// How often each one is made between two calls of getppid in the child, which makes none else.
static std::map<long, int> countCalls(pid_t child) {
    std::map<long, int> counts;
    bool between = false, entering = true;
    for (int status = 0; waitpid(child, &status, 0) == child && WIFSTOPPED(status);) {
        __ptrace_syscall_info info{};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info) > 0 && info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            const auto number = static_cast<long>(info.entry.nr);
            if (number == SYS_getppid) between = !between;
            else if (between) counts[number]++;
        }
        if (entering) ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
        entering = false;
        if (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0) break;
    }
    return counts;
}

static void showCalls() {
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        getppid();
        for (int i = 0; i < Samples; i++) takeSample();
        getppid();
        _exit(0);
    }
    const auto counts = countCalls(child);
    static const std::map<long, const char*> Names = {
        {SYS_openat, "openat"}, {SYS_read, "read"}, {SYS_close, "close"}, {SYS_write, "write"}};
    fprintf(shown, "\nsystem calls of a sample:\n");
    for (auto [number, count] : counts) {
        const auto name = Names.find(number);
        fprintf(shown, "%-28s %8.2f\n", name == Names.end() ? std::to_string(number).c_str() : name->second,
                static_cast<double>(count) / Samples);
    }
    if (counts.empty()) fprintf(shown, "(not allowed to watch a child)\n");
}

// --- Start-up

static double wallMillis() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

template <typename Act> static double wallOf(const Act& act) {
    std::vector<double> times(Rounds);
    for (auto& time : times) {
        const double start = wallMillis();
        act();
        time = wallMillis() - start;
    }
    return median(times);
}

// A run of the program that ends behind its start: -Z, because the block of the table form lists interfaces, too.
static void start(const std::string& program) {
    std::string records = "-Z", environment = "-e", name = program;
    char* argv[] = {name.data(), records.data(), environment.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    if (posix_spawn(&child, program.c_str(), &actions, nullptr, argv, environ) != 0)
        fprintf(stderr, "%s does not run\n", program.c_str()), exit(1);
    posix_spawn_file_actions_destroy(&actions);
    waitpid(child, nullptr, 0);
}

static void showStart(const char* self) {
    const char* given = getenv("WYRT");
    std::string program = given ? given : self;
    if (!given) program.replace(program.rfind('/') + 1, program.npos, "wyrt");
    const double all = wallOf([&] { start(program); });
    const double commands = wallOf([] {
        TSystemInfo info;
        getsysteminfo(info);
    });
    fprintf(shown, "\nstart of a run, median of %d:\n", Rounds);
    fprintf(shown, "%-28s %8.1f ms\n%-28s %8.1f ms\n%-28s %8.1f ms\n", "all of it", all, "its shell commands", commands,
            "the rest", all - commands);
}

int main(int, char** argv) {
    shown = fdopen(dup(STDOUT_FILENO), "w");
    setvbuf(shown, nullptr, _IOLBF, 0); // before the processes are made
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    ShowBasic = 1;
    EachCoreCount = 100000;
    fprintf(shown, "CPU time of a sample, of %d rounds: %8s %11s\n", Rounds, "best", "median");
    showCost("table", takeSample);
    shooting = 1;
    showCost("records", takeSample);
    showCost("the same files, bare", readBare);
    showCalls();
    showStart(argv[0]);
}
