// The kernel's texts taken apart.
#include "parse/core.h"
#include "parse/fdinfo.h"
#include "parse/fdlink.h"
#include "parse/io.h"
#include "parse/keys.h"
#include "parse/meminfo.h"
#include "parse/netdev.h"
#include "parse/status.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

static constexpr int64_t Most = std::numeric_limits<int64_t>::max();

namespace {
struct Pair {
    int64_t first = 0, second = 0;
};
} // namespace

TEST(ParseKeys, TheFirstKeyThatTheLineBeginsWith) {
    static constexpr Key<Pair> Keys[] = {
        {"ab", &Pair::first},
        {"abc", &Pair::second}, // never reached
        {"b ", &Pair::second},
    };
    std::string_view rest = "kept";
    for (auto line : {"", "a", " ab", "AB", "b", "b\t1", "c"}) EXPECT_EQ(findKey(Keys, line, rest), nullptr) << line;
    EXPECT_EQ(rest, "kept");
    EXPECT_EQ(findKey(Keys, "abc 5", rest), &Keys[0]);
    EXPECT_EQ(rest, "c 5");
    EXPECT_EQ(findKey(Keys, "b 6\n", rest), &Keys[2]);
    EXPECT_EQ(rest, "6\n");
    EXPECT_EQ(findKey(Keys, "ab", rest), &Keys[0]);
    EXPECT_EQ(rest, "");
}

TEST(ParseIO, EveryCounter) {
    const IO io = parseIO("rchar: 1\nwchar: 2\nsyscr: 3\nsyscw: 4\nread_bytes: 5\nwrite_bytes: 6\n"
                          "cancelled_write_bytes: 7\n");
    EXPECT_EQ(io.rchar, 1);
    EXPECT_EQ(io.wchar, 2);
    EXPECT_EQ(io.syscr, 3);
    EXPECT_EQ(io.syscw, 4);
    EXPECT_EQ(io.read_bytes, 5);
    EXPECT_EQ(io.write_bytes, 6);
}

TEST(ParseIO, WhatIsMissingOrNoNumberIsZero) {
    for (auto text : {"", "\n", "rchar:1\n", " rchar: 1\n", "Rchar: 1\n", "rchar: x\n", "rchar: \n"})
        EXPECT_EQ(parseIO(text).rchar, 0) << text;
    EXPECT_EQ(parseIO("rchar: 18446744073709551615").rchar, Most);
    EXPECT_EQ(parseIO("rchar: -3").rchar, -3);
    EXPECT_EQ(parseIO("rchar: 1\nrchar: 2\n").rchar, 2); // the last one counts
}

TEST(ParseStatus, EveryKey) {
    const Status s =
        parseStatus("Name:\tx\nUid:\t1000\t0\t0\t0\nVmPeak:\t  99 kB\nVmSize:\t  10 kB\nVmPin:\t20 kB\nVmRSS:\t30 kB\n"
                    "VmData:\t40 kB\nVmStk:\t50 kB\nVmLib:\t60 kB\nVmSwap:\t70 kB\nThreads:\t8\n");
    EXPECT_EQ(s.vm_size_kb, 10);
    EXPECT_EQ(s.vm_pin_kb, 20);
    EXPECT_EQ(s.vm_rss_kb, 30);
    EXPECT_EQ(s.vm_data_kb, 40);
    EXPECT_EQ(s.vm_stk_kb, 50);
    EXPECT_EQ(s.vm_lib_kb, 60);
    EXPECT_EQ(s.vm_swap_kb, 70);
    EXPECT_EQ(s.threads, 8);
    EXPECT_EQ(s.uid, 1000);
}

TEST(ParseStatus, AKernelThreadHasNoMemory) {
    const Status s = parseStatus("Name:\tkthreadd\nUid:\t0\t0\t0\t0\nThreads:\t1\n");
    EXPECT_FALSE(s.vm_size_kb || s.vm_rss_kb || s.vm_swap_kb);
    EXPECT_EQ(s.uid, 0);
    EXPECT_FALSE(parseStatus("").uid);
}

TEST(ParseStatus, OddLines) {
    EXPECT_EQ(parseStatus("VmRSS").vm_rss_kb, 0); // no number
    EXPECT_EQ(parseStatus("VmRSS:\t1 kB\nVmRSS:\t2 kB").vm_rss_kb, 2);
    EXPECT_EQ(parseStatus(std::string("VmRSS:\t1\0 2", 10)).vm_rss_kb, 1);
    EXPECT_FALSE(parseStatus(" VmRSS:\t1\nvmrss:\t1\n").vm_rss_kb);
    for (size_t length : {510U, 511U, 512U}) // after 511 characters the key begins a piece
        EXPECT_EQ(parseStatus(std::string(length, 'x') + "VmRSS: 9\n").vm_rss_kb.value_or(0), length == 511 ? 9 : 0);
}

TEST(ParseFDInfo, TheFirstTwoLines) {
    const struct {
        const char* text;
        int64_t pos;
        const char* flags;
    } cases[] = {
        {"pos:\t1024\nflags:\t0100002\nmnt_id:\t9\n", 1024, "\t0100002\n"},
        {"pos:\t-1\nflags:\t02", -1, "\t02"},
        {"flags:\t02\npos:\t5\n", 0, ""},
        {"x\nflags:\t02\n", 0, "\t02\n"},
        {"\nx\npos:\t5\n", 0, ""},
        {"pos:\t99999999999999999999\n", Most, ""},
        {"", 0, ""},
    };
    for (auto& c : cases) {
        const FDInfo info = parseFDInfo(c.text);
        EXPECT_EQ(info.pos, c.pos) << c.text;
        EXPECT_EQ(info.flags, c.flags) << c.text;
    }
}

TEST(ParseFDLink, Kinds) {
    using Kind = FDLink::Kind;
    const struct {
        const char* target;
        Kind kind;
        int64_t inode;
    } cases[] = {
        {"socket:[4711]", Kind::Socket, 4711}, {"socket:[", Kind::Socket, 0},
        {"socket:4711", Kind::Other, 0},       {"pipe:[99]", Kind::Pipe, 99},
        {"pipe:[-5]", Kind::Pipe, -5},         {"anon_inode:[eventpoll]", Kind::Anonymous, 0},
        {"anon_inode:", Kind::Anonymous, 0},   {"/dev/null", Kind::Other, 0},
        {"/socket:[1]", Kind::Other, 0},       {"", Kind::Other, 0},
    };
    for (auto& c : cases) {
        const FDLink link = parseFDLink(c.target);
        EXPECT_EQ(link.kind, c.kind) << c.target;
        EXPECT_EQ(link.inode, c.inode) << c.target;
    }
}

TEST(ParseMeminfo, EveryKey) {
    const MemoryKB m = parseMeminfo("MemTotal:       16316412 kB\nMemFree:  2 kB\nMemAvailable: 9 kB\nBuffers: 4 kB\n"
                                    "Cached: 5 kB\nSwapCached: 8 kB\nActive: 3 kB\nActive(anon): 9 kB\n"
                                    "SwapTotal: 6 kB\nSwapFree: 7 kB\n");
    EXPECT_EQ(m.mem_total_kb, 16316412);
    EXPECT_EQ(m.mem_free_kb, 2);
    EXPECT_EQ(m.active_kb, 3);
    EXPECT_EQ(m.buffers_kb, 4);
    EXPECT_EQ(m.cached_kb, 5);
    EXPECT_EQ(m.swap_total_kb, 6);
    EXPECT_EQ(m.swap_free_kb, 7);
    EXPECT_EQ(m.swap_cached_kb, 8);
}

TEST(ParseMeminfo, OddLines) {
    EXPECT_EQ(parseMeminfo("").mem_total_kb, 0);
    EXPECT_EQ(parseMeminfo("MemTotal 12\n MemTotal: 12\n").mem_total_kb, 0);
    EXPECT_EQ(parseMeminfo("MemTotal:").mem_total_kb, 0);
    EXPECT_EQ(parseMeminfo("MemTotal:12").mem_total_kb, 12);
    EXPECT_EQ(parseMeminfo("MemTotal: 99999999999999999999 kB").mem_total_kb, Most);
}

TEST(ParseCore, Columns) {
    Core core;
    ASSERT_TRUE(parseCore("cpu12 1 2 3 4 5 6 7 8 9 10 11\n", core));
    EXPECT_EQ(core.id, 12);
    EXPECT_EQ(core.user, 1);
    EXPECT_EQ(core.nice, 2);
    EXPECT_EQ(core.system, 3);
    EXPECT_EQ(core.idle, 4);
    EXPECT_EQ(core.iowait, 5);
    EXPECT_EQ(core.irq, 6);
    EXPECT_EQ(core.softirq, 7);
    EXPECT_EQ(core.steal, 8);
    EXPECT_EQ(core.guest, 9);
    EXPECT_EQ(core.guest_nice, 10);
    ASSERT_TRUE(parseCore("cpu0 1 2 3 4 5 6 7", core)); // an old kernel's columns
    EXPECT_EQ(core.softirq, 7);
    EXPECT_EQ(core.steal, 0);
    ASSERT_TRUE(parseCore("cpu0\t-1 2 3 4 5 6 99999999999999999999 x 9\n", core));
    EXPECT_EQ(core.user, -1);
    EXPECT_EQ(core.softirq, Most);
    EXPECT_EQ(core.steal + core.guest, 0); // nothing after what is no number
}

TEST(ParseCore, WhatIsNone) {
    Core core;
    core.id = 5;
    for (auto line : {"", "cpu", "cpu0", "cpu0 1 2 3 4 5 6\n", "cpux 1 2 3 4 5 6 7\n", " cpu0 1 2 3 4 5 6 7\n",
                      "cpu0 1 2 3 4 5 6 x 8\n", "intr 1 2 3 4 5 6 7 8\n"})
        EXPECT_FALSE(parseCore(line, core)) << line;
    EXPECT_EQ(core.id, 5);
}

TEST(ParseNetdev, Columns) {
    Netdev d;
    ASSERT_TRUE(parseNetdevLine("  eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n", d));
    EXPECT_EQ(d.name, "eth0");
    const int64_t columns[] = {d.rx_bytes, d.rx_packets,    d.rx_errors,     d.rx_dropped,
                               d.rx_fifo,  d.rx_frame,      d.rx_compressed, d.rx_multicast,
                               d.tx_bytes, d.tx_packets,    d.tx_errors,     d.tx_dropped,
                               d.tx_fifo,  d.tx_collisions, d.tx_carrier,    d.tx_compressed};
    for (int64_t i = 0; i < 16; i++) EXPECT_EQ(columns[i], i + 1);
    ASSERT_TRUE(parseNetdevLine("eth0:11 2 3 4 5 6 7 8 9 10 11 12 13 14 15 99999999999999999999 17\n", d));
    EXPECT_EQ(d.rx_bytes, 11);
    EXPECT_EQ(d.tx_compressed, Most);
}

TEST(ParseNetdev, WhatIsNone) {
    Netdev d;
    d.name = "kept";
    for (auto line : {"", "\n", "eth0:\n", "Inter-|   Receive                |  Transmit\n",
                      " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs\n",
                      "eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n"})
        EXPECT_FALSE(parseNetdevLine(line, d)) << line;
    EXPECT_EQ(d.name, "kept");
}
