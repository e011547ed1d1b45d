#include "model/churn.h"
#include "parse/taskstats.h"
#include "sample/churn.h"
#include "view/churn.h"

#include "base/clock.h"
#include "parse/attributes.h"
#include "tests/unit/made.h"

#include <linux/genetlink.h>

#include <gtest/gtest.h>

// The payloads of the messages that a world's lines make.
static std::vector<std::string> payloads(const std::string& lines) {
    std::vector<std::string> all;
    eachMessage(encodeMessages("taskstats", lines).bytes,
                [&](uint16_t, std::string_view payload) { all.emplace_back(payload); });
    return all;
}
static std::optional<EndedTask> parsed(const std::string& line) {
    const auto all = payloads(line);
    return all.empty() ? std::nullopt : parseEndedTask(all[0]);
}

TEST(Taskstats, AProcessThatEnded) {
    const auto task = parsed("exit 811 sh parent=7 uid=70 status=0x700 cpu=3000 life=4000");
    ASSERT_TRUE(task);
    EXPECT_EQ(task->pid, 811U);
    EXPECT_EQ(task->process, 811U);
    EXPECT_EQ(task->parent, 7U);
    EXPECT_EQ(task->uid, 70U);
    EXPECT_EQ(task->status, 0x700U);
    EXPECT_EQ(task->cpu_ns, 3000U);
    EXPECT_EQ(task->life_us, 4000U);
    EXPECT_EQ(task->name.view(), "sh");
    EXPECT_TRUE(task->last);
}

TEST(Taskstats, ThreadsAndWholeGroups) {
    const auto thread = parsed("exit 812 worker thread process=811 cpu=5");
    ASSERT_TRUE(thread);
    EXPECT_FALSE(thread->last);
    EXPECT_EQ(thread->process, 811U);
    const auto last = parsed("exit 813 worker process=811 cpu=5 all=900");
    ASSERT_TRUE(last && last->last);
    EXPECT_EQ(last->cpu_ns, 900U); // of all its threads
}

TEST(Taskstats, OtherFormsAreNotRead) {
    EXPECT_TRUE(parsed("exit 811 sh version=16"));
    EXPECT_FALSE(parsed("exit 811 sh version=11"));
    EXPECT_FALSE(parsed("exit 811 sh version=15")); // other fields at the same places
    EXPECT_FALSE(parsed("exit 0 sh"));
    const auto whole = payloads("exit 811 sh")[0];
    for (size_t size = 0; size < whole.size(); size++) EXPECT_FALSE(parseEndedTask(whole.substr(0, size))) << size;
    auto other = whole;
    other[0] = 1; // command
    EXPECT_FALSE(parseEndedTask(other));
}

TEST(Taskstats, TheFamilyOfThisName) {
    auto answer = familyMessage(27).substr(sizeof(nlmsghdr));
    EXPECT_EQ(parseFamily(answer, "TASKSTATS"), 27);
    EXPECT_FALSE(parseFamily(answer, "TASKSTAT"));
    EXPECT_FALSE(parseFamily(answer.substr(0, answer.size() - 8), "TASKSTATS"));
    EXPECT_FALSE(parseFamily("", "TASKSTATS"));
}

static std::string ends(unsigned count) {
    std::string lines;
    for (unsigned i = 0; i < count; i++) lines += "exit " + std::to_string(1000 + i) + " sh\n";
    return lines;
}

TEST(ChurnSampler, ReportsComeFromTheSampleBefore) {
    Made made("taskstats\n"
              "step 1\nnotice taskstats exits <<E\n"
              "exit 50 sh parent=7 status=0x100 cpu=2000 life=3900\n"
              "exit 51 grep parent=50 status=9\nE\n"
              "step 2\nnotice taskstats exits <<E\nhex 01 02\nE\noverrun taskstats\n");
    ChurnSampler sampler{Root()};
    EXPECT_EQ(sampler.reports(), NoReports::None);
    ChurnSample sample;
    sampler.sample(sample);
    EXPECT_TRUE(sample.reported);
    EXPECT_TRUE(sample.ended.empty()); // not the child that was tried
    made.step();
    sampler.sample(sample);
    ASSERT_EQ(sample.ended.size(), 2U);
    EXPECT_EQ(sample.ended[0].pid, 50U);
    EXPECT_EQ(sample.ended[0].parent, 7U);
    EXPECT_EQ(sample.ended[0].status, 0x100U);
    EXPECT_EQ(sample.ended[0].life_us, 3900U);
    EXPECT_EQ(sample.ended[1].name.view(), "grep");
    EXPECT_EQ(sample.lost, 0U);
    made.step();
    sampler.sample(sample);
    EXPECT_TRUE(sample.ended.empty());
    EXPECT_EQ(sample.lost, 1U);
}

// Reports are taken between two samples, too, before there is no more room for them.
TEST(ChurnSampler, ReportsAreTakenBetweenTwoSamples) {
    Made made("taskstats\nstep 1\nnotice taskstats exits <<E\nexit 50 sh\nE\n"
              "step 2\nnotice taskstats exits <<E\nexit 51 grep\nE\n");
    ChurnSampler sampler{Root()};
    ChurnSample sample;
    EXPECT_EQ(sampler.nextLook(), INT64_MAX);
    sampler.sample(sample);
    EXPECT_GT(sampler.nextLook(), getMonotonic());
    made.step();
    sampler.look();
    EXPECT_TRUE(made.world.devices.sockets.begin()->second.news.empty());
    made.step();
    sampler.sample(sample);
    ASSERT_EQ(sample.ended.size(), 2U);
    EXPECT_EQ(sample.ended[0].pid, 50U);
    EXPECT_EQ(sample.ended[1].pid, 51U);
    sampler.sample(sample);
    EXPECT_TRUE(sample.ended.empty());

    Made storm("taskstats\nstep 1\nnotice taskstats exits <<E\n" + ends(1000) + "E\n");
    ChurnSampler watching{Root()};
    storm.step();
    const auto news = storm.world.devices.sockets.begin()->second.news;
    for (size_t taken = 0; taken <= ChurnSampler::MostReports; taken += 1000) {
        storm.world.devices.sockets.begin()->second.news = news;
        watching.look();
    }
    watching.sample(sample);
    EXPECT_EQ(sample.ended.size(), ChurnSampler::MostReports);
    EXPECT_EQ(sample.lost, 1U);
}

// The status of a process is that of its first thread, which may end before others.
TEST(ChurnSampler, AProcessHasTheStatusAndNameOfItsFirstThread) {
    Made made("taskstats\nstep 1\nnotice taskstats exits <<E\n"
              "exit 60 java thread status=0x300 cpu=7\nE\n"
              "step 2\nnotice taskstats exits <<E\n"
              "exit 62 gc thread process=60\nexit 61 worker process=60 all=900\nexit 61 again\nE\n");
    ChurnSampler sampler{Root()};
    ChurnSample sample;
    made.step();
    sampler.sample(sample);
    EXPECT_TRUE(sample.ended.empty());
    made.step();
    sampler.sample(sample);
    ASSERT_EQ(sample.ended.size(), 2U);
    EXPECT_EQ(sample.ended[0].pid, 60U);
    EXPECT_EQ(sample.ended[0].status, 0x300U);
    EXPECT_EQ(sample.ended[0].name.view(), "java");
    EXPECT_EQ(sample.ended[0].cpu_ns, 900U);
    EXPECT_EQ(sample.ended[1].pid, 61U);
    EXPECT_EQ(sample.ended[1].name.view(), "again");
}

TEST(ChurnSampler, WhereNothingIsReported) {
    const auto state = [](const char* world, const char* root = "") {
        Made made(world);
        ChurnSampler sampler{Root(root)};
        ChurnSample sample;
        sampler.sample(sample);
        EXPECT_FALSE(sample.reported);
        return sampler.reports();
    };
    EXPECT_EQ(state(""), NoReports::Unknown);
    EXPECT_EQ(state("nonetlink taskstats EPROTONOSUPPORT\n"), NoReports::Unknown);
    EXPECT_EQ(state("taskstats EPERM\n"), NoReports::Refused);
    EXPECT_EQ(state("taskstats ENOMEM\n"), NoReports::Unknown);
    EXPECT_EQ(state("taskstats EINVAL\n"), NoReports::OtherNamespace);
    EXPECT_EQ(state("taskstats silent\n"), NoReports::OtherNamespace);
    EXPECT_EQ(state("taskstats\n", "/mnt"), NoReports::OtherRoot);
}

// --- Rows

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
