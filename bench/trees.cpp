#include "bench/trees.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

Tree::Tree() {
    std::string name = "/dev/shm/wyrt-bench.XXXXXX";
    if (!mkdtemp(name.data())) perror("mkdtemp"), exit(1);
    top = name;
}

Tree::~Tree() {
    std::error_code ignored;
    fs::remove_all(top, ignored);
}

void Tree::write(const std::string& name, const std::string& text) const {
    const auto file = path(name);
    int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) {
        fs::create_directories(fs::path(file).parent_path());
        fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    }
    if (fd < 0 || ::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        perror(file.c_str()), exit(1);
    close(fd);
}

static std::string text(uint64_t number) { return std::to_string(number); }

static void changeCores(const Tree& tree, long size, size_t pass) {
    const auto line = [&](const std::string& name, uint64_t factor) {
        std::string words = name;
        for (uint64_t base : {50ULL, 0ULL, 20ULL, 900ULL, 3ULL, 0ULL, 2ULL, 0ULL, 0ULL, 0ULL})
            words += " " + text(base * factor * (1000 + pass));
        return words + "\n";
    };
    std::string all = line("cpu ", static_cast<uint64_t>(size));
    for (long i = 0; i < size; i++) all += line("cpu" + std::to_string(i), 1);
    tree.write("/proc/stat", all + "intr 5\nctxt 9\nbtime 1795260000\nprocesses 9\nprocs_running 1\nprocs_blocked 0\n");
}

static void changeDisks(const Tree& tree, long size, size_t pass) {
    std::string all;
    for (long i = 0; i < size; i++) {
        const uint64_t n = 1000 + pass * static_cast<uint64_t>(1 + i % 7);
        all += " " + text(static_cast<uint64_t>(8 + i / 256)) + " " + text(static_cast<uint64_t>(i % 256)) + " sd" +
               text(static_cast<uint64_t>(i)) + "x";
        for (uint64_t factor : std::initializer_list<uint64_t>{3, 0, 24, 2, 5, 1, 40, 9, 0, 7, 11, 0, 0, 0, 0, 1, 1})
            all += " " + text(n * factor);
        all += "\n";
    }
    tree.write("/proc/diskstats", all);
}

static void changeInterfaces(const Tree& tree, long size, size_t pass) {
    std::string all = "Inter-|   Receive  |  Transmit\n face |bytes packets errs drop fifo frame compressed "
                      "multicast|bytes packets errs drop fifo colls carrier compressed\n";
    for (long i = 0; i < size; i++) {
        const uint64_t n = 1000 + pass * static_cast<uint64_t>(1 + i % 7);
        all += "eth" + std::to_string(i) + ":";
        for (uint64_t factor : std::initializer_list<uint64_t>{900, 9, 0, 1, 0, 0, 0, 2, 700, 7, 0, 0, 0, 0, 0, 0})
            all += " " + text(n * factor);
        all += "\n";
    }
    tree.write("/proc/net/dev", all);
}

static void changeCounters(const Tree& tree, long size, size_t pass) {
    std::string names = "TcpExt:", values = "TcpExt:";
    for (long i = 0; i < size; i++)
        names += " Counter" + std::to_string(i), values += " " + text(1000 + pass * static_cast<uint64_t>(i % 5));
    tree.write("/proc/net/netstat", names + "\n" + values + "\n");
}

static std::string groupOf(long i) {
    return "/sys/fs/cgroup/machine.slice/part" + std::to_string(i / 100) + ".slice/job" + std::to_string(i) +
           ".service";
}

static void writeGroup(const Tree& tree, const std::string& group, long below, size_t pass) {
    const uint64_t n = 1000000 + 20000 * pass;
    tree.write(group + "/cpu.stat", "usage_usec " + text(n) + "\nuser_usec " + text(n / 2) + "\nsystem_usec " +
                                        text(n / 2) + "\nnr_periods 0\nnr_throttled 0\nthrottled_usec 0\n");
    if (pass > 0) return;
    tree.write(group + "/cgroup.stat", "nr_descendants " + std::to_string(below) + "\nnr_dying_descendants 0\n");
    tree.write(group + "/io.stat", "254:0 rbytes=4096 wbytes=8192 rios=1 wios=2 dbytes=0 dios=0\n");
    tree.write(group + "/memory.events", "low 0\nhigh 0\nmax 0\noom 0\noom_kill 0\n");
    tree.write(group + "/memory.current", "1048576\n"), tree.write(group + "/memory.max", "max\n");
    tree.write(group + "/pids.current", "3\n"), tree.write(group + "/cpu.max", "max 100000\n");
}

static void buildGroups(const Tree& tree, long size) {
    tree.write("/proc/self/mountinfo", "30 23 0:26 / " + tree.path("/sys/fs/cgroup") + " rw - cgroup2 cgroup2 rw\n");
    tree.write("/sys/fs/cgroup/cgroup.controllers", "cpu io memory pids\n");
    const long parts = (size + 99) / 100;
    writeGroup(tree, "/sys/fs/cgroup", size + parts + 1, 0);
    writeGroup(tree, "/sys/fs/cgroup/machine.slice", size + parts, 0);
    for (long i = 0; i < parts; i++)
        writeGroup(tree, "/sys/fs/cgroup/machine.slice/part" + std::to_string(i) + ".slice",
                   std::min(100L, size - i * 100), 0);
    for (long i = 0; i < size; i++) writeGroup(tree, groupOf(i), 0, 0);
}

static void changeGroups(const Tree& tree, long size, size_t pass) {
    if (pass == 0) return;
    writeGroup(tree, "/sys/fs/cgroup", 0, pass), writeGroup(tree, "/sys/fs/cgroup/machine.slice", 0, pass);
    for (long i = 0; i < (size + 99) / 100; i++)
        writeGroup(tree, "/sys/fs/cgroup/machine.slice/part" + std::to_string(i) + ".slice", 0, pass);
    for (long i = 0; i < size; i++) writeGroup(tree, groupOf(i), 0, pass);
}

static std::vector<std::string> groupFiles(const Tree& tree, long size) {
    std::vector<std::string> files;
    for (long i = 0; i < size; i++)
        for (const char* name : {"/cpu.stat", "/memory.events", "/cgroup.stat", "/io.stat", "/memory.current",
                                 "/memory.max", "/pids.current", "/cpu.max"})
            files.push_back(tree.path(groupOf(i) + name));
    return files;
}

static void onlyRoot(const Tree& tree, long, size_t pass) {
    if (pass > 0) writeGroup(tree, "/sys/fs/cgroup", 0, pass);
}

static std::vector<std::string> rootFiles(const Tree& tree, long) {
    return {tree.path("/sys/fs/cgroup/cpu.stat"), tree.path("/sys/fs/cgroup/machine.slice/cpu.stat")};
}

template <typename... Names> static std::vector<std::string> pathsOf(const Tree& tree, Names... names) {
    return {tree.path(names)...};
}

const std::vector<Large>& larges() {
    static const std::vector<Large> All = {
        {"cores",
         "cores, all busy",
         "cpu cores",
         {8, 64, 256},
         nullptr,
         changeCores,
         [](const Tree& tree, long) { return pathsOf(tree, "/proc/stat"); },
         true},
        {"disks",
         "disks, all busy",
         "disk",
         {20, 200, 2000},
         nullptr,
         changeDisks,
         [](const Tree& tree, long) { return pathsOf(tree, "/proc/diskstats"); },
         true},
        {"interfaces",
         "interfaces, all busy, /proc/net/dev",
         "net",
         {50, 500, 5000},
         nullptr,
         changeInterfaces,
         [](const Tree& tree, long) { return pathsOf(tree, "/proc/net/dev"); },
         true},
        {"counters",
         "protocol counters",
         "proto",
         {50, 500, 5000},
         nullptr,
         changeCounters,
         [](const Tree& tree, long) { return pathsOf(tree, "/proc/net/netstat"); },
         true},
        {"groups",
         "control groups, all busy",
         "cgroup",
         {100, 1000, 10000},
         buildGroups,
         changeGroups,
         groupFiles,
         false},
        {"still-groups",
         "control groups, all still but the root",
         "cgroup",
         {100, 1000, 10000},
         buildGroups,
         onlyRoot,
         rootFiles,
         false},
    };
    return All;
}
