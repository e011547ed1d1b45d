// Measures on this machine: the wall time of the start of a run and of the volume map, the wall time of their shell
// commands alone, and our own CPU time; and the system calls of a sample of the machine's figures. WYRT names the
// program whose start is measured.
#include "base/door.h"
#include "base/output.h"
#include "bench/measure.h"
#include "classic/collect/flushed.h"
#include "classic/collect/info.h"
#include "classic/collect/settings.h"
#include "classic/collect/volumes.h"
#include "classic/monitor/loop.h"
#include "classic/monitor/options.h"
#include "classic/monitor/reports.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include <fcntl.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr int Rounds = 11;
static constexpr int Samples = 200;

// --- System calls

// Counts each system call between two calls of getppid in the child, which calls getppid only to mark the span.
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
        for (int pass = 0; pass < Samples; pass++) {
            dispbasic(pass, pass % 2, 1 - pass % 2);
            flushOutput();
        }
        getppid();
        _exit(0);
    }
    const auto counts = countCalls(child);
    static const std::map<long, const char*> Names = {
        {SYS_openat, "openat"}, {SYS_read, "read"}, {SYS_close, "close"}, {SYS_write, "write"}, {SYS_ioctl, "ioctl"}};
    show("\n| system calls of a sample `-b -r` | |\n| --- | --- |\n");
    for (auto [number, count] : counts) {
        const auto name = Names.find(number);
        show("| %s | %.2f |\n", name == Names.end() ? std::to_string(number).c_str() : name->second,
             static_cast<double>(count) / Samples);
    }
    if (counts.empty()) show("| (not allowed to watch a child) | |\n");
}

// --- Start-up and map

// A run of the program that ends after its start. It uses -Z, because the block of the table form lists interfaces,
// too.
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

// `own` does the work in this process, whose CPU time is that of the program without its commands.
static void showTimes(const char* what, const std::function<void()>& all, const std::function<void()>& commands,
                      const std::function<void()>& own) {
    const auto walls = getWalls(all, commands, Rounds);
    show("| %s | %.1f | %.1f | %.2f |\n", what, walls.one, walls.other, getCPU(own, Rounds));
}

static void showStart(const char* self) {
    const char* given = getenv("WYRT");
    std::string program = given ? given : self;
    if (!given) program.replace(program.rfind('/') + 1, program.npos, "wyrt");
    const auto all = [&] { start(program); };
    const auto commands = [] {
        TSystemInfo info;
        getsysteminfo(info);
    };
    const auto own = [] {
        std::string name = "wyrt", records = "-Z", environment = "-e";
        char* argv[] = {name.data(), records.data(), environment.data(), nullptr};
        optind = 1;
        monitor(3, argv);
    };
    showTimes("start of a run", all, commands, own);
    shooting = 0;
}

static void showMap() {
    const auto commands = [] {
        Contents text;
        for (const char* command : {"vgdisplay 2>/dev/null", "lvdisplay -m 2>/dev/null", "pvdisplay -m 2>/dev/null",
                                    "multipath -ll 2>/dev/null"})
            runCommand(command, text);
    };
    const auto map = [] { mapdisk({}); };
    showTimes("volume map of this machine", map, commands, map);
}

int main(int, char** argv) {
    keepOutput();
    show("| ms, median of %d | whole, wall clock | its shell commands, wall clock | our own CPU time |\n| --- | --- | "
         "--- | --- |\n",
         Rounds);
    showStart(argv[0]);
    showMap();
    ShowBasic = 1;
    EachCoreCount = 100000;
    timediff = 2;
    showCalls();
}
