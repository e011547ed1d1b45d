// What a sample of processes costs, against a bare reader that opens, reads and closes the same files and parses
// nothing. Both run in turn on the same load (bench/load.cpp), medians of the CPU time of this process.
#include "collect/output.h"
#include "collect/settings.h"
#include "collect/system.h"
#include "monitor/options.h"
#include "monitor/proc.h"
#include "monitor/reports.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr int Rounds = 15;

static double cpuMillis() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// --- The load

namespace {
// Runs bench-load, which stands beside this program, until it goes out of scope.
class Load {
    pid_t pid = -1;

public:
    Load(const char* self, std::vector<std::string> options);
    ~Load() {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        usleep(1000000); // until all its processes are gone
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
};
} // namespace

Load::Load(const char* self, std::vector<std::string> options) {
    std::string program(self);
    program.resize(program.rfind('/') + 1);
    options.insert(options.begin(), program + "bench-load");
    std::vector<char*> argv;
    for (auto& option : options) argv.push_back(option.data());
    argv.push_back(nullptr);
    int ready[2];
    if (pipe(ready) != 0) perror("pipe"), _exit(1);
    pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ready[1], STDOUT_FILENO);
        execv(argv[0], argv.data());
        perror(argv[0]);
        _exit(1);
    }
    close(ready[1]);
    char told = 0;
    if (read(ready[0], &told, 1) != 1) fprintf(stderr, "the load does not stand\n"), _exit(1);
    close(ready[0]);
}

// --- The bare reader

namespace {
struct TBare {
    DIR* dir;
    int at;
    explicit TBare(int from, const char* name) {
        at = openat(from, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        dir = at < 0 ? nullptr : fdopendir(at);
    }
    ~TBare() {
        if (dir) closedir(dir);
    }
    TBare(const TBare&) = delete;
    TBare& operator=(const TBare&) = delete;
    // The next name that is not "." or "..".
    const char* next() {
        const dirent* entry = nullptr;
        while (dir && (entry = readdir(dir)) && entry->d_name[0] == '.') {
        }
        return entry ? entry->d_name : nullptr;
    }
};
} // namespace

static char bareBuffer[16384];

static void bareRead(int at, const char* name) {
    const int fd = openat(at, name, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    if (read(fd, bareBuffer, sizeof bareBuffer) < 0) {
    } // ended in between
    close(fd);
}

static void bareThreads(int proc, const std::string& name) {
    TBare tasks(proc, (name + "task").c_str());
    while (const char* thread = tasks.next())
        for (const char* file : {"/stat", "/io"}) bareRead(tasks.at, (std::string(thread) + file).c_str());
}

static void bareDescriptors(int proc, std::string name) {
    const int info = openat(proc, (name + "fdinfo").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    TBare fds(proc, name.append("fd/").c_str());
    while (const char* fd = fds.next()) {
        if (readlinkat(fds.at, fd, bareBuffer, sizeof bareBuffer) < 0) continue;
        bareRead(info, fd);
    }
    close(info);
}

static void bareSample(bool threads, bool descriptors) {
    TBare proc(AT_FDCWD, "/proc");
    while (const char* process = proc.next()) {
        if (process[0] < '0' || process[0] > '9') continue;
        const std::string name = std::string(process) + "/";
        for (const char* file : {"stat", "status", "io", "cmdline"}) bareRead(proc.at, (name + file).c_str());
        if (threads) bareThreads(proc.at, name);
        if (descriptors) bareDescriptors(proc.at, name);
    }
}

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

static double median(std::vector<double>& values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

static double timed(const std::function<void()>& run) {
    const double start = cpuMillis();
    run();
    return cpuMillis() - start;
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
