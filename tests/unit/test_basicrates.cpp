// Two samples of the machine in the classic form: shares, rates, and files that are not there.
#include "classic/collect/basic.h"
#include "tests/unit/made.h"
#include "tests/unit/textfile.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

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
