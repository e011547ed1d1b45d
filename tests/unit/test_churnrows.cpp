// Rows of processes that ended and of parents whose children did, and their tables.
#include "model/churn.h"
#include "record/log.h"
#include "view/churn.h"

#include <cstdint>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {
// Two samples of the processes: 7 (make) is there, 40 (cc1) has ended since the first.
struct Machine {
    ProcSample processes;
    ChurnSample reports;
    WaitingReports waiting;
    Interval interval;

    Machine() {
        processes.known = processes.paired = true, processes.at_us = 2000000;
        reports.reported = true;
        have(7, "make");
        auto& gone = processes.gone.emplace_back();
        gone.pid = 40, gone.start = 400, gone.name = "cc1", gone.parent = 7, gone.own_ns = 5000000;
        auto& exit = interval.exits.rows.emplace_back();
        exit.pid = 40, exit.start = 400, exit.name = "cc1", exit.parent = 7;
    }
    void have(int pid, const char* name) {
        auto& process = processes.slots.emplace_back();
        process.pid = pid, process.start = static_cast<uint64_t>(pid) * 10, process.name = name;
        process.group = std::make_shared<ProcGroup>(ProcGroup{"/build", "build.service", {}, 0});
        auto& entry = processes.entries.emplace_back();
        entry.pid = pid, entry.slot = static_cast<uint32_t>(processes.slots.size() - 1);
    }
    void report(uint32_t pid, uint32_t parent, const char* name, uint32_t status = 0, uint64_t cpu_ns = 0,
                uint64_t life_us = 0) {
        auto& report = reports.ended.emplace_back();
        report.pid = pid, report.parent = parent, report.name = name, report.status = status;
        report.cpu_ns = cpu_ns, report.life_us = life_us;
    }
    void rows() {
        interval.churnTotal.clear(), interval.churn.clear();
        churnRows(reports, processes, interval.processes, waiting, interval.exits, interval.churnTotal, interval.churn);
    }
    std::string shown(const ViewRow& asked = {}) {
        Page page(0, false);
        showChurn(interval, {LogHead{}, asked}, page);
        return page.text();
    }
};
} // namespace

TEST(ChurnView, RowsThatFindNoRoomAreCounted) {
    Machine made;
    made.interval.churnTotal.elapsed_us = 2000000;
    made.interval.churnTotal.rows.emplace_back();
    for (int i = 0; i < 12; i++) {
        auto& row = made.interval.churn.rows.emplace_back();
        row.parent = 7, row.command = "c" + std::to_string(i), row.ended = 1;
    }
    for (int i = 0; i < 8; i++) made.interval.exits.rows.emplace_back().signal = 9;
    const auto text = made.shown();
    EXPECT_NE(text.find("\n     2 more (-n)\n"), text.npos) << text;
    EXPECT_TRUE(text.ends_with("\n     3 more (-n)\n")) << text;
    ViewRow asked;
    asked.rows = 12;
    EXPECT_EQ(made.shown(asked).find("more"), text.npos) << made.shown(asked);
}

TEST(ChurnModel, EndsOfProcessesThatASampleSaw) {
    Machine made;
    made.report(40, 7, "cc1", 9, 7000000, 123);
    made.report(40, 7, "sh", 0x300); // the pid was used again
    made.rows();
    const auto& exit = made.interval.exits.rows[0];
    EXPECT_EQ(exit.signal, 9U);
    EXPECT_FALSE(exit.code);
    EXPECT_EQ(exit.cpu_us, 2000U); // since the last sample
    EXPECT_EQ(exit.life_us, 123U);
    ASSERT_EQ(made.interval.churn.rows.size(), 1U);
    EXPECT_EQ(made.interval.churn.rows[0].command, "sh");
    EXPECT_EQ(made.interval.churn.rows[0].failed, 1U);
    EXPECT_EQ(made.interval.churnTotal.rows[0].ended, 2U);
    EXPECT_EQ(made.interval.churnTotal.rows[0].unseen, 1U);
}

// Nobody has waited for it, so the processes still have it: its row comes when it is gone.
TEST(ChurnModel, AZombiesReportWaits) {
    Machine made;
    made.processes.gone.clear();
    const auto exits = made.interval.exits.rows;
    made.interval.exits.rows.clear();
    made.have(40, "cc1");
    made.report(40, 7, "cc1", 0x500);
    made.rows();
    EXPECT_EQ(made.waiting.size(), 1U);
    EXPECT_TRUE(made.interval.churn.rows.empty());
    made.reports.ended.clear();
    made.rows();
    EXPECT_EQ(made.waiting.size(), 1U);
    made.processes.entries.pop_back();
    made.interval.exits.rows = exits;
    made.rows();
    EXPECT_TRUE(made.waiting.empty());
    EXPECT_EQ(made.interval.exits.rows[0].code, 5U);
    EXPECT_EQ(made.interval.exits.rows[0].signal, 0U);
    EXPECT_FALSE(made.interval.exits.rows[0].cpu_us); // it is not known what it had
}

TEST(ChurnModel, SumsByParentAndCommand) {
    Machine made;
    made.processes.forksBefore = 1000, made.processes.forks = 1008;
    made.report(50, 7, "sh", 0, 1500000, 4000);
    made.report(51, 7, "sh", 0x100, 2500000, 6000);
    made.report(52, 50, "grep", 15); // child of a process that lived shortly, too
    made.report(53, 40, "as");       // child of a process that has ended
    made.report(54, 99, "orphan");
    made.reports.lost = 1;
    made.rows();
    const auto& rows = made.interval.churn.rows;
    ASSERT_EQ(rows.size(), 4U);
    EXPECT_EQ(rows[0].parent, 7U);
    EXPECT_EQ(rows[0].parent_start, 70U);
    EXPECT_EQ(rows[0].parent_name, "make");
    EXPECT_EQ(rows[0].unit, "build.service");
    EXPECT_EQ(rows[0].ended, 2U);
    EXPECT_EQ(rows[0].cpu_us, 4000U);
    EXPECT_EQ(rows[0].life_us, 10000U);
    EXPECT_EQ(rows[0].failed, 1U);
    EXPECT_EQ(rows[0].killed, 0U);
    EXPECT_EQ(rows[1].parent_name, "sh");
    EXPECT_EQ(rows[1].parent_start, 0U);
    EXPECT_EQ(rows[1].killed, 1U);
    EXPECT_EQ(rows[2].parent_name, "cc1");
    EXPECT_EQ(rows[2].parent_start, 400U);
    EXPECT_EQ(rows[3].parent_name, "");
    EXPECT_EQ(made.interval.churnTotal.rows[0].forks, 8U);
    EXPECT_EQ(made.shown(), "CHURN              ppid ended/s fail/s kill/s  cpu% life_ms unit          command\n"
                            "make                  7       1    0.5      0   0.2     5.0 build.service sh\n"
                            "sh                   50     0.5      0    0.5   0.0     0.0               grep\n"
                            "cc1                  40     0.5      0      0   0.0     0.0               as\n"
                            "-                    99     0.5      0      0   0.0     0.0               orphan\n"
                            "4 forks/s, 2.5 ends/s, 5 lived and died in between; reports were lost 1 time\n");
    ViewRow asked;
    asked.sort = "killed", asked.rows = 1;
    EXPECT_NE(made.shown(asked).find("\nsh                   50"), std::string::npos) << made.shown(asked);
    asked.command = "orphan";
    EXPECT_NE(made.shown(asked).find("\n-                    99"), std::string::npos) << made.shown(asked);
}

TEST(ChurnModel, WithoutReportsOnlyTheParentsTell) {
    Machine made;
    made.reports.reported = false;
    auto& parent = made.interval.processes.rows.emplace_back();
    parent.pid = 7, parent.start = 70, parent.name = "make", parent.children_us = 500000;
    made.interval.processes.rows.emplace_back().children_us = 0;
    auto& all = made.interval.processesTotal.rows.emplace_back();
    all.started = 3, all.ended = 4;
    made.rows();
    EXPECT_EQ(made.shown(), "CHURN              ppid ended/s fail/s kill/s  cpu% life_ms unit     command\n"
                            "make                  7       -      -      -  25.0       -          -\n"
                            "- forks/s; 3 started, 4 ended; what ends in between is not reported: wyrt check\n");
    EXPECT_FALSE(made.interval.churnTotal.rows[0].ended || made.interval.churnTotal.rows[0].unseen);
}

TEST(ChurnModel, TheFirstSampleHasNoRows) {
    Machine made;
    made.processes.paired = false;
    made.report(50, 7, "sh");
    made.rows();
    EXPECT_TRUE(made.interval.churnTotal.rows.empty() && made.interval.churn.rows.empty());
    EXPECT_EQ(made.shown(), "");
}

TEST(ChurnView, HowProcessesEnded) {
    Machine made;
    auto& exits = made.interval.exits.rows;
    exits.clear();
    for (int i = 0; i < 7; i++) {
        auto& exit = exits.emplace_back();
        exit.pid = static_cast<uint64_t>(i + 1), exit.name = "x\x1b[2J", exit.parent = 1, exit.life_us = 5000000;
        if (i == 1) exit.code = 0, exit.signal = 0;
        else if (i == 2) exit.signal = 11;
        else if (i == 3) exit.signal = 64;
        else if (i > 3) exit.code = 3, exit.signal = 0;
    }
    made.rows();
    EXPECT_EQ(made.shown(), "CHURN  - forks/s, 0 ends/s, 0 lived and died in between\n"
                            "EXIT                pid    ppid    life end\n"
                            "x\\x1B[2J              3       1      5s signal 11 SEGV\n"
                            "x\\x1B[2J              4       1      5s signal 64\n"
                            "x\\x1B[2J              5       1      5s code 3\n"
                            "x\\x1B[2J              6       1      5s code 3\n"
                            "x\\x1B[2J              7       1      5s code 3\n");
}
