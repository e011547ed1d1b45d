// A scan of /proc for the classic form, the order of its rows, and rates.
#include "base/order.h"
#include "tests/unit/made.h"
#include "tests/unit/proctable.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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
