// What a sample of a large machine costs grows with the machine, not with its square. Times vary, so the bound is wide:
// a machine of ten times the size may cost thirty times as much, where a square would be a hundred.
#include "tests/unit/made.h"
#include "view/volumes.h"
#include "wyrt/source.h"

#include <algorithm>
#include <ctime>

static double cpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// The least CPU time of some samples with their rows, on a machine of these lines.
static double costOf(const std::string& areas, const std::string& lines) {
    const Made machine(lines);
    Helper helper;
    const auto sources = makeSources(areas, Root(), helper);
    double least = 1e9;
    for (int pass = 0; pass < 5; pass++) {
        Interval interval;
        interval.complete = true; // everything has a row
        const double start = cpuSeconds();
        for (auto& source : sources) source->sample();
        for (auto& source : sources) source->rows(interval);
        if (pass > 0) least = std::min(least, cpuSeconds() - start);
    }
    return least;
}

namespace {
struct Growing {
    const char *name, *areas;
    long size; // of the smaller machine
    std::string (*lines)(long size);
};
} // namespace

static std::string file(const std::string& path, const std::string& text) {
    return "file " + path + " <<E\n" + text + "E\n";
}

static std::string cores(long size) {
    std::string text = "cpu 1 2 3 4 5 6 7 8 0 0\n";
    for (long i = 0; i < size; i++) text += "cpu" + std::to_string(i) + " 1 2 3 4 5 6 7 8 0 0\n";
    return file("/proc/stat", text);
}

static std::string disks(long size) {
    std::string text;
    for (long i = 0; i < size; i++)
        text += std::to_string(8 + i / 256) + " " + std::to_string(i % 256) + " disk" + std::to_string(i) +
                "x 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17\n";
    return file("/proc/diskstats", text);
}

static std::string interfaces(long size) {
    std::string links, counters;
    for (long i = 1; i <= size; i++) {
        links += "link " + std::to_string(i) + " if" + std::to_string(i) + " state=up rx_bytes=5\n";
        counters += "address " + std::to_string(i) + " 10." + std::to_string(i / 65536) + "." +
                    std::to_string(i / 256 % 256) + "." + std::to_string(i % 256) + "/8\n";
    }
    return "netlink route stats <<E\nerror EOPNOTSUPP\nE\nnetlink route links <<E\n" + links +
           "E\nnetlink route addresses <<E\n" + counters + "E\n";
}

static std::string mounts(long size) {
    std::string table, spaces;
    for (long i = 0; i < size; i++) {
        const auto point = "/m/" + std::to_string(i);
        table += std::to_string(100 + i) + " 1 0:" + std::to_string(100 + i) + " / " + point + " rw - xfs source rw\n";
        spaces += "fs " + point + " 4096 1000 500 500 100 50\n";
    }
    return file("/proc/self/mountinfo", table) + spaces;
}

static std::string groups(long size) {
    const std::string top = "/sys/fs/cgroup";
    auto lines = file("/proc/self/mountinfo", "30 23 0:26 / " + top + " rw - cgroup2 cgroup2 rw\n");
    const auto group = [&](const std::string& path, long below) {
        lines += file(path + "/cpu.stat", "usage_usec 5\n");
        lines += file(path + "/cgroup.stat", "nr_descendants " + std::to_string(below) + "\n");
    };
    constexpr long Part = 50; // groups in one
    group(top, size + size / Part);
    for (long i = 0; i < size; i++) {
        const auto part = top + "/part" + std::to_string(i / Part);
        if (i % Part == 0) group(part, Part);
        group(part + "/job" + std::to_string(i) + ".service", 0);
    }
    return lines;
}

static const Growing Growings[] = {
    {"cores", "cpu cores", 200, cores}, {"disks", "disk", 200, disks},     {"interfaces", "net", 300, interfaces},
    {"mounts", "fs", 200, mounts},      {"groups", "cgroup", 500, groups},
};

TEST(Growth, IsNotThatOfASquare) {
    constexpr double Most = 30;
    for (auto& growing : Growings) {
        const double small = costOf(growing.areas, growing.lines(growing.size));
        const double large = costOf(growing.areas, growing.lines(growing.size * 10));
        EXPECT_LT(large, small * Most) << growing.name << ": " << small * 1e3 << " ms, then " << large * 1e3 << " ms";
    }
}

// What each of so many disks holds, where a volume stands on each.
static double costOfHoldings(int disks) {
    Interval interval;
    for (int i = 0; i < disks; i++) {
        const auto number = std::to_string(i);
        interval.volumes.rows.push_back({"8:" + number, "sd" + number, "disk", "", "", "", {}});
        interval.volumes.rows.push_back({"253:" + number, "dm-" + number, "lvm", "vg/l" + number, "", "", {}});
        interval.holds.rows.push_back({"253:" + number, "8:" + number, "", ""});
    }
    double least = 1e9;
    for (int pass = 0; pass < 4; pass++) {
        const double start = cpuSeconds();
        const Holdings holdings(interval);
        for (int i = 0; i < disks; i++) EXPECT_EQ(holdings.of("8:" + std::to_string(i)), "vg: l" + std::to_string(i));
        least = std::min(least, cpuSeconds() - start);
    }
    return least;
}

TEST(Growth, WhatDisksHoldIsNotThatOfASquareEither) {
    constexpr double Most = 30;
    const double small = costOfHoldings(300), large = costOfHoldings(3000);
    EXPECT_LT(large, small * Most) << small * 1e3 << " ms, then " << large * 1e3 << " ms";
}
