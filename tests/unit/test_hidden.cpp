// Processes that /proc does not show.
#include "model/proc.h"
#include "tests/unit/made.h"
#include "view/proc.h"

#include <gtest/gtest.h>

// init with three threads, and a second process.
static ProcSample processes(bool kernel) {
    ProcSample sample;
    sample.known = sample.paired = true;
    sample.at_us = 2000000;
    for (const int pid : {1, 2}) {
        sample.entries.emplace_back();
        sample.entries.back().pid = pid, sample.entries.back().slot = static_cast<uint32_t>(pid - 1);
        sample.entries.back().threads = pid == 1 ? 3 : 1;
        sample.slots.emplace_back().pid = pid;
    }
    sample.slots[1].kernel = kernel;
    return sample;
}

static std::string mounted(const char* options) {
    return std::string(
               "text /proc/self/mountinfo \"1 0 8:0 / / rw - ext4 /dev/sda rw\\n2 1 0:4 / /proc rw - proc proc ") +
           options + "\\n\"\n";
}

TEST(Hidden, WhatHidesProcessesIsSaid) {
    struct Case {
        std::string machine;
        bool seesKernel;
        std::optional<uint64_t> hidden;
        const char *by, *words;
    };
    const std::string load = "text /proc/loadavg \"0.20 0.18 0.12 1/80 11206\\n\"\n";
    const std::string first = "link /proc/self/ns/pid pid:[4026531836]\n",
                      other = "link /proc/self/ns/pid pid:[4026532999]\n";
    const Case cases[] = {
        {load + first + mounted("rw"), false, {}, "", ""},
        {load + mounted("rw"), false, {}, "", ""}, // the kernel does not tell
        {load + first + mounted("rw,hidepid=1"), false, {}, "", ""},
        {load + first + mounted("rw,gid=4,hidepid=2"), false, 76, "hidepid",
         "; ~76 threads of others hidden: hidepid\n"},
        {load + first + mounted("rw,hidepid=ptraceable"), false, 76, "hidepid", "~76 threads"},
        {load + first + mounted("rw,hidepid=2"), true, {}, "", ""}, // with rights
        {load + other + mounted("rw"), false, 76, "pid namespace", "; ~76 threads of others hidden: pid namespace\n"},
        {load + other + mounted("rw"), true, {}, "", ""}, // the /proc of the host
        {other + mounted("rw"), false, {}, "pid namespace", "; others hidden: pid namespace\n"},
        {"text /proc/loadavg \"0.20 0.18 0.12 1/3 9\\n\"\n" + other, false, 0, "pid namespace", "~0 threads"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.machine);
        const Made made(one.machine);
        const auto sample = processes(one.seesKernel);
        HiddenSampler sampler{Root()};
        HiddenSample hidden;
        sampler.sample(sample, hidden);
        Interval interval;
        processRows(sample, false, interval.processesTotal, interval.processes, interval.starts, interval.exits);
        hiddenThreads(hidden, interval.processesTotal);
        ASSERT_EQ(interval.processesTotal.rows.size(), 1U);
        EXPECT_EQ(interval.processesTotal.rows[0].hidden, one.hidden);
        EXPECT_EQ(interval.processesTotal.rows[0].hidden_by, one.by);
        Page page(0, false);
        showProcesses(interval, {LogHead{}, ViewRow{}}, page);
        EXPECT_NE(page.text().find(one.words), std::string::npos) << page.text();
        EXPECT_EQ(page.text().find("hidden") != std::string::npos, *one.by != '\0') << page.text();
    }
}
