#include "parse/process.h"

#include <string>

#include <gtest/gtest.h>

static const std::string Tail = " S 1 4411 4410 0 -1 4194304 101 7 21 0 620 840 3 2 20 -5 4 0 1267604 9437184 2329 "
                                "18446744073709551615 1 1 140727634280848 0 0 0 0 0 0 0 0 0 17 3 0 0 55 0 0 1 2 3 "
                                "140727634282953 4 5 6 0\n";

TEST(ProcessStat, FieldsByTheirNumbers) {
    ProcessStat stat;
    const auto text = "4411 (rsync)" + Tail;
    ASSERT_TRUE(parseProcessStat(text, stat));
    EXPECT_EQ(stat.name, "rsync");
    EXPECT_EQ(stat.state, 'S');
    EXPECT_EQ(stat.parent, 1U);
    EXPECT_EQ(stat.flags, 4194304U);
    EXPECT_EQ(stat.minor_faults, 101U);
    EXPECT_EQ(stat.children_faults, 7U);
    EXPECT_EQ(stat.major_faults, 21U);
    EXPECT_EQ(stat.user_ticks, 620U);
    EXPECT_EQ(stat.system_ticks, 840U);
    EXPECT_EQ(stat.children_ticks, 5U); // user and system
    EXPECT_EQ(stat.nice, -5);
    EXPECT_EQ(stat.threads, 4U);
    EXPECT_EQ(stat.start, 1267604U);
    EXPECT_EQ(stat.size, 9437184U);
    EXPECT_EQ(stat.rss, 2329U);
    EXPECT_EQ(stat.stack, 140727634280848U);
    EXPECT_EQ(stat.core, 3U);
    EXPECT_EQ(stat.block_ticks, 55U);
    EXPECT_EQ(stat.arguments, 140727634282953U);
}

TEST(ProcessStat, NamesThatLookLikeMore) {
    for (const std::string name : {"", ")", "(", "a) R 1 2 3", "a\nb", ") (", "((((", "\\0 \xff"}) {
        ProcessStat stat;
        const auto text = "7 (" + name + ")" + Tail;
        ASSERT_TRUE(parseProcessStat(text, stat)) << name;
        EXPECT_EQ(stat.name, name);
        EXPECT_EQ(stat.state, 'S');
        EXPECT_EQ(stat.start, 1267604U);
    }
}

TEST(ProcessStat, ShortAndDamaged) {
    ProcessStat stat;
    const auto whole = "4411 (rsync)" + Tail;
    // Whatever comes before the resident size is needed; older kernels have less after it.
    const auto needed = whole.find(" 2329") + 5;
    for (size_t size = 0; size < whole.size(); size++)
        EXPECT_EQ(parseProcessStat(whole.substr(0, size), stat), size >= needed - 3) << size;
    for (const char* text : {"", ")(", "7 (a)", "7 (a) ", "7 (a) S", "7 (a) S ", "7 a S 1 2 3", "7 (a) S x 1 1 0 -1 0"})
        EXPECT_FALSE(parseProcessStat(text, stat)) << text;
    EXPECT_FALSE(parseProcessStat("1 (a) S 1 1 1 0 -1 99999999999999999999 1 1 1 1 1 1 1 1 20 0 1 0 5 6 7\n", stat));
}

TEST(ProcessStatus, Lines) {
    const auto status = parseProcessStatus("Name:\ta\\nUid:\t7\nUmask:\t0022\nState:\tS\nUid:\t1000\t1\t2\t3\n"
                                           "VmRSS:\t    1264 kB\nRssAnon:\t     100 kB\nRssFile:\t    1164 kB\n"
                                           "VmSwap:\t      12 kB\nThreads:\t1\n"
                                           "voluntary_ctxt_switches:\t150\nnonvoluntary_ctxt_switches:\t545\n");
    EXPECT_EQ(status.uid, 1000U);
    EXPECT_EQ(status.rss_kib, 1264U);
    EXPECT_EQ(status.anonymous_kib, 100U);
    EXPECT_EQ(status.swap_kib, 12U);
    EXPECT_EQ(status.voluntary, 150U);
    EXPECT_EQ(status.involuntary, 545U);
}

TEST(ProcessStatus, KernelThreadsOldKernelsAndNothing) {
    const auto kernel = parseProcessStatus("Name:\tkthreadd\nUid:\t0\t0\t0\t0\nvoluntary_ctxt_switches:\t3\n"
                                           "nonvoluntary_ctxt_switches:\t0\n");
    EXPECT_EQ(kernel.uid, 0U);
    EXPECT_FALSE(kernel.rss_kib);
    EXPECT_EQ(kernel.involuntary, 0U);
    const auto none = parseProcessStatus("");
    EXPECT_FALSE(none.uid || none.rss_kib || none.anonymous_kib || none.swap_kib || none.voluntary);
    EXPECT_FALSE(parseProcessStatus("Name:\ta\nUid:\tx\n").uid);
    EXPECT_FALSE(parseProcessStatus("Name:\ta\nUid:").uid);
}

TEST(ProcessIo, AllLinesOrNothing) {
    const std::string text = "rchar: 1\nwchar: 2\nsyscr: 3\nsyscw: 4\nread_bytes: 5\nwrite_bytes: 6\n"
                             "cancelled_write_bytes: 7\n";
    const auto io = parseProcessIo(text);
    ASSERT_TRUE(io);
    EXPECT_EQ(io->read_chars, 1U);
    EXPECT_EQ(io->write_chars, 2U);
    EXPECT_EQ(io->reads, 3U);
    EXPECT_EQ(io->writes, 4U);
    EXPECT_EQ(io->read_bytes, 5U);
    EXPECT_EQ(io->write_bytes, 6U);
    EXPECT_EQ(io->cancelled_bytes, 7U);
    for (size_t size = 0; size + 2 < text.size(); size++) EXPECT_FALSE(parseProcessIo(text.substr(0, size))) << size;
    EXPECT_FALSE(parseProcessIo("rchar: -1\nwchar: 2\nsyscr: 3\nsyscw: 4\nread_bytes: 5\nwrite_bytes: 6\n"
                                "cancelled_write_bytes: 7\n"));
}

TEST(ThreadSchedule, ThreeNumbers) {
    const auto schedule = parseSchedule("6778800 891 12\n");
    ASSERT_TRUE(schedule);
    EXPECT_EQ(schedule->run_ns, 6778800U);
    EXPECT_EQ(schedule->wait_ns, 891U);
    EXPECT_EQ(schedule->slices, 12U);
    for (const char* text : {"", "\n", "1", "1 2", "1 2 x", "x 2 3", "99999999999999999999 1 1"})
        EXPECT_FALSE(parseSchedule(text)) << text;
}

TEST(CommandLine, ArgumentsAreSeparatedByBlanks) {
    const auto line = [](std::string_view text, size_t most = 100) { return parseCommandLine(text, most); };
    EXPECT_EQ(line({"rsync\0-a\0--inplace\0", 20}), "rsync -a --inplace");
    EXPECT_EQ(line({"a\0\0b\0", 5}), "a  b");                              // an empty argument
    EXPECT_EQ(line({"postgres: writer  \0\0\0", 21}), "postgres: writer"); // a title that was set
    EXPECT_EQ(line("no end"), "no end");
    EXPECT_EQ(line(""), "");
    EXPECT_EQ(line({"\0\0", 2}), "");
    EXPECT_EQ(line("a\nb\x1b[2J"), "a\nb\x1b[2J"); // tables and logs escape
}

TEST(CommandLine, IsCutBetweenCharacters) {
    EXPECT_EQ(parseCommandLine("abc", 2), "ab");
    EXPECT_EQ(parseCommandLine("a\xc3\xa9z", 2), "a");
    EXPECT_EQ(parseCommandLine("a\xc3\xa9z", 3), "a\xc3\xa9");
    EXPECT_EQ(parseCommandLine("a\xf0\x9f\x98\x80", 4), "a");
    EXPECT_EQ(parseCommandLine("\x80\x80\x80\x80\x80\x80\x80\x80", 6).size(), 6U); // no characters at all
    EXPECT_EQ(parseCommandLine("abc", 0), "");
}

TEST(ProcessGroup, OfBothVersions) {
    EXPECT_EQ(parseProcessGroup("0::/system.slice/ssh.service\n"), "/system.slice/ssh.service");
    EXPECT_EQ(parseProcessGroup("0::/\n"), "/");
    EXPECT_EQ(parseProcessGroup("0::/a:b/c (deleted)\n"), "/a:b/c");
    EXPECT_EQ(parseProcessGroup("9:name=systemd:/\n4:memory:/process/d43b\n2:cpuacct:/\n1:cpu:/\n0::/\n"),
              "/process/d43b");
    EXPECT_EQ(parseProcessGroup("11:memory:/m\n4:cpu,cpuacct:/c\n1:name=systemd:/s\n0::/u\n"), "/c");
    EXPECT_EQ(parseProcessGroup("11:freezer:/m\n1:name=systemd:/s\n0::/u\n"), "/s");
    EXPECT_EQ(parseProcessGroup("11:freezer:/m\n"), "");
    for (const char* text : {"", "\n", "0", "0:", "0:x", "::::\n"}) EXPECT_NO_THROW(parseProcessGroup(text)) << text;
    EXPECT_EQ(parseProcessGroup("0:"), "");
}

TEST(ProcessLimits, OfOpenFiles) {
    EXPECT_EQ(parseFileLimit("Limit                     Soft Limit           Hard Limit           Units     \n"
                             "Max open files            1024                 524288               files     \n"),
              1024U);
    EXPECT_FALSE(parseFileLimit("Max open files            unlimited            unlimited            files\n"));
    EXPECT_FALSE(parseFileLimit("Max processes             100\n"));
    EXPECT_FALSE(parseFileLimit(""));
    EXPECT_FALSE(parseFileLimit("Max open files"));
}
