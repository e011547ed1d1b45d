// wyrt stats on logs in a made-up machine.
#include "tests/madelog.h"
#include "tests/unit/logcommand.h"
#include "wyrtlog/stats.h"
#include "wyrtlog/tally.h"

#include <algorithm>
#include <cmath>
#include <random>

static Interval intervalAt(uint64_t number) {
    Interval interval;
    interval.number = number;
    interval.time = {Start + static_cast<int64_t>(number) * 2000, 60};
    interval.elapsed_us = 2000000;
    return interval;
}

static void addDisk(Interval& interval, const std::string& name, uint64_t bytes) {
    auto& disk = interval.disks.rows.emplace_back();
    disk.name = name, disk.device = "8:0", disk.write_bytes = bytes, disk.in_flight = bytes / 1000;
    interval.disks.sampled = true, interval.disks.elapsed_us = 2000000;
}

static ProcRow& addProcess(Interval& interval, uint64_t pid, const std::string& name, uint64_t cpu_us) {
    auto& row = interval.processes.rows.emplace_back();
    row.pid = pid, row.start = 5, row.name = name, row.cpu_us = cpu_us, row.user = "u" + name,
    row.unit = name + ".service";
    interval.processes.sampled = true, interval.processes.elapsed_us = 2000000;
    return row;
}

static std::string logOf(const std::vector<Interval>& intervals) {
    std::string log;
    LogWriter writer;
    writer.head(Head, {}, {Start, 60}, log);
    for (auto& interval : intervals) writer.interval(interval, log);
    return log;
}

static std::string counted(std::vector<std::string> words) {
    words.insert(words.begin(), "stats");
    return run(std::move(words));
}

// The words of the first line that has all of these parts.
static std::string lineWith(const std::string& text, std::initializer_list<const char*> parts) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!std::all_of(parts.begin(), parts.end(), [&](auto* part) { return line.find(part) != line.npos; }))
            continue;
        std::istringstream words(line);
        std::string all;
        for (std::string word; words >> word;) all += (all.empty() ? "" : " ") + word;
        return all;
    }
    return "none in:\n" + text;
}

TEST(Histogram, PercentilesAreThreePercentOffAtTheMost) {
    std::mt19937_64 random(3);
    for (int round = 0; round < 50; round++) {
        std::vector<double> values;
        Histogram histogram;
        for (size_t i = 0; i < 500; i++) {
            values.push_back(std::exp(static_cast<double>(random() % 6000) / 100 - 20));
            histogram.add(values.back());
        }
        std::sort(values.begin(), values.end());
        for (const size_t rank : {size_t{1}, size_t{250}, size_t{475}, size_t{500}})
            ASSERT_NEAR(histogram.at(rank), values[rank - 1], values[rank - 1] * 0.032) << round << " " << rank;
    }
}

TEST(Stats, Figures) {
    Made machine("");
    std::vector<Interval> intervals;
    for (uint64_t n = 1; n <= 20; n++) {
        auto& interval = intervals.emplace_back(intervalAt(n));
        if (n % 2) addDisk(interval, "sda", n == 7 ? 8 << 20 : 2 << 20);
        auto& cpu = interval.cpu.rows.emplace_back();
        if (n > 1) cpu.user_us = n * 100000; // the first has no amounts
        cpu.load1 = 0.5, cpu.tasks = 0;
        interval.cpu.sampled = true, interval.cpu.elapsed_us = 2000000;
        if (n == 20) addDisk(interval, "sdb", 1 << 20);
        if (n == 20) interval.disks.rest.emplace().write_bytes = 5;
    }
    save("/a.wyrt", logOf(intervals));
    const auto said = counted({"/a.wyrt"});
    EXPECT_TRUE(said.starts_with("db7  2026-11-21T14:05:10.000+01:00 to 2026-11-21T14:05:50.000+01:00  20 intervals\n"))
        << said;
    EXPECT_TRUE(said.ends_with("status 0\n")) << said;
    // 2 to 20 in steps of 100 ms each 2 s; 95 % of 19 values: the 19th.
    EXPECT_EQ(lineWith(said, {" user "}), "user 55.0% 10.0% 99.9% 100.0% 14:05:50");
    EXPECT_EQ(lineWith(said, {"load1"}), "load1 0.5 0.5 0.5 0.5 14:05:12");
    EXPECT_EQ(lineWith(said, {"CPU", "figure"}), "CPU figure mean min p95 max at (1 figures 0 throughout)");
    // 9 of 20 intervals with 1 MiB/s, one with 4; in the others it was idle. It was seen from the first interval on.
    EXPECT_EQ(lineWith(said, {"sda", "write_bytes"}), "sda 8:0 write_bytes 666K/s 0/s 1.0M/s 4.0M/s 14:05:24");
    // Seen in the last one only; levels are those of the records.
    EXPECT_EQ(lineWith(said, {"sdb", "write_bytes"}), "sdb 8:0 write_bytes 512K/s 512K/s 512K/s 512K/s 14:05:50");
    EXPECT_EQ(lineWith(said, {"sda", "in_flight"}), "sda 8:0 in_flight 2726 2097 8388 8388 14:05:24");
    const auto part = counted({"/a.wyrt", "disk/write_bytes", "--since", "2026-11-21 14:05:21+01:00", "-n", "1"});
    EXPECT_EQ(part.find("in_flight"), part.npos) << part;
    EXPECT_EQ(part.find("CPU"), part.npos) << part;
    EXPECT_NE(part.find("1 more (-n)"), part.npos) << part;
}

TEST(Stats, AnAreaWithoutATableSaysWhy) {
    Made machine("");
    std::vector<Interval> intervals;
    for (uint64_t n = 1; n <= 2; n++) addDisk(intervals.emplace_back(intervalAt(n)), "sda", 1 << 20);
    save("/a.wyrt", logOf(intervals));
    const std::string title = "db7  2026-11-21T14:05:10.000+01:00 to 2026-11-21T14:05:14.000+01:00  2 intervals\n\n";
    const auto none = [](const char* area, const char* tags) {
        return std::string(area) + ": no figures of " + tags + " in this span\n\nstatus 0\n";
    };
    EXPECT_EQ(counted({"/a.wyrt", "volumes"}), title + none("volumes", "VG"));
    EXPECT_EQ(counted({"/a.wyrt", "mem"}), title + none("mem", "MEM and NODE"));
    EXPECT_EQ(counted({"/a.wyrt", "disk/reads"}), title + none("disk", "DISKS and DISK")) << "its records have none";
    EXPECT_EQ(counted({"/a.wyrt", "disk"}).find("disk:"), std::string::npos);
    for (auto& interval : intervals) interval.disks.rows[0].write_bytes = 0;
    save("/b.wyrt", logOf(intervals));
    EXPECT_EQ(counted({"/b.wyrt", "disk/write_bytes"}), title + "disk: 0 throughout\n\nstatus 0\n");
}

TEST(Stats, WhoUsedWhat) {
    Made machine("");
    auto first = intervalAt(1), second = intervalAt(2);
    addProcess(first, 10, "java", 1500000).read_bytes = 4096;
    addProcess(first, 11, "sh", 100000).children_us = 400000;
    addProcess(second, 10, "java", 1000000).write_bytes = 1 << 20;
    addProcess(second, 12, "java", 500000).wait_us = 700000;
    addProcess(second, 13, "a,b", 500000);
    save("/a.wyrt", logOf({first, second}));
    const auto by = [](const char* way) { return counted({"/a.wyrt", "--by", way}); };
    const auto command = counted({"/a.wyrt", "proc"});
    EXPECT_EQ(lineWith(command, {"share", "CPU"}), "CPU mean share command");
    EXPECT_EQ(lineWith(command, {"75.0%"}), "3.0s 75.0% 75.0% java"); // of 4 s, and of 4 s by the clock
    EXPECT_EQ(lineWith(command, {"% sh"}), "0.5s 12.5% 12.5% sh");
    EXPECT_EQ(lineWith(command, {"a,b"}), "0.5s 12.5% 12.5% a,b");
    EXPECT_EQ(lineWith(command, {"1.0M"}), "1.0M 256K/s 100.0% java");
    EXPECT_EQ(lineWith(command, {"0.7s"}), "0.7s 17.5% 100.0% java");
    EXPECT_EQ(lineWith(by("process"), {"java[10]"}), "2.5s 62.5% 62.5% java[10]");
    EXPECT_EQ(lineWith(by("user"), {"ujava"}), "3.0s 75.0% 75.0% ujava");
    EXPECT_EQ(lineWith(by("unit"), {"sh.service"}), "0.5s 12.5% 12.5% sh.service");
    EXPECT_EQ(lineWith(counted({"/a.wyrt", "-n", "1"}), {"2 others"}), "1.0s 25.0% 25.0% (2 others)");
    EXPECT_EQ(by("disc"),
              "wyrt: --by takes process, command, user, unit or disk, not 'disc' (see wyrt stats --help)\nstatus 2\n");
}

// What the log has only as a sum may be anybody's.
TEST(Stats, RestRowsBoundWhatIsKnown) {
    Made machine("");
    auto interval = intervalAt(1);
    addProcess(interval, 10, "java", 600000);
    addProcess(interval, 11, "sh", 200000);
    interval.processes.rest.emplace().cpu_us = 200000;
    save("/a.wyrt", logOf({interval}));
    const auto said = counted({"/a.wyrt"});
    EXPECT_EQ(lineWith(said, {"share", "CPU"}), "CPU mean share at_most command");
    EXPECT_EQ(lineWith(said, {"java"}), "0.6s 30.0% 60.0% 80.0% java");
    EXPECT_EQ(lineWith(said, {"without"}), "0.2s 10.0% 20.0% - (without a record of their own)");
}

TEST(Stats, Disks) {
    Made machine("");
    auto interval = intervalAt(1);
    addDisk(interval, "sda", 3 << 20), addDisk(interval, "sdb", 1 << 20);
    // What these move is moved by the two again, or by no disk at all.
    for (auto* kind : {"dm", "partition", "path", "loop"}) {
        addDisk(interval, kind, 7 << 20);
        interval.disks.rows.back().kind = kind, interval.disks.rows.back().stacked = kind == std::string("dm");
    }
    save("/a.wyrt", logOf({interval}));
    const auto said = counted({"/a.wyrt", "--by", "disk"});
    EXPECT_EQ(lineWith(said, {"75.0%"}), "3.0M 1.5M/s 75.0% sda");
    EXPECT_EQ(lineWith(said, {"25.0%"}), "1.0M 512K/s 25.0% sdb");
}

TEST(Stats, ADamagedIntervalIsInNoFigure) {
    Made machine("");
    auto first = intervalAt(1), second = intervalAt(2);
    addDisk(first, "sda", 2 << 20), addDisk(second, "sda", 77777);
    addProcess(second, 1, "bad", 1000000);
    auto log = logOf({first, second});
    log.replace(log.find(",77777,"), 7, ",99999,");
    save("/a.wyrt", log);
    const auto said = counted({"/a.wyrt"});
    EXPECT_EQ(lineWith(said, {"sda"}), "sda 8:0 write_bytes 1.0M/s 1.0M/s 1.0M/s 1.0M/s 14:05:12");
    EXPECT_EQ(said.find("bad"), said.npos) << said;
    EXPECT_NE(said.find("1 interval is damaged"), said.npos) << said;
}

TEST(Stats, NoFiguresAreIdentitiesAndFlags) {
    Made machine("");
    auto interval = intervalAt(1);
    addDisk(interval, "dm-0", 1 << 20);
    interval.disks.rows[0].sequence = 24, interval.disks.rows[0].stacked = true;
    save("/a.wyrt", logOf({interval}));
    const auto said = counted({"/a.wyrt", "disk"});
    EXPECT_NE(said.find("write_bytes"), said.npos) << said;
    EXPECT_EQ(said.find("diskseq"), said.npos) << said;
    EXPECT_EQ(said.find("stacked"), said.npos) << said;
    for (const char* word : {"disk/diskseq", "disk/stacked"}) EXPECT_NE(whyNoFigure(word), "") << word;
}

// A long name leaves room for the figures.
TEST(Stats, NarrowTerminal) {
    Made machine("terminal\nsize 80 24\n");
    auto interval = intervalAt(1);
    auto& fs = interval.filesystems.rows.emplace_back();
    fs.point = "/var/lib/containers/storage/overlay/0a1b2c3d4e5f/merged", fs.device = "0:45", fs.used = 5 << 20;
    fs.growth = 1 << 20;
    interval.filesystems.sampled = true, interval.filesystems.elapsed_us = 2000000;
    save("/a.wyrt", logOf({interval}));
    const auto said = counted({"/a.wyrt", "fs", "--no-pager", "--color", "never"});
    EXPECT_EQ(lineWith(said, {"used"}), "...d4e5f/merged 0:45 used 5.0M 5.0M 5.0M 14:05:12");
    EXPECT_EQ(lineWith(said, {"growth"}), "...d4e5f/merged 0:45 growth 512K/s 512K/s 512K/s 14:05:12");
}

// A log of another program may have the fields of an identity at other places, or none of them.
TEST(Stats, AnyOrderOfFields) {
    Made machine("");
    std::vector<Interval> intervals;
    for (uint64_t n = 1; n <= 2; n++)
        addDisk(intervals.emplace_back(intervalAt(n)), "sda", 2 << 20), addDisk(intervals.back(), "sdb", 1 << 20);
    const auto log = logOf(intervals);
    const auto with = [&](const std::string& names) {
        auto other = log;
        const std::string ours = "#DISK,time,secs,name,dev,";
        save("/a.wyrt", other.replace(other.find(ours), ours.size(), "#DISK,time,secs," + names));
        return counted({"/a.wyrt", "disk/write_bytes", "--damaged"}); // the head's checksum is that of the other names
    };
    EXPECT_EQ(lineWith(with("name,dev,"), {"sda"}), "sda 8:0 write_bytes 1.0M/s 1.0M/s 1.0M/s 1.0M/s 14:05:12");
    EXPECT_EQ(lineWith(with("dev,name,"), {"sda"}), "8:0 sda write_bytes 1.0M/s 1.0M/s 1.0M/s 1.0M/s 14:05:12");
    EXPECT_EQ(lineWith(with("name,other,"), {"sdb"}), "sdb 8:0 write_bytes 512K/s 512K/s 512K/s 512K/s 14:05:12");
}

TEST(Stats, WrongUsage) {
    Made machine("");
    save("/a.wyrt", logOf({intervalAt(1)}));
    EXPECT_EQ(counted({"/a.wyrt", "disk/wriet"}),
              "wyrt: disk has no figure 'wriet'; the nearest is writes (see wyrt stats --help)\nstatus 2\n");
    EXPECT_EQ(counted({"/a.wyrt", "why"}), "wyrt: there are no figures of 'why' (see wyrt stats --help)\nstatus 2\n");
    EXPECT_EQ(counted({"/a.wyrt", "--until", "2000-01-01"}), "wyrt: there is no interval in this span\nstatus 1\n");
    EXPECT_TRUE(counted({"--help"}).starts_with("wyrt stats [AREA...] [AREA/FIGURE...] [LOG...] [OPTION...]\n"));
    EXPECT_EQ(whyNoFigure("disk/busy_us"), "");
    EXPECT_EQ(whyNoFigure("mem"), "");
}
