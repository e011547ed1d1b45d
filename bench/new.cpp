// Measures what a sample of the new form costs: the samplers and models of areas, on this machine's own files and on
// those of large made-up machines, which are files below a directory. Bare reads of the same files take turns with
// them.
//
//     bench-new [system | cores | disks | interfaces | counters | mounts | groups | still-groups | --growth]...
//
// CPU time is user and system time of this process; the least and the median of all passes. --growth fails when an area
// costs more than linear: times may vary by the machine, growth may not.
#include "bench/trees.h"
#include "bench/turns.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/statvfs.h>
#include <unistd.h>

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

// --- Large machines

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
            std::filesystem::create_directories(points.back());
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
    for (auto& large : larges())
        if (wanted(large.word))
            linear &= showLarge(large.what, large.sizes, [&](long size) { return measureLarge(large, size); });
    if (wanted("mounts")) linear &= showLarge("filesystems, mounted for this", {50, 500, 5000}, measureMounts);
    return linear ? 0 : 1;
}
