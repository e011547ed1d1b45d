#include "classic/collect/proc.h"

#include "base/order.h"
#include "classic/collect/proclines.h"
#include "classic/collect/settings.h"
#include "classic/monitor/options.h"
#include "classic/monitor/proc.h"
#include "tests/unit/child.h"
#include "tests/unit/made.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <random>

// --- Settings of a test, taken back at its end

namespace {
class Processes : public testing::Test {
protected:
    TProcTable table;
    TProcTotals totals;
    void SetUp() override {
        ThreadMonitoring = FDMonitoring = proc_io_file = 1;
        clocktick = 100, pagesize = 4096, g_boottime = 1000000;
    }
    void TearDown() override {
        ThreadMonitoring = FDMonitoring = proc_io_file = shooting = 0;
        clocktick = pagesize = 0, g_boottime = 0;
    }
    int scan(int capacity) {
        table.capacity = capacity;
        return getproclist(table, totals);
    }
};
} // namespace

static std::string statOf(const std::string& pid, int threads = 1, const std::string& name = "app") {
    return pid + " (" + name + ") S 1 2 3 0 -1 4 10 11 12 13 14 15 16 17 20 0 " + std::to_string(threads) +
           " 0 2250 1048576 24 25\n";
}

// A directive of a world: a file with a stat line.
static std::string process(int pid, int threads = 1) {
    const auto number = std::to_string(pid);
    return "file /proc/" + number + "/stat <<END\n" + statOf(number, threads) + "END\n";
}

// --- stat

TEST_F(Processes, StatFieldsByTheirNumbers) {
    TProc p;
    ASSERT_TRUE(getStat(TStatLine(statOf("77")), p));
    EXPECT_EQ(p.pid, 77);
    EXPECT_EQ(p.cmd.view(), "app");
    EXPECT_EQ(p.status, 'S');
    EXPECT_EQ(p.ppid, 1);
    EXPECT_EQ(p.minfault, 10);
    EXPECT_EQ(p.majfault, 12);
    EXPECT_EQ(p.usr, 14);
    EXPECT_EQ(p.sys, 15);
    EXPECT_EQ(p.threadcnt, 1);
    EXPECT_EQ(p.STime, 1000022); // 2250 ticks, rounded down
    EXPECT_EQ(p.VmSize, 1024);
    EXPECT_EQ(p.VmRSS, 96);
}

TEST_F(Processes, StatLinesOfEveryLength) {
    std::string line = "1";
    for (int fields = 1; fields <= 62; fields++) {
        const std::string text = line + "\n";
        const TStatLine stat(text);
        EXPECT_EQ(stat.count(), std::min(fields, 60)) << line;
        TProc p;
        TThreadInfo t;
        EXPECT_EQ(getStat(stat, p), fields >= 22) << fields;
        EXPECT_EQ(getThreadStat(stat, t), fields > 22) << fields;
        EXPECT_EQ(p.VmSize > 0, fields >= 23) << fields;
        EXPECT_EQ(p.VmRSS > 0, fields >= 24) << fields;
        line.append(" ").append(std::to_string((fields + 1) * 1024));
    }
}

TEST_F(Processes, StatTextsThatAreNoLine) {
    const struct {
        std::string text;
        int fields;
    } cases[] = {{"", 1},
                 {"\n", 1},
                 {" ", 2},
                 {"   \n", 4},
                 {"a b", 2},
                 {"a  b\nc d", 3},
                 {std::string("a b\0c d e", 9), 2},
                 {std::string(600, ' '), 60},
                 {std::string(509, 'x') + " b c", 2}, // 511 characters are read: a blank, and "b"
                 {std::string(510, 'x') + " b c", 2}, // the blank is the last of them: an empty field
                 {std::string(511, 'x') + " b c", 1}};
    for (auto& c : cases) EXPECT_EQ(TStatLine(c.text).count(), c.fields) << c.text;
    EXPECT_EQ(TStatLine(std::string(509, 'x') + " bcd").text(2), "b");
    EXPECT_EQ(TStatLine(std::string(510, 'x') + " bcd").text(2), "");
}

TEST_F(Processes, CommandNames) {
    const struct {
        std::string field;
        std::string name;
    } cases[] = {{"(a)", "a"},
                 {"()", ""},
                 {"x", ""},
                 {"", ""},
                 {"((sd-pam))", "(sd-pam)"},
                 {"(Web Content)", "We"}, // up to the blank, without its last character (normally the bracket)
                 {"( lead)", ""},
                 {"(" + std::string(63, 'n') + ")", std::string(63, 'n')},
                 {"(" + std::string(64, 'n') + ")", std::string(63, 'n')},
                 {"(\xff\x1b[m)", "\xff\x1b[m"}};
    for (auto& c : cases) {
        TProc p;
        std::string line = "1 " + c.field + " S 1";
        for (int i = 5; i <= 30; i++) line += " 1";
        ASSERT_TRUE(getStat(TStatLine(line), p));
        EXPECT_EQ(p.cmd.view(), c.name) << c.field;
    }
}

TEST_F(Processes, SmallOrUnknownPagesGiveNoMemory) {
    for (int size : {4095, 4096, 65536}) {
        pagesize = size;
        TProc p;
        getStat(TStatLine(statOf("1")), p);
        EXPECT_EQ(p.VmRSS, size < 4096 ? 0 : size / 1024.0 * 24);
    }
}

TEST_F(Processes, StartTimesAreDividedAsWholeNumbers) {
    g_boottime = 0;
    const auto start = [](const std::string& ticks) {
        return TStatLine("1 (app) S 1 2 3 0 -1 4 10 11 12 13 14 15 16 17 20 0 1 0 " + ticks + " 23 24\n").startTime();
    };
    EXPECT_EQ(start("199"), 1);
    EXPECT_EQ(start("-199"), -1);
    EXPECT_EQ(start("9223372036854775807"), 92233720368547758);
}

TEST_F(Processes, ExtremeStartTimesWrap) {
    constexpr auto Most = std::numeric_limits<int64_t>::max();
    g_boottime = Most;
    EXPECT_EQ(TStatLine(statOf("1")).startTime(), std::numeric_limits<int64_t>::min() + 21);
    clocktick = 0;
    EXPECT_EQ(TStatLine(statOf("1")).startTime(), Most);
}

// --- status, io

TEST_F(Processes, StatusLines) {
    const Made machine("user 1000 alice\n");
    TProc p;
    getStatus("Name:\tx\nVmSize:\t  10 kB\nVmPin: 20 kB\nVmRSS:\t30 kB\nVmData:\t40\nVmStk:50\nVmLib:\t60 "
              "kB\nVmSwap:\t70 kB\n"
              "Threads:\t8\nUid:\t1000\t0\t0\t0\n",
              p);
    EXPECT_EQ(p.VmSize, 10);
    EXPECT_EQ(p.VmPin, 20);
    EXPECT_EQ(p.VmRSS, 30);
    EXPECT_EQ(p.VmData, 40);
    EXPECT_EQ(p.VmStack, 50);
    EXPECT_EQ(p.VmLib, 60);
    EXPECT_EQ(p.VmSwap, 70);
    EXPECT_EQ(p.threadcnt, 8);
    EXPECT_EQ(p.uid, 1000);
    EXPECT_EQ(p.user.view(), "alice");
}

TEST_F(Processes, StatusKeysArePrefixesAndTheLastLineCounts) {
    TProc p;
    p.VmData = 5;
    getStatus("VmRSSxx: 1\nVmRSS: 2\n VmRSS: 3\nvmrss: 4\nVmDat: 6\nVmPinned 7\nVmLib:", p);
    EXPECT_EQ(p.VmRSS, 2);
    EXPECT_EQ(p.VmData, 5);
    EXPECT_EQ(p.VmPin, 0);
    EXPECT_EQ(p.VmLib, 0);
}

TEST_F(Processes, StatusPiecesOfALongLine) {
    for (size_t length : {510U, 511U, 512U}) { // after 511 characters the key begins a new piece
        TProc p;
        getStatus(std::string(length, 'x') + "VmRSS: 9\n", p);
        EXPECT_EQ(p.VmRSS, length == 511 ? 9 : 0) << length;
    }
}

TEST_F(Processes, IOLines) {
    TCounters c;
    c.wbytes = 99; // is overwritten
    getIO("rchar: 1\nwchar: 2\nsyscr: 3\nsyscw: 4\nread_bytes: 5\ncancelled_write_bytes: 6\nwrite_bytes:7\nRchar: 8\n",
          c);
    EXPECT_EQ(c.rchar, 1);
    EXPECT_EQ(c.wchar, 2);
    EXPECT_EQ(c.syscr, 3);
    EXPECT_EQ(c.syscw, 4);
    EXPECT_EQ(c.rbytes, 5);
    EXPECT_EQ(c.wbytes, 0); // the key has a blank
    getIO("rchar: 18446744073709551615\nwchar: x\nsyscr: -3", c);
    EXPECT_EQ(c.rchar, 9223372036854775808.0);
    EXPECT_EQ(c.wchar, 0);
    EXPECT_EQ(c.syscr, -3);
}

// --- cmdline

TEST_F(Processes, CommandLines) {
    using namespace std::string_literals;
    const struct {
        std::string file, line;
    } cases[] = {{"", ""},
                 {"\0"s, ""},
                 {"\0\0x"s, ""},
                 {"\0x\0"s, " x"},
                 {"a\0"s, "a"},
                 {"a"s, "a"},
                 {"a\0b\0"s, "a b"},
                 {"a\0\0b\0"s, "a"},
                 {"a\0b\nc\0"s, "a b\n"},
                 {"\n", "\n"},
                 {std::string(6142, 'n') + "\0"s, std::string(6142, 'n')},
                 {std::string(6143, 'n') + "\0"s, std::string(6143, 'n')},
                 {std::string(6144, 'n') + "\0"s, std::string(6143, 'n')},
                 {std::string(6141, 'n') + "\0x\0"s, std::string(6141, 'n') + " x"},
                 {std::string(6142, 'n') + "\0x\0"s, std::string(6142, 'n')}};
    std::string texts = "before";
    for (auto& c : cases) {
        const size_t start = texts.size();
        const auto range = getCommandLine(c.file, texts);
        EXPECT_EQ(range.first, start);
        EXPECT_EQ(texts.substr(range.first, range.count), c.line) << c.file.substr(0, 20);
        EXPECT_EQ(texts.size(), start + range.count);
    }
}

// --- fdinfo, targets

TEST_F(Processes, DescriptorFiles) {
    using namespace std::string_literals;
    const struct {
        std::string file;
        int64_t pos;
        int32_t flags;
    } cases[] = {{"pos:\t1024\nflags:\t0100002\n", 1024, 0x100002},
                 {"pos:\t1024\nflags:\t0100002", 1024, 0},
                 {"pos:\t1\n", 1, 0},
                 {"", 0, 0},
                 {"x\nflags:\t04000\nflags:\t02\n", 0, 0x4000},
                 {"flags:\t02\npos:\t1\n", 0, 0},
                 {"pos:   -8\nflags:   02\n", -8, 2},
                 {"pos:7\nflags:02\n", 7, 2},
                 {"pos:\nflags:\n", 0, 0},
                 {"pos:\t5\nflags: \n", 5, 0},
                 {"pos:\t5\nflags:  ", 5, 0},
                 {"pos:\t5\nflags:\t\n", 5, 0},
                 {"pos:\t5\nflags:xF\n", 5, 15},
                 {"pos:\t5\nflags \t02\n", 5, 0}, // the key ends in a colon
                 {"pos:" + std::string(56, ' ') + "5\nflags:\t01\n", 5, 1},
                 {"pos:" + std::string(57, ' ') + "5\nflags:\t01\n", 5, 0}, // the newline is the second line
                 {"pos:" + std::string(58, ' ') + "5\nflags:\t01\n", 0, 0},
                 {"pos:\t1\nflags:" + std::string(53, ' ') + "x7\n", 1, 7},
                 {"pos:\t1\nflags:" + std::string(54, ' ') + "x7\n", 1, 0},
                 {"pos:\t9223372036854775808\nflags:\t0FFFFFFFF\n", std::numeric_limits<int64_t>::max(), -1},
                 {"pos:\t1\0\nflags:\t02\n"s, 1, 2}};
    for (auto& c : cases) {
        TFDInfo fd;
        getFDInfo(c.file, fd);
        EXPECT_EQ(fd.pos, c.pos) << c.file;
        EXPECT_EQ(fd.flags, c.flags) << c.file;
    }
}

TEST_F(Processes, DescriptorTypes) {
    const struct {
        const char* dest;
        int type;
        int64_t inode;
    } cases[] = {{"socket:[4711]", 1, 4711},
                 {"socket:[", 1, 0},
                 {"socket:4711", 0, 0},
                 {"pipe:[99]", 2, 99},
                 {"pipe:", 0, 0},
                 {"/dev/null", 0, 0},
                 {"anon_inode:[eventpoll]", 3, 0},
                 {"anon_inode:", 3, 0},
                 {"anon_inod", 0, 0},
                 {"", 0, 0},
                 {"socket:[x]", 1, 0},
                 {"pipe:[-5]", 2, -5},
                 {"/socket:[1]", 0, 0}};
    for (auto& c : cases) {
        TFDInfo fd;
        getFDType(c.dest, fd);
        EXPECT_EQ(fd.fdtype, c.type) << c.dest;
        EXPECT_EQ(fd.inode, c.inode) << c.dest;
    }
}

// --- A scan

TEST_F(Processes, ATableThatIsTooSmallTellsHowManyThereAre) {
    const Made machine(process(30) + process(10) + process(20));
    for (int capacity : {0, 1, 2, 3, 4}) {
        EXPECT_EQ(scan(capacity), 3) << capacity;
        EXPECT_EQ(table.procs.size(), static_cast<size_t>(std::min(capacity, 3)));
    }
    scan(2); // the first two of the directory, sorted
    EXPECT_EQ(table.procs[0].pid, 10);
    EXPECT_EQ(table.procs[1].pid, 30);
    scan(3);
    EXPECT_EQ(table.procs[1].pid, 20);
}

TEST_F(Processes, AProcessWithoutStatIsNotCountedAmongThoseRead) {
    const Made machine("dir /proc/5\n" + process(10) + "file /proc/7/stat <<END\n7 (short)\nEND\n");
    EXPECT_EQ(scan(0), 3);
    const auto told = printed([this] { EXPECT_EQ(scan(5), 1); });
    EXPECT_EQ(told, "[ERROR] Failed to open stat file of PID 7(Read field count : 2)\n\n");
    EXPECT_EQ(table.procs[0].pid, 10);
}

TEST_F(Processes, NamesFromTheFirstDigitToTheLast) {
    const auto thread = [](const std::string& name, int id) {
        return "file /proc/1/task/" + name + "/stat <<END\n" + statOf(std::to_string(id)) + "END\n";
    };
    const auto entry = [](const std::string& name, int pid) {
        return "file /proc/" + name + "/stat <<END\n" + statOf(std::to_string(pid)) + "END\n";
    };
    const Made machine(process(1, 2) + entry("0", 5) + entry("9", 9) + entry(":", 6) + entry("-", 7) + entry("a", 8) +
                       thread("1", 1) + thread("0", 2) + thread("9", 3) + thread(":", 4) + thread("-", 5));
    ASSERT_EQ(scan(9), 3);
    EXPECT_EQ(table.procs[0].pid, 1);
    EXPECT_EQ(table.procs[1].pid, 5);
    EXPECT_EQ(table.procs[2].pid, 9);
    ASSERT_EQ(table.threads.size(), 3U);
    EXPECT_EQ(table.threads[1].threadid, 2);
}

TEST_F(Processes, NoProcessDirectory) {
    const Made machine("");
    const auto told = printed([this] { EXPECT_EQ(scan(5), 0); }, STDERR_FILENO);
    EXPECT_EQ(told, "[ERROR] Failed to open /proc: No such file or directory\n");
}

TEST_F(Processes, ThreadsOnlyWhereThereAreSeveral) {
    std::string lines;
    for (int pid : {1, 2, 3}) {
        const auto number = std::to_string(pid);
        lines += process(pid, pid);
        for (int thread = 0; thread < pid; thread++)
            lines += "file /proc/" + number + "/task/" + std::to_string(10 * pid + thread) + "/stat <<END\n" +
                     statOf(std::to_string(10 * pid + thread)) + "END\n";
    }
    const Made machine(lines);
    ASSERT_EQ(scan(5), 3);
    EXPECT_EQ(totals.TotalThreadCount, 6);
    EXPECT_EQ(totals.AllocatedThreadBuf, 2); // processes with a list
    EXPECT_TRUE(table.curthrdbuf(table.procs[0]).empty());
    ASSERT_EQ(table.curthrdbuf(table.procs[1]).size(), 2U);
    ASSERT_EQ(table.curthrdbuf(table.procs[2]).size(), 3U);
    const auto& thread = table.curthrdbuf(table.procs[2])[1];
    EXPECT_EQ(thread.pid, 3);
    EXPECT_EQ(thread.threadid, 31);
    EXPECT_EQ(thread.usr, 14);
    EXPECT_EQ(thread.minfault, 10);
    EXPECT_EQ(thread.STime, 1000022);
    ThreadMonitoring = 0;
    scan(5);
    EXPECT_TRUE(table.threads.empty());
    EXPECT_EQ(totals.AllocatedThreadBuf, 0);
}

TEST_F(Processes, ThreadsWithoutAnInodeAreNone) {
    const Made machine(process(1, 2) + "file /proc/1/task/1/stat <<END\n" + statOf("1") +
                       "END\nfile /proc/1/task/2/stat <<END\n" + statOf("2") + "END\ninode /proc/1/task/1 0\n");
    scan(1);
    ASSERT_EQ(table.threads.size(), 1U);
    EXPECT_EQ(table.threads[0].threadid, 2);
}

TEST_F(Processes, DescriptorsAreCountedByType) {
    const Made machine(process(1) + process(2) +
                       "link /proc/1/fd/0 /dev/null\nlink /proc/1/fd/5 socket:[4711]\nlink /proc/1/fd/6 pipe:[99]\n"
                       "link /proc/2/fd/3 anon_inode:[eventpoll]\nlink /proc/2/fd/4 /some/file\n"
                       "text /proc/1/fdinfo/0 \"pos:\\t7\\nflags:\\t0100002\\n\"\n");
    ASSERT_EQ(scan(5), 2);
    EXPECT_EQ(totals.FileCount, 2);
    EXPECT_EQ(totals.SocketCount, 1);
    EXPECT_EQ(totals.PipeCount, 1);
    EXPECT_EQ(totals.ANONCount, 1);
    const auto first = table.fdinfo(table.procs[0]);
    ASSERT_EQ(first.size(), 3U);
    EXPECT_EQ(table.dest(first[0]), "/dev/null");
    EXPECT_EQ(first[0].pos, 7);
    EXPECT_EQ(first[0].flags, 0x100002);
    EXPECT_EQ(first[1].fd, 5);
    EXPECT_EQ(first[1].inode, 4711);
    EXPECT_EQ(first[1].portinfo, -1);
    EXPECT_EQ(table.dest(table.fdinfo(table.procs[1])[1]), "/some/file");
    FDMonitoring = 0;
    scan(5);
    EXPECT_TRUE(table.fds.empty());
    EXPECT_EQ(totals.FileCount, 0);
}

TEST_F(Processes, TargetsAreCutAt4095Characters) {
    std::string lines = process(1);
    for (int n : {4094, 4095, 4096})
        lines += "link /proc/1/fd/" + std::to_string(n) + " " + std::string(static_cast<size_t>(n), 'l') + "\n";
    const Made machine(lines);
    scan(1);
    for (auto& fd : table.fdinfo(table.procs[0]))
        EXPECT_EQ(table.dest(fd).size(), static_cast<size_t>(std::min<int64_t>(fd.fd, 4095)));
}

TEST_F(Processes, ATargetEndsAtANul) {
    const Made machine(process(1) + "link /proc/1/fd/3 /a\\0b\n");
    scan(1);
    EXPECT_EQ(table.dest(table.fdinfo(table.procs[0])[0]), "/a");
}

TEST_F(Processes, IOIsReadOnlyWhereTheProbeFoundIt) {
    const Made machine(process(1, 2) + "text /proc/1/io \"rchar: 5\\n\"\nfile /proc/1/task/1/stat <<END\n" +
                       statOf("1") + "END\ntext /proc/1/task/1/io \"wchar: 6\\n\"\n");
    scan(1);
    EXPECT_EQ(table.procs[0].rchar, 5);
    EXPECT_EQ(table.threads.at(0).wchar, 6);
    proc_io_file = 0;
    scan(1);
    EXPECT_EQ(table.procs[0].rchar, 0);
    EXPECT_EQ(table.threads.at(0).wchar, 0);
}

TEST_F(Processes, ASteadyMachineAllocatesNothing) {
    const Made machine(process(1, 2) + process(2) + "text /proc/1/cmdline \"some command line\\0\"\n" +
                       "link /proc/1/fd/0 /dev/null\nfile /proc/1/task/1/stat <<END\n" + statOf("1") + "END\n");
    scan(5);
    const auto* procs = table.procs.data();
    const auto* fds = table.fds.data();
    const auto* threads = table.threads.data();
    const auto* texts = table.texts.data();
    for (int i = 0; i < 100; i++) scan(5);
    EXPECT_EQ(table.procs.data(), procs);
    EXPECT_EQ(table.fds.data(), fds);
    EXPECT_EQ(table.threads.data(), threads);
    EXPECT_EQ(table.texts.data(), texts);
}

// --- Order

TEST_F(Processes, SortingByNumberIsMergeSort) {
    std::mt19937 random(1); // NOLINT: the same numbers each time
    std::vector<TProc> spare;
    for (int round = 0; round < 300; round++) {
        std::vector<TProc> rows(random() % 20);
        for (size_t i = 0; i < rows.size(); i++) {
            rows[i].pid = static_cast<int32_t>(round % 3 ? random() % 10 : random()); // with a wrap in each third
            if (round % 5 == 0) rows[i].pid = static_cast<int32_t>(i * 400000000U);   // in order, up to a wrap
            rows[i].ppid = static_cast<int32_t>(i);
        }
        auto expected = rows;
        mergeSort(expected, spare, [](const TProc& a, const TProc& b) {
            return static_cast<int32_t>(static_cast<uint32_t>(a.pid) - static_cast<uint32_t>(b.pid));
        });
        sortByNumber(rows.data(), rows.size(), spare, &TProc::pid);
        for (size_t i = 0; i < rows.size(); i++) EXPECT_EQ(rows[i].ppid, expected[i].ppid) << round << " " << i;
    }
}

// --- Rates

TEST_F(Processes, RatesOverTime) {
    TCounters now, before, rates;
    now.usr = 30, before.usr = 10, now.minfault = 5, before.minfault = 7, now.wbytes = 1;
    getProcRates(now, before, 2, rates);
    EXPECT_EQ(rates.usr, 10);
    EXPECT_EQ(rates.minfault, -1);
    EXPECT_EQ(rates.wbytes, 0.5);
    for (double seconds : {0.0, -1.0}) {
        getProcRates(now, before, seconds, rates);
        EXPECT_EQ(rates.usr, 0);
        EXPECT_EQ(rates.minfault, 0);
    }
}

// --- Users, inodes

static std::string usersFrom(int first, int count, const std::string& name) {
    std::string lines;
    for (int uid = first; uid < first + count; uid++)
        lines += "user " + std::to_string(uid) + " " + name + std::to_string(uid) + "\n";
    return lines;
}

// In a process of its own, because names are kept until its end.
static int namesOfManyUsers() {
    const Made machine(usersFrom(0, 1002, "u") + "step 1\n" + usersFrom(0, 1002, "v"));
    std::vector<const char*> names;
    for (int uid = 0; uid < 1002; uid++) names.push_back(getuser(uid));
    World::current->pause(0);
    int wrong = 0;
    for (int uid = 0; uid < 1002; uid++) {
        const auto nameOf = [uid](char letter) { return std::string(1, letter).append(std::to_string(uid)); };
        if (names[static_cast<size_t>(uid)] != nameOf('u')) wrong++; // still valid
        if (getuser(uid) != nameOf(uid < 1000 ? 'u' : 'v')) wrong++; // beyond a thousand the name is looked up again
    }
    if (getuser(-7) != std::string("N/A(-7)")) wrong++;
    return wrong;
}

TEST_F(Processes, NamesOfMoreThanAThousandUsers) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(endChild(namesOfManyUsers() ? 1 : 0), testing::ExitedWithCode(0), "");
}

TEST_F(Processes, NamesHave15CharactersAtTheMost) {
    const Made machine("user 51001 fifteen-letters\nuser 51002 sixteen-letters.\n");
    EXPECT_STREQ(getuser(51001), "fifteen-letters");
    EXPECT_STREQ(getuser(51002), "sixteen-letters");
    EXPECT_STREQ(getuser(51003), "N/A(51003)");
    EXPECT_STREQ(getuser(std::numeric_limits<int32_t>::min()), "N/A(-2147483648");
}

TEST_F(Processes, InodeOfAFile) {
    const Made machine("text /there \"\"\ninode /there 4711\nfail stat /locked EACCES\n");
    EXPECT_EQ(getinode("/there"), 4711);
    EXPECT_EQ(getinode("/not-there"), -ENOENT);
    EXPECT_EQ(getinode("/locked"), -EACCES);
}

// --- Texts of the report

TEST_F(Processes, CommandsAsColumnsShowThem) {
    TProc p;
    p.cmd = "short";
    for (int n : {0, 1, 9, 10, 11}) {
        table.texts = std::string(static_cast<size_t>(n), 'x');
        p.arg = {0, static_cast<uint32_t>(n)};
        for (int length : {-1, 0, 10}) {
            const auto command = getCommand(table, p, length);
            const bool isShort = n == 0 || length < 1;
            EXPECT_EQ(command.text, isShort ? "short" : table.texts.substr(0, 10)) << n << " " << length;
            EXPECT_EQ(command.dots, n == 11 && !isShort ? "..." : "") << n << " " << length;
        }
    }
}

TEST_F(Processes, LifecycleLinesInBothForms) {
    const Made machine("");
    TProc p;
    p.pid = 12, p.ppid = 3, p.cmd = "short", p.user = "me";
    const auto told = [&](char what) { return printed([&, what] { ExtraProcInfo(table, &p, what); }); };
    EXPECT_EQ(told('C'), "        ++++ Created \"short\" [me / PID 12 / PPID 3]\n");
    EXPECT_EQ(told('T'), "        ---- Terminated \"short\" [me / PID 12 / PPID 3]\n");
    shooting = 1;
    table.texts = std::string(61, 'x');
    for (uint32_t n : {60U, 61U}) {
        p.arg = {0, n};
        const auto command = std::string(60, 'x') + (n == 61 ? "..." : "");
        EXPECT_EQ(told('C'), "^CPROC," + command + ",me,12,3$\n");
        EXPECT_EQ(told('T'), "^TPROC," + command + ",me,12,3$\n");
    }
}

TEST_F(Processes, DescriptionsOfThreads) {
    const Made machine("text ./desc/1-2 \"100\\nworker\\n\"\ntext ./desc/1-3 \"100\"\ndir ./desc/1-4\n");
    EXPECT_EQ(getDescription(1, 2, 100).view(), "worker");
    EXPECT_EQ(getDescription(1, 2, 101).view(), "");
    EXPECT_EQ(getDescription(1, 3, 0).view(), "");
    EXPECT_EQ(getDescription(1, 4, 0).view(), "");
    EXPECT_EQ(getDescription(2, 1, 0).view(), "");
    EXPECT_EQ(readDescription("4294967297\nlater\n", 4294967297).view(), "later"); // beyond 32 bits
    EXPECT_EQ(readDescription("4294967297\nlater\n", 4294967298).view(), "");
}
