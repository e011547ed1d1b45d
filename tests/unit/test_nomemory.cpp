// Runs that get no memory for their rows, above all the process collector and its report; and processes whose number
// grows faster than the room for them.
#include "base/output.h"
#include "classic/collect/basic.h"
#include "classic/collect/proc.h"
#include "classic/collect/settings.h"
#include "classic/monitor/loop.h"
#include "classic/monitor/options.h"
#include "classic/monitor/proc.h"
#include "classic/monitor/reports.h"
#include "tests/heap.h"
#include "tests/unit/classicoptions.h"
#include "tests/unit/made.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

// --- Allocations that fail

namespace {
// While it exists, there is no memory for this many rows.
struct NoRoom {
    NoRoom(size_t rows, size_t rowSize) { heap.unavailable = rows * rowSize; }
    ~NoRoom() { heap.unavailable = SIZE_MAX; }
    NoRoom(const NoRoom&) = delete;
    NoRoom& operator=(const NoRoom&) = delete;
};

constexpr size_t LeastRoom = 16; // the first capacity of a list of descriptors or threads
constexpr size_t Spare = 512;    // room of the report beyond the processes it found

struct NoMemory : testing::Test {
    NoMemory() { settings(1, 1, 1), procrowcount = 24; }
    ~NoMemory() override {
        settings(0, 0, 0), procrowcount = -1;
        proc_io_file = ThreadMonitoring = 1;
        timediff = 0;
    }
    static void settings(int threads, int descriptors, int log) {
        ThreadMonitoring = threads, FDMonitoring = descriptors, ProcExistenceLog = log;
        proc_io_file = 0;
    }
};
} // namespace

// The stat line of a process or thread that has used `ticks` of CPU time.
static std::string statOf(int number, int threads = 1, int ticks = 0) {
    return std::to_string(number) + " (p" + std::to_string(number) + ") S 1 0 0 0 0 0 0 0 0 0 " +
           std::to_string(ticks) + " 0 0 0 20 0 " + std::to_string(threads) + " 0 100 0 0 0";
}

static std::string process(int number, int threads = 1, int ticks = 0) {
    return "text /proc/" + std::to_string(number) + "/stat \"" + statOf(number, threads, ticks) + "\\n\"\n";
}

static std::string processes(int from, int to) {
    std::string lines;
    for (int number = from; number < to; number++) lines += process(number);
    return lines;
}

// The two calls of a pass, with thresholds that every process passes.
static void collect(int pass) { dispproc(pass, pass % 2, (pass + 1) % 2, 0, 0, 0, 0, 0), flushOutput(); }
static void show(int pass) { dispproc(pass, pass % 2, (pass + 1) % 2, 0, 0, 0, 0, 1), flushOutput(); }

// --- The collector

TEST_F(NoMemory, ForADescriptor) {
    Made machine(process(5) + "link /proc/5/fd/3 pipe:[99]\nlink /proc/5/fd/4 /etc/passwd\n");
    TProcTable table;
    table.capacity = 10;
    table.procs.reserve(10);
    TProcTotals totals;
    EXPECT_EQ(printed([&] {
                  const NoRoom none(LeastRoom, sizeof(TFDInfo));
                  EXPECT_EQ(getproclist(table, totals), 1);
              }),
              "[ERROR] Failed to get memory of fdinfo(path:/proc/5/fd/3) [ENO(12):Cannot allocate memory]\n"
              "[ERROR] Failed to get memory of fdinfo(path:/proc/5/fd/4) [ENO(12):Cannot allocate memory]\n");
    ASSERT_EQ(table.procs.size(), 1U);
    EXPECT_EQ(table.fdinfo(table.procs[0]).size(), 0U);
    EXPECT_EQ(totals.PipeCount + totals.FileCount, 0);
}

TEST_F(NoMemory, ForAThread) {
    Made machine(process(5, 2) + "text /proc/5/task/5/stat \"" + statOf(5) + "\\n\"\n" + "text /proc/5/task/6/stat \"" +
                 statOf(6) + "\\n\"\n");
    TProcTable table;
    table.capacity = 10;
    table.procs.reserve(10);
    TProcTotals totals;
    const auto failing = [&] {
        const NoRoom none(LeastRoom, sizeof(TThreadInfo));
        EXPECT_EQ(getproclist(table, totals), 1);
    };
    EXPECT_EQ(printed(failing, STDERR_FILENO),
              "[ERROR] Failed to get memory for ThreadBuffer of /proc/5/task/5/stat\n: Cannot allocate memory\n"
              "[ERROR] Failed to get memory for ThreadBuffer of /proc/5/task/6/stat\n: Cannot allocate memory\n");
    ASSERT_EQ(table.procs.size(), 1U);
    EXPECT_EQ(table.procs[0].curthrdbuf.count, 0U);
    EXPECT_EQ(totals.AllocatedThreadBuf, 0);
    EXPECT_EQ(getproclist(table, totals), 1);
    EXPECT_EQ(table.procs[0].curthrdbuf.count, 2U);
    EXPECT_EQ(totals.AllocatedThreadBuf, 1);
}

// The rows of the sample are lost without a message.
TEST_F(NoMemory, ForACore) {
    TBasic basic;
    std::vector<TCPU> cpu;
    const auto line = [&](int core) { getStatLine("cpu" + std::to_string(core) + " 1 2 3 4 5 6 7\n", basic, cpu); };
    for (int core = 0; core < 16; core++) line(core);
    ASSERT_EQ(cpu.size(), LeastRoom);
    {
        const NoRoom none(2 * LeastRoom, sizeof(TCPU));
        line(16);
    }
    EXPECT_EQ(cpu.size(), 0U);
    line(17);
    ASSERT_EQ(cpu.size(), 1U);
    EXPECT_EQ(cpu[0].id, 17);
}

// The interval ends early, and the next one begins as usual.
TEST_F(NoMemory, InAnInterval) {
    Made machine("text /proc/stat \"\"\ntext /proc/meminfo \"MemTotal: 8 kB\\n\"\nstep 1\nstep 2\n");
    int opened = 0;
    machine.world.watch = [&](const std::string& path) {
        if (path == "/proc/meminfo" && ++opened == 2) throw std::bad_alloc();
    };
    const std::string output = apart([] {
        resetSettings();
        char program[] = "wyrt", basic[] = "-b", header[] = "-H", records[] = "-Z", count[] = "-c2";
        char* argv[] = {program, basic, header, records, count, nullptr};
        EXPECT_EQ(monitor(5, argv), 0);
    });
    std::string zeros;
    for (int i = 0; i < 20; i++) zeros += ",0.00";
    EXPECT_EQ(output.substr(output.find("^TIME")),
              "^TIME,2,1,-30.01.01 00:00:02,000$\n"
              "^END_OF_INTERVAL$\n"
              "^TIME,4,2,-30.01.01 00:00:04,000$\n"
              "^BASIC,0.00,0.00,0.00,0.00,0.00,0.00,0.00,0.00,0,0,0.00,0.00,0.00,8192.00,100.00" +
                  zeros +
                  "$\n"
                  "^END_OF_INTERVAL$\n"
                  "Complete\n");
}

// A /proc/stat with this many cores, each busy for `ticks`.
static std::string cores(int count, int ticks) {
    std::string lines = "file /proc/stat <<END\n";
    for (int id = 0; id < count; id++)
        lines += "cpu" + std::to_string(id) + " " + std::to_string(ticks) + " 0 0 50 0 0 0 0 0 0\n";
    return lines + "END\n";
}
static const std::string NoOtherFigures = "dir /proc/meminfo\ndir /proc/vmstat\n";

// The rows of the interval are lost, the samples are not.
TEST_F(NoMemory, ForSharesOfCores) {
    Made machine(NoOtherFigures + cores(20, 100) + "step 1\n" + cores(20, 150) + "step 2\n" + cores(20, 250));
    TBasicSlots slots;
    getbasicperf(0, 0, 1, 1, slots), machine.world.pause(0);
    {
        const NoRoom none(20, sizeof(TCPU));
        getbasicperf(1, 1, 0, 1, slots), machine.world.pause(0);
    }
    EXPECT_EQ(slots.cpu[2].size(), 0U);
    getbasicperf(2, 0, 1, 1, slots);
    ASSERT_EQ(slots.cpu[2].size(), 20U);
    EXPECT_EQ(slots.cpu[2][19].usr, 100);
}

// --- The report

static const std::string Log5 = "        ++++ Created \"p5\" [ / PID 5 / PPID 1]\n";
static const std::string Log6 = "        ++++ Created \"p6\" [ / PID 6 / PPID 1]\n";
static const std::string Header = "\nTotal Process# : 2, Thread# : 2, Socket# : 0, Pipe# : 0, ANON# : 0, File# : 0\n"
                                  "     PID     PPID       USER S    CPU    USR    SYS THRD Command\n";

static const std::string Rows = "       5        1            S      0      0      0    1 p5\n"
                                "       6        1            S      0      0      0    1 p6\n";

namespace {
// The narrowest table.
struct Narrow {
    Narrow() { processIO = processTime = processMemory = 0, timediff = 1; }
    ~Narrow() { processIO = processTime = processMemory = 1; }
};
} // namespace

TEST_F(NoMemory, ForTheFirstSample) {
    Made machine(processes(5, 7));
    EXPECT_EQ(apart([] {
                  const Narrow table;
                  {
                      const NoRoom none(2 + Spare, sizeof(TProc));
                      collect(0), show(0);
                  }
                  collect(1), show(1); // nothing to compare with
                  collect(2), show(2);
              }),
              "[ERROR] Failed to get memory for buffer: Cannot allocate memory\n" + Log5 + Log6 + Header + Header +
                  Rows);
}

// The rows of a failing scan are dropped: the next pass compares with an empty sample.
TEST_F(NoMemory, ForMoreProcesses) {
    Made machine(processes(5, 7) + "step 1\nstep 2\n" + processes(7, 600) + "step 3\ngone /proc\n" + processes(5, 7));
    const auto run = [&] {
        const Narrow table;
        collect(0), machine.world.pause(0);
        collect(1), machine.world.pause(0);
        {
            const NoRoom none(595 + Spare, sizeof(TProc));
            collect(2), show(2), machine.world.pause(0);
        }
        collect(3), show(3);
    };
    EXPECT_EQ(apart(run), "[ERROR] Failed to get memory for buffer: Cannot allocate memory\n"
                          "\nTotal Process# : 595, Thread# : 514, Socket# : 0, Pipe# : 0, ANON# : 0, File# : 0\n"
                          "     PID     PPID       USER S    CPU    USR    SYS THRD Command\n" +
                              Log5 + Log6 + Header);
}

// A scan ends when there is no memory for a command line.
TEST_F(NoMemory, InTheMiddleOfAScan) {
    Made machine(processes(5, 7) + "step 1\nstep 2\ntext /proc/6/cmdline \"" + std::string(5000, 'x') +
                 "\"\nstep 3\ntext /proc/6/cmdline \"\"\n");
    const auto run = [&] {
        const Narrow table;
        collect(0), machine.world.pause(0);
        collect(1), machine.world.pause(0);
        {
            const NoRoom none(1, 5001); // with its terminator
            collect(2), machine.world.pause(0);
        }
        collect(3), show(3);
    };
    EXPECT_EQ(apart(run), "[ERROR] Failed to get memory for buffer: Cannot allocate memory\n" + Log5 + Log6 + Header);
}

TEST_F(NoMemory, ForTheRanking) {
    Made machine(processes(5, 7));
    EXPECT_EQ(apart([] {
                  const Narrow table;
                  {
                      const NoRoom none(2 + Spare, sizeof(TTop));
                      collect(0), show(0);
                  }
                  collect(1), show(1);
              }),
              "[ERROR] Failed to get memory for top: Cannot allocate memory\n" + Header + Rows);
}

// --- Processes that grow faster than the room for them

// In each of `scans` scans there are 513 processes more than before, one more than the spare room takes.
static std::string growing(int scans) {
    std::string lines;
    for (int step = 0; step < scans; step++)
        lines += "step " + std::to_string(step) + "\n" + processes(1 + 513 * step, 1 + 513 * (step + 1));
    Made machine(lines);
    int opened = 0;
    machine.world.watch = [&](const std::string& path) {
        if (path == "/proc" && opened++ > 0 && opened <= scans) machine.world.pause(0);
    };
    return apart([] {
        const Narrow table;
        collect(0), collect(1), show(1);
    });
}

TEST_F(NoMemory, TenEnlargementsAreEnough) {
    procrowcount = 1;
    EXPECT_EQ(growing(10), "\nTotal Process# : 5130, Thread# : 5130, Socket# : 0, Pipe# : 0, ANON# : 0, File# : 0\n"
                           "     PID     PPID       USER S    CPU    USR    SYS THRD Command\n"
                           "       1        1            S      0      0      0    1 p1\n");
}

// Even though there was room for all processes in the last scan.
TEST_F(NoMemory, ElevenEnlargementsAreTooMany) {
    procrowcount = 1;
    EXPECT_EQ(growing(11).substr(0, 52), "[ERROR] Unexpected process buffer is being required\n");
}
