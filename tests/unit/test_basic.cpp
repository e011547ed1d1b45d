// One sample of the machine in the classic form: the counters as they are read.
#include "classic/collect/basic.h"
#include "tests/unit/made.h"
#include "tests/unit/textfile.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

static TBasicSlots sample(const std::string& stat, const std::string& meminfo = "", const std::string& vmstat = "") {
    const Made machine(fileLines("/proc/stat", stat) + fileLines("/proc/meminfo", meminfo) +
                       fileLines("/proc/vmstat", vmstat));
    TBasicSlots slots;
    getbasicperf(0, 0, 1, 0.001, slots);
    return slots;
}

TEST(BasicStat, SystemLine) {
    static const struct {
        const char* line;
        std::vector<double> columns; // usr nice sys idle iowait irq softirq steal guest guest_nice
    } Lines[] = {
        {"cpu  1 2 3 4 5 6 7 8 9 10\n", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
        {"cpu 1 2 3 4\n", {1, 2, 3, 4, 0, 0, 0, 0, 0, 0}},                      // one blank; an old kernel's columns
        {"cpu  1 2 3 4 5 6 7 8 9 10 11 12\n", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}, // columns of a future kernel
        {"cpu     1     2\n", {1, 2, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"cpu  1 2 3", {1, 2, 3, 0, 0, 0, 0, 0, 0, 0}}, // no newline
        {"cpu  1 x 3y -4\n", {1, 0, 3, -4, 0, 0, 0, 0, 0, 0}},
        {"cpu  1\t2 3\n", {1, 3, 0, 0, 0, 0, 0, 0, 0, 0}}, // a tab does not separate
        {"cpu  9223372036854775808\n", {9223372036854775807.0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"cpu \n", {}},
        {"cpu\n", {}},
        {"cpu", {}},
        {" cpu  1 2 3 4\n", {}},
        {"", {}},
    };
    for (auto& l : Lines) {
        const auto b = sample(l.line).basic[0];
        std::vector<double> columns{b.usr, b.nice,    b.sys,   b.idle,  b.iowait,
                                    b.irq, b.softirq, b.steal, b.guest, b.guest_nice};
        auto expected = l.columns;
        expected.resize(10);
        EXPECT_EQ(columns, expected) << l.line;
    }
}

TEST(BasicStat, OtherLines) {
    const auto b = sample("ctxt 101\nintr 202 7 8 9\nprocesses 303\nprocs_running 4294967297\nprocs_blocked 5\n"
                          "btime 1\nsoftirq 1 2 3\nctxt\nctxt2 5\nintrx 5\nprocesses_all 5\n"
                          "procs_running2 5\nprocs_blocked2 6\nprocs 7\n xprocesses 9\n")
                       .basic[0];
    EXPECT_EQ(b.ctxt, 101);
    EXPECT_EQ(b.intr, 202);
    EXPECT_EQ(b.fork, 303);
    EXPECT_EQ(b.running, 4294967297);
    EXPECT_EQ(b.blocked, 5);
    EXPECT_EQ(sample("ctxt \nctxt 1\nctxt 2\n").basic[0].ctxt, 2); // the last one counts
}

// A line longer than its buffer arrives in pieces. The later pieces are not taken for other lines.
TEST(BasicStat, LongLines) {
    for (size_t size : {1021U, 1022U, 1023U, 1024U, 5000U}) {
        std::string line = "intr 77";
        while (line.size() < size) line += " 0";
        line.resize(size);
        const auto b = sample(line + "\nctxt 5\nprocesses 6\n").basic[0];
        EXPECT_EQ(b.intr, 77);
        EXPECT_EQ(b.ctxt, 5);
        EXPECT_EQ(b.fork, 6);
    }
    // A piece that begins like a line is read as a line.
    std::string line = "intr 77";
    line.resize(1023, ' ');
    EXPECT_EQ(sample(line + "ctxt 5\n").basic[0].ctxt, 5);
    line.resize(1022, ' ');
    EXPECT_EQ(sample(line + "ctxt 5\n").basic[0].ctxt, 0);
}

TEST(BasicStat, NulEndsALine) {
    const auto b = sample(std::string("ctxt 12\0"
                                      "34\nprocesses 6\n",
                                      24))
                       .basic[0];
    EXPECT_EQ(b.ctxt, 12);
    EXPECT_EQ(b.fork, 6);
}

TEST(BasicStat, CoreLines) {
    static const struct {
        const char* line;
        int rows, id;
        double usr, softirq;
    } Lines[] = {
        {"cpu0 1 2 3 4 5 6 7 8 9 10\n", 1, 0, 1, 7},
        {"cpu3 1 2 3 4 5 6 7\n", 1, 3, 1, 7}, // eight items: enough
        {"cpu3 1 2 3 4 5 6\n", 0, 0, 0, 0},   // seven are not
        {"cpu3 1 2 3 4 5 6 7 8 9 10 11 12\n", 1, 3, 1, 7},
        {"cpu3 1 2 3 4 5 6 x 8\n", 0, 0, 0, 0},
        {"cpu3 1 2 3 4 5 6 7x8\n", 1, 3, 1, 7},
        {"cpu3\t1\t2\t3\t4\t5\t6\t7\n", 1, 3, 1, 7}, // any white space separates them
        {"cpu3 1-2+3 4 5 6 7\n", 1, 3, 1, 7},        // a sign begins the next number
        {"cpu-1 1 2 3 4 5 6 7\n", 1, -1, 1, 7},
        {"cpu4294967299 1 2 3 4 5 6 7\n", 1, 3, 1, 7}, // its low 32 bits
        {"cpux 1 2 3 4 5 6 7 8\n", 0, 0, 0, 0},
        {"cpu\t3 1 2 3 4 5 6 7\n", 1, 3, 1, 7},
        {"cpus 1\n", 0, 0, 0, 0},
        {"Cpu3 1 2 3 4 5 6 7\n", 0, 0, 0, 0},
        {"cpu5 1 2 3 4 5 6 7", 1, 5, 1, 7},
    };
    for (auto& l : Lines) {
        const auto cpu = sample(l.line).cpu[0];
        ASSERT_EQ(cpu.size(), static_cast<size_t>(l.rows)) << l.line;
        if (cpu.empty()) continue;
        EXPECT_EQ(cpu[0].id, l.id) << l.line;
        EXPECT_EQ(cpu[0].usr, l.usr) << l.line;
        EXPECT_EQ(cpu[0].softirq, l.softirq) << l.line;
    }
}

// The position of a row decides whether its last columns are read.
TEST(BasicStat, StealByPosition) {
    std::string stat;
    for (int i = 0; i < 14; i++) stat += "cpu" + std::to_string(20 + i) + " 1 2 3 4 5 6 7 8 9 10\n";
    const auto cpu = sample(stat).cpu[0];
    ASSERT_EQ(cpu.size(), 14U);
    for (int i = 0; i < 14; i++) {
        const auto& core = cpu[static_cast<size_t>(i)];
        EXPECT_EQ(core.id, 20 + i);
        EXPECT_EQ(core.idle, 4);
        EXPECT_EQ(core.iowait, 5);
        EXPECT_EQ(core.steal, i > 8 ? 8 : 0) << i;
        EXPECT_EQ(core.guest, i > 9 ? 9 : 0) << i;
        EXPECT_EQ(core.guest_nice, i > 10 ? 10 : 0) << i;
    }
}

TEST(BasicStat, ManyCores) {
    std::string stat;
    for (int i = 0; i < 4096; i++) stat += "cpu" + std::to_string(i) + " 1 2 3 4 5 6 7 8 9 10\n";
    EXPECT_EQ(sample(stat).cpu[0].size(), 4096U);
}

TEST(BasicMeminfo, Lines) {
    const auto b = sample("", "MemTotal: 1 kB\nMemFree: 2 kB\nMemAvailable: 99 kB\nBuffers: 3 kB\nCached: 4 kB\n"
                              "SwapCached: 5 kB\nActive: 6 kB\nActive(anon): 99 kB\nInactive: 99 kB\nSwapTotal: 7 kB\n"
                              "SwapFree: 8 kB\n xMemFree: 99\nmemfree: 99\n");
    for (auto& slot : {b.basic[0], b.basic[2]}) { // memory figures are copied to the result
        EXPECT_EQ(slot.memtotal, 1);
        EXPECT_EQ(slot.memfree, 2);
        EXPECT_EQ(slot.buffers, 3);
        EXPECT_EQ(slot.cached, 4);
        EXPECT_EQ(slot.swapcached, 5);
        EXPECT_EQ(slot.active, 6);
        EXPECT_EQ(slot.swaptotal, 7);
        EXPECT_EQ(slot.swapfree, 8);
    }
    EXPECT_EQ(sample("", "MemTotal:\nMemFree:x\nBuffers:-4\n").basic[0].memtotal, 0);
}

TEST(BasicVmstat, Lines) {
    const auto b = sample("", "",
                          "pgfree 1\npgpgin 2\npgpgout 3\npswpin 4\npswpout 5\npgmajfault 6\npgrotated 7\n"
                          "pgscan_kswapd_dma 10\npgscan_kswapd_dma32 20\npgscan_kswapd_normal 40\n"
                          "pgscan_kswapd_movable 900\npgscan_kswapd 900\npgscan_direct 900\n"
                          "pgscan_direct_dma 100\npgscan_direct_dma32 200\npgscan_direct_normal 400\n"
                          "pgscan_direct_throttle 900\n"
                          "pgsteal_kswapd_dma 1000\npgsteal_kswapd_dma32 2000\npgsteal_kswapd_normal 4000\n"
                          "pgsteal_direct_dma 10000\npgsteal_direct_dma32 20000\npgsteal_direct_normal 40000\n"
                          "pgsteal_kswapd 900\npgfreed 900\nxpgfree 900\npgfault 900\npgsteal_direct_movable 900\n")
                       .basic[0];
    EXPECT_EQ(b.pgfree, 1);
    EXPECT_EQ(b.pgin, 2);
    EXPECT_EQ(b.pgout, 3);
    EXPECT_EQ(b.swapin, 4);
    EXPECT_EQ(b.swapout, 5);
    EXPECT_EQ(b.pgmajfault, 6);
    EXPECT_EQ(b.pgrotated, 7);
    EXPECT_EQ(b.pgscank, 70);
    EXPECT_EQ(b.pgscand, 700);
    EXPECT_EQ(b.pgstealk, 7000);
    EXPECT_EQ(b.pgsteald, 70000);
}
