// What the benchmarks of samples share: the time, a load to measure on, and a bare reader that opens, reads and closes
// what a sample does and parses nothing.
#pragma once

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
#include <sys/wait.h>
#include <unistd.h>

inline double cpuMillis() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

inline double median(std::vector<double>& values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

inline double timed(const std::function<void()>& run) {
    const double start = cpuMillis();
    run();
    return cpuMillis() - start;
}

// --- The load

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

inline Load::Load(const char* self, std::vector<std::string> options) {
    std::string program(self);
    program.resize(program.rfind('/') + 1);
    options.insert(options.begin(), program + "bench-load");
    std::vector<char*> argv;
    argv.reserve(options.size() + 1);
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

inline char bareBuffer[16384];

inline void bareRead(int at, const char* name) {
    const int fd = openat(at, name, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    if (read(fd, bareBuffer, sizeof bareBuffer) < 0) {
    } // ended in between
    close(fd);
}

inline void bareThreads(int proc, const std::string& name) {
    TBare tasks(proc, (name + "task").c_str());
    while (const char* thread = tasks.next())
        for (const char* file : {"/stat", "/io"}) bareRead(tasks.at, (std::string(thread) + file).c_str());
}

inline void bareDescriptors(int proc, std::string name) {
    const int info = openat(proc, (name + "fdinfo").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    TBare fds(proc, name.append("fd/").c_str());
    while (const char* fd = fds.next()) {
        if (readlinkat(fds.at, fd, bareBuffer, sizeof bareBuffer) < 0) continue;
        bareRead(info, fd);
    }
    close(info);
}

inline void bareSample(bool threads, bool descriptors) {
    TBare proc(AT_FDCWD, "/proc");
    while (const char* process = proc.next()) {
        if (process[0] < '0' || process[0] > '9') continue;
        const std::string name = std::string(process) + "/";
        for (const char* file : {"stat", "status", "io", "cmdline"}) bareRead(proc.at, (name + file).c_str());
        if (threads) bareThreads(proc.at, name);
        if (descriptors) bareDescriptors(proc.at, name);
    }
}
