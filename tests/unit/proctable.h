// The table of processes of the classic form, with the settings of a test, and stat files.
#pragma once

#include "classic/collect/proc.h"
#include "classic/collect/settings.h"
#include "classic/monitor/options.h"

#include <string>

#include <gtest/gtest.h>

// Its settings are taken back at the end of a test.
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

// The line of a stat file.
inline std::string statOf(const std::string& pid, int threads = 1, const std::string& name = "app") {
    return pid + " (" + name + ") S 1 2 3 0 -1 4 10 11 12 13 14 15 16 17 20 0 " + std::to_string(threads) +
           " 0 2250 1048576 24 25\n";
}

// A directive of a world: a file with a stat line.
inline std::string process(int pid, int threads = 1) {
    const auto number = std::to_string(pid);
    return "file /proc/" + number + "/stat <<END\n" + statOf(number, threads) + "END\n";
}
