#include "classic/collect/basic.h"

#include "tests/unit/made.h"

#include <string>

#include <gtest/gtest.h>

// --- One sample: the counters as they are read

static std::string fileLines(const char* path, const std::string& text) {
    std::string quoted;
    for (char c : text) quoted += c == '\n' ? std::string("\\n") : c == '\0' ? std::string("\\0") : std::string(1, c);
    return std::string("text ") + path + " \"" + quoted + "\"\n";
}

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

// --- Two samples

namespace {
// Each call takes a sample of the machine's next step.
class Passes {
    Made machine;
    int pass = 0;

public:
    TBasicSlots slots;
    explicit Passes(const std::string& lines) : machine(lines) {}
    void next(double seconds) {
        if (pass > 0) machine.world.pause(0);
        getbasicperf(pass, pass % 2, (pass + 1) % 2, seconds, slots);
        pass++;
    }
};
} // namespace

static std::string step(int number, const std::string& stat) {
    return "step " + std::to_string(number) + "\n" + fileLines("/proc/stat", stat);
}

static const std::string NoOthers = fileLines("/proc/meminfo", "") + fileLines("/proc/vmstat", "");

TEST(BasicRates, Shares) {
    Passes p(NoOthers + step(0, "cpu  1000 100 500 8000 200 10 90 100 50 5\nctxt 10\nintr 20\nprocesses 30\n") +
             step(1, "cpu  1010 120 530 8040 250 70 160 200 53 9\nctxt 110\nintr 220\nprocesses 330\n"
                     "procs_running 3\nprocs_blocked 2\n"));
    p.next(0.001);
    EXPECT_EQ(p.slots.basic[2].usr, 0);
    EXPECT_EQ(p.slots.basic[2].ctxt, 0);
    p.next(2);
    const auto& r = p.slots.basic[2]; // 10 + 20 + 30 + 40 + 50 + 60 + 70 + 100 = 380 jiffies
    EXPECT_DOUBLE_EQ(r.usr, 1000.0 / 380);
    EXPECT_DOUBLE_EQ(r.nice, 2000.0 / 380);
    EXPECT_DOUBLE_EQ(r.sys, 3000.0 / 380);
    EXPECT_DOUBLE_EQ(r.idle, 4000.0 / 380);
    EXPECT_DOUBLE_EQ(r.iowait, 5000.0 / 380);
    EXPECT_DOUBLE_EQ(r.irq, 6000.0 / 380);
    EXPECT_DOUBLE_EQ(r.softirq, 7000.0 / 380);
    EXPECT_DOUBLE_EQ(r.steal, 10000.0 / 380);
    EXPECT_EQ(r.guest, 3); // jiffies, not a share
    EXPECT_EQ(r.guest_nice, 4);
    EXPECT_EQ(r.running, 3);
    EXPECT_EQ(r.blocked, 2);
    EXPECT_EQ(r.ctxt, 50);
    EXPECT_EQ(r.intr, 100);
    EXPECT_EQ(r.fork, 150);
}

TEST(BasicRates, TheLastGoodIntervalStays) {
    const std::string first = "cpu  1000 0 0 9000\nprocs_running 1\n", second = "cpu  1050 0 0 9050\nprocs_running 2\n";
    Passes p(NoOthers + step(0, first) + step(1, second) + step(2, second) + step(3, first) +
             step(4, "cpu  1075 0 0 9075\nprocs_running 7\n"));
    p.next(0.001);
    p.next(2);
    EXPECT_EQ(p.slots.basic[2].usr, 50);
    p.next(2); // did not move
    EXPECT_EQ(p.slots.basic[2].usr, 50);
    p.next(2); // fell
    EXPECT_EQ(p.slots.basic[2].usr, 50);
    EXPECT_EQ(p.slots.basic[2].running, 2);
    p.next(0); // no time between
    EXPECT_EQ(p.slots.basic[2].running, 2);
    Passes idle(NoOthers + step(0, "cpu  0 5 0 0 5 5 5 5\n") + step(1, "cpu  9 5 0 9 5 5 5 5\n"));
    idle.next(0.001);
    idle.next(2); // user, system and idle were all 0: no sample to compare with
    EXPECT_EQ(idle.slots.basic[2].usr, 0);
    for (const std::string one : {"cpu  1 0 0 0", "cpu  0 0 1 0", "cpu  0 0 0 1"}) { // any of the three will do
        Passes any(NoOthers + step(0, one + "\n") + step(1, "cpu  3 3 3 3\n"));
        any.next(0.001);
        any.next(2);
        EXPECT_NE(any.slots.basic[2].usr, 0) << one;
    }
}

TEST(BasicRates, LeadingRunOfCores) {
    const auto core = [](int id, int usr, int idle) {
        return "cpu" + std::to_string(id) + " " + std::to_string(usr) + " 0 0 " + std::to_string(idle) +
               " 0 0 0 0 0 0\n";
    };
    const auto cores = [](const std::string& before, const std::string& now, double seconds = 2) {
        Passes p(NoOthers + step(0, before) + step(1, now));
        p.next(0.001);
        p.next(seconds);
        std::vector<std::pair<int, double>> result;
        for (auto& c : p.slots.cpu[2]) result.emplace_back(c.id, c.usr);
        return result;
    };
    using Cores = std::vector<std::pair<int, double>>;
    const auto before = core(0, 100, 100) + core(1, 100, 100) + core(2, 100, 100);
    EXPECT_EQ(cores(before, core(0, 110, 130) + core(1, 120, 120) + core(2, 130, 110)),
              (Cores{{0, 25}, {1, 50}, {2, 75}}));
    EXPECT_EQ(cores(before, core(0, 110, 130) + core(7, 120, 120) + core(2, 130, 110)), (Cores{{0, 25}})); // renumbered
    EXPECT_EQ(cores(before, core(0, 110, 130) + core(1, 100, 100) + core(2, 130, 110)),
              (Cores{{0, 25}}));                                              // stood still
    EXPECT_EQ(cores(before, core(0, 110, 130) + core(2, 130, 110)), Cores{}); // one fewer
    EXPECT_EQ(cores(before, before + core(3, 1, 1)), Cores{});                // one more
    EXPECT_EQ(cores(before, core(0, 110, 130) + core(1, 120, 120) + core(2, 130, 110), 0), Cores{});
    EXPECT_EQ(cores(core(0, 0, 0) + core(1, 5, 5), core(0, 9, 9) + core(1, 9, 9)), Cores{}); // the first one was new
}

TEST(BasicRates, Paging) {
    const auto vmstat = [](int number, const std::string& text) {
        return "step " + std::to_string(number) + "\n" + fileLines("/proc/vmstat", text);
    };
    Passes p(fileLines("/proc/stat", "") + fileLines("/proc/meminfo", "") + vmstat(0, "pgpgin 10\npswpin 10\n") +
             vmstat(1, "pgpgin 30\npgpgout 50\npswpin 6\npgscan_kswapd_dma 30\npgscan_direct_normal 70\n"
                       "pgsteal_kswapd_dma 20\npgsteal_direct_dma 30\n") +
             vmstat(2, "pgpgin 30\npgpgout 50\npswpin 6\npgscan_kswapd_dma 30\npgscan_direct_normal 70\n"
                       "pgsteal_kswapd_dma 30\npgsteal_direct_dma 30\n"));
    p.next(0.001);
    p.next(4);
    const auto& r = p.slots.basic[2];
    EXPECT_EQ(r.pgin, 20 * 1024 / 4);
    EXPECT_EQ(r.pgout, 50 * 1024 / 4);
    EXPECT_EQ(r.swapin, -1);
    EXPECT_EQ(r.pgscank, 7.5);
    EXPECT_EQ(r.pgscand, 17.5);
    EXPECT_EQ(r.vmeff, 50);
    p.next(4); // reclaimed without a scan
    EXPECT_EQ(r.pgstealk, 2.5);
    EXPECT_EQ(r.vmeff, 0);
}

// --- Files that are not there

static std::string spoken(const std::string& lines, int stream) {
    const Made machine(lines);
    return printed(
        [] {
            TBasicSlots slots;
            getbasicperf(0, 0, 1, 1, slots);
        },
        stream);
}

TEST(BasicFailures, Messages) {
    const std::string stat = "dir /proc/stat\n", mem = "dir /proc/meminfo\n", vm = "dir /proc/vmstat\n";
    EXPECT_EQ(spoken(mem + vm, 2), "Failed to open /proc/stat: No such file or directory\n");
    EXPECT_EQ(spoken(mem + vm, 1), "");
    EXPECT_EQ(spoken(stat + mem + vm + "fail open /proc/stat EACCES\n", 2),
              "Failed to open /proc/stat: Permission denied\n");
    EXPECT_EQ(spoken(stat + vm, 1), "Failed to open /proc/meminfo [ENO(2):No such file or directory]\n");
    EXPECT_EQ(spoken(stat + mem, 1), ""); // reported at start-up
    EXPECT_EQ(spoken(stat + mem + vm + "fail open /proc/vmstat EACCES\n", 1),
              "Failed to open /proc/vmstat [ENO(13):Permission denied]\n");
    EXPECT_EQ(spoken(stat + mem + vm, 1) + spoken(stat + mem + vm, 2),
              ""); // directories can be opened, but have no text
}

TEST(BasicFailures, ResultsStay) {
    const std::string cores0 = "cpu0 100 0 0 100 0 0 0\n", cores1 = "cpu0 150 0 0 150 0 0 0\n";
    Passes p(step(0, "cpu  100 0 0 100\n" + cores0) + fileLines("/proc/meminfo", "MemTotal: 5 kB\n") +
             fileLines("/proc/vmstat", "pgfree 10\n") + step(1, "cpu  150 0 0 150\n" + cores1) +
             fileLines("/proc/meminfo", "MemTotal: 6 kB\n") + fileLines("/proc/vmstat", "pgfree 30\n") +
             "step 2\ngone /proc/stat\ngone /proc/meminfo\ngone /proc/vmstat\n" +
             step(3, "cpu  200 0 0 250\n" + cores1) + fileLines("/proc/meminfo", "") + fileLines("/proc/vmstat", ""));
    p.next(0.001);
    p.next(2);
    printed([&] { printed([&] { p.next(2); }, 2); });
    const auto& r = p.slots.basic[2];
    EXPECT_EQ(r.usr, 50);
    EXPECT_EQ(p.slots.cpu[2].size(), 1U);
    EXPECT_EQ(r.memtotal, 6);
    EXPECT_EQ(r.pgfree, 10);
    p.next(2); // the previous sample is empty: nothing to compare with
    EXPECT_EQ(r.usr, 50);
    EXPECT_EQ(p.slots.cpu[2].size(), 0U);
    EXPECT_EQ(r.memtotal, 0);
    EXPECT_EQ(r.pgfree, 0);
}
