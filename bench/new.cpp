// Measures what a sample of the new form costs: the samplers and models of areas, on this machine's own files and on
// those of large made-up machines, which are files below a directory. Bare reads of the same files take turns with
// them.
//
//     bench-new [system | cores | disks | interfaces | counters | mounts | groups | still-groups | --growth]...
//
// CPU time is user and system time of this process; the least and the median of all passes. --growth fails when an area
// costs more than linear: times may vary by the machine, growth may not.
#include "record/interval.h"
#include "wyrt/source.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

// --- Measuring

static double cpuMs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

namespace {
struct Figures {
    double least = 0, median = 0;
};
struct Cost {
    Figures ours, bare;  // ms
    double resident = 0; // bytes, after the last pass
};
struct Passes {
    size_t count = 200;
    int pause_ms = 0; // before each piece of work, so that the caches are as cold as they are then
};
} // namespace

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

// `change` runs before each pass and is not measured.
static Cost takeTurns(const std::function<void()>& ours, const std::function<void()>& bare,
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

// In a process of its own, so that each measurement starts with the same memory.
static Cost apart(const std::function<Cost()>& measure) {
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

// --- The program's part, and the bare reads

namespace {
class Sampled {
    Helper helper; // outlives the sources
    std::vector<std::unique_ptr<Source>> sources;
    Interval interval;
    bool first = true;

public:
    Sampled(std::string_view areas, const Root& root) : sources(makeSources(areas, root, helper)) {}
    void operator()() {
        for (auto& source : sources) source->sample();
        clearRows(interval);
        interval.complete = first;
        first = false;
        for (auto& source : sources) source->rows(interval);
    }
};

// Files that are held open and read from their beginning; nothing is done with what they say.
class Held {
    std::vector<int> files;
    std::vector<char> room = std::vector<char>(1 << 16);

public:
    explicit Held(const std::vector<std::string>& names) {
        for (auto& name : names)
            if (const int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC); fd >= 0) files.push_back(fd);
    }
    void operator()() {
        for (const int fd : files)
            for (off_t at = 0;;) {
                const auto got = pread(fd, room.data(), room.size(), at);
                if (got <= 0) break;
                at += got;
            }
    }
};
} // namespace

// --- This machine

static constexpr const char* SystemAreas = "cpu mem pressure disk fs net limits";
static const std::vector<std::string> SystemFiles = {"/proc/stat",
                                                     "/proc/loadavg",
                                                     "/proc/meminfo",
                                                     "/proc/vmstat",
                                                     "/proc/pressure/cpu",
                                                     "/proc/pressure/memory",
                                                     "/proc/pressure/io",
                                                     "/proc/diskstats",
                                                     "/proc/uptime",
                                                     "/proc/sys/net/netfilter/nf_conntrack_count",
                                                     "/proc/sys/net/netfilter/nf_conntrack_max",
                                                     "/proc/net/stat/nf_conntrack",
                                                     "/proc/sys/fs/file-nr",
                                                     "/proc/sys/kernel/pid_max",
                                                     "/proc/sys/kernel/threads-max",
                                                     "/proc/net/sockstat",
                                                     "/proc/sys/net/ipv4/tcp_mem",
                                                     "/proc/sys/net/ipv4/udp_mem",
                                                     "/proc/sys/net/ipv4/tcp_max_orphans",
                                                     "/proc/sys/net/ipv4/tcp_max_tw_buckets",
                                                     "/proc/net/stat/arp_cache",
                                                     "/proc/sys/net/ipv4/neigh/default/gc_thresh3",
                                                     "/proc/net/stat/ndisc_cache",
                                                     "/proc/sys/net/ipv6/neigh/default/gc_thresh3",
                                                     "/proc/net/softnet_stat",
                                                     "/proc/sys/net/core/netdev_max_backlog",
                                                     "/proc/sys/fs/aio-nr",
                                                     "/proc/sys/fs/aio-max-nr",
                                                     "/proc/key-users"};

// The statistics of all interfaces, as the kernel sends them.
static void askStatistics(int socket, std::vector<char>& room) {
    struct {
        nlmsghdr header;
        if_stats_msg body;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETSTATS;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.body.filter_mask = 1; // IFLA_STATS_LINK_64
    if (send(socket, &request, sizeof request, 0) < 0) return;
    for (;;) {
        const auto got = recv(socket, room.data(), room.size(), 0);
        if (got < static_cast<ssize_t>(sizeof(nlmsghdr))) return;
        for (size_t at = 0; at + sizeof(nlmsghdr) <= static_cast<size_t>(got);) { // the end can come with the last ones
            nlmsghdr header;
            memcpy(&header, room.data() + at, sizeof header);
            if (header.nlmsg_type == NLMSG_DONE || header.nlmsg_type == NLMSG_ERROR) return;
            at += std::max<size_t>(NLMSG_ALIGN(header.nlmsg_len), sizeof header);
        }
    }
}

static long linesOf(const char* name) {
    long lines = 0;
    if (FILE* file = fopen(name, "r")) {
        for (int c; (c = fgetc(file)) != EOF;) lines += c == '\n' ? 1 : 0;
        fclose(file);
    }
    return lines;
}

static void showCost(const std::string& what, long rows, const Cost& cost) {
    printf("| %s | %ld | %.3f | %.3f | %.3f | %.3f | %.2f | %.1f |\n", what.c_str(), rows, cost.ours.least,
           cost.ours.median, cost.bare.least, cost.bare.median, cost.ours.least / std::max(cost.bare.least, 1e-6),
           cost.resident / 1048576);
    fflush(stdout);
}

static void measureSystem() {
    const int interfaces = static_cast<int>(linesOf("/proc/net/dev")) - 2;
    const auto title = [&](const char* how) {
        return std::string("the machine, ") + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " cores, " +
               std::to_string(linesOf("/proc/diskstats")) + " disks, " + std::to_string(interfaces) + " interfaces, " +
               how;
    };
    const auto with = [&](Passes passes) {
        return apart([&] {
            Sampled ours(SystemAreas, Root());
            Held files(SystemFiles);
            const int route = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
            std::vector<char> room(1 << 16);
            return takeTurns([&] { ours(); }, [&] { files(), askStatistics(route, room); }, nullptr, passes);
        });
    };
    showCost(title("back to back"), 1, with({2000, 0}));
    showCost(title("every 2 s"), 1, with({15, 1000}));
}

// --- Large machines, made of files

namespace {
class Tree {
    fs::path top;

public:
    Tree() {
        std::string name = "/dev/shm/wyrt-bench.XXXXXX";
        if (!mkdtemp(name.data())) perror("mkdtemp"), exit(1);
        top = name;
    }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;
    ~Tree() {
        std::error_code ignored;
        fs::remove_all(top, ignored);
    }
    std::string dir() const { return top.string(); }
    std::string path(const std::string& name) const { return dir() + name; }
    // The same file with another content: whoever holds it open reads the new one.
    void write(const std::string& name, const std::string& text) const {
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
};

struct Large {
    const char *word, *what, *areas;
    std::vector<long> sizes;
    void (*build)(const Tree& tree, long size);               // once
    void (*change)(const Tree& tree, long size, size_t pass); // before each pass
    std::vector<std::string> (*files)(const Tree& tree, long size);
    bool held; // the bare reader holds its files open, too
};
} // namespace

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

static const Large Larges[] = {
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
    {"groups", "control groups, all busy", "cgroup", {100, 1000, 10000}, buildGroups, changeGroups, groupFiles, false},
    {"still-groups",
     "control groups, all still but the root",
     "cgroup",
     {100, 1000, 10000},
     buildGroups,
     onlyRoot,
     rootFiles,
     false},
};

static void readOpening(const std::vector<std::string>& files) {
    char room[4096];
    for (auto& name : files) {
        const int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) continue;
        while (read(fd, room, sizeof room) > 0) {
        }
        close(fd);
    }
}

static Cost measureLarge(const Large& large, long size) {
    const Tree tree;
    if (large.build) large.build(tree, size);
    if (large.change) large.change(tree, size, 0);
    const auto files = large.files(tree, size);
    const Passes passes{static_cast<size_t>(std::clamp(20000 / size, 7L, 100L)), 0};
    return apart([&] {
        Sampled ours(large.areas, Root(tree.dir()));
        Held held(large.held ? files : std::vector<std::string>());
        return takeTurns([&] { ours(); }, [&] { large.held ? held() : readOpening(files); },
                         [&](size_t pass) { large.change(tree, size, pass + 1); }, passes);
    });
}

// Filesystems of this machine: so many small ones are mounted in a namespace of its own. Bare: statvfs in this process.
static Cost measureMounts(long size) {
    const Tree tree;
    return apart([&] {
        if (unshare(CLONE_NEWNS) || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr)) return Cost{};
        std::vector<std::string> points;
        for (long i = 0; i < size; i++) {
            points.push_back(tree.path("/" + std::to_string(i)));
            fs::create_directories(points.back());
            if (mount("tmpfs", points.back().c_str(), "tmpfs", 0, "size=64k")) return Cost{};
        }
        Sampled ours("fs", Root());
        const auto cost =
            takeTurns([&] { ours(); },
                      [&] {
                          struct statvfs answer;
                          for (auto& point : points) statvfs(point.c_str(), &answer);
                      },
                      [](size_t) { usleep(20000); }, {static_cast<size_t>(std::clamp(20000 / size, 7L, 50L)), 0});
        for (auto& point : points) umount2(point.c_str(), MNT_DETACH);
        return cost;
    });
}

// The exponent between two sizes; 1 is linear.
static double growthOf(double smaller, double larger, long from, long to) {
    return std::log(larger / smaller) / std::log(static_cast<double>(to) / static_cast<double>(from));
}

static bool showLarge(const char* what, const std::vector<long>& sizes, const std::function<Cost(long)>& measure) {
    constexpr double Linear = 1.25; // caches that are too small for the larger size cost something, too
    std::vector<Cost> costs;
    for (const long size : sizes) {
        costs.push_back(measure(size));
        if (costs.back().ours.least <= 0) return printf("| %s | %ld | not measured: no right |\n", what, size), true;
        showCost(what, size, costs.back());
    }
    const size_t last = sizes.size() - 1;
    const double growth = growthOf(costs[last - 1].ours.least, costs[last].ours.least, sizes[last - 1], sizes[last]);
    const double bytes =
        (costs[last].resident - costs[last - 1].resident) / static_cast<double>(sizes[last] - sizes[last - 1]);
    printf("| %s: growth %.2f%s, %.0f bytes of memory a row |\n", what, growth,
           growth > Linear ? " MORE THAN LINEAR" : "", bytes);
    return growth <= Linear;
}

int main(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    const bool growthOnly = std::erase(words, "--growth") > 0;
    const auto wanted = [&](const char* word) {
        return words.empty() || std::find(words.begin(), words.end(), word) != words.end();
    };
    printf("| a sample of | rows | least ms | median ms | bare least ms | bare median ms | ratio | resident MB |\n| "
           "--- | --- | --- | --- | --- | --- | --- | --- |\n");
    if (!growthOnly && wanted("system")) measureSystem();
    bool linear = true;
    for (auto& large : Larges)
        if (wanted(large.word))
            linear &= showLarge(large.what, large.sizes, [&](long size) { return measureLarge(large, size); });
    if (wanted("mounts")) linear &= showLarge("filesystems, mounted for this", {50, 500, 5000}, measureMounts);
    return linear ? 0 : 1;
}
