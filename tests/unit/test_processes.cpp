#include "model/proc.h"
#include "sample/proc.h"
#include "tests/unit/made.h"
#include "tests/unit/process.h"

#include <string>

#include <gtest/gtest.h>

// The members that a process does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {
struct Result {
    Rows<ProcsRow> all;
    Rows<ProcRow> processes;
    Rows<StartRow> starts;
    Rows<ExitRow> exits;
    const ProcRow* find(uint64_t pid) const {
        for (auto& row : processes.rows)
            if (row.pid == pid) return &row;
        return nullptr;
    }
};
// A machine with a sampler that has made its first pass. Each step takes a second.
struct Watched {
    Made made;
    ProcSampler sampler{Root()};
    ProcSample sample;
    explicit Watched(const std::string& lines) : made("boot 100\n" + lines) { sampler.sample(sample); }
    Result next(bool complete = false) {
        made.step();
        sampler.sample(sample);
        Result result;
        processRows(sample, complete, result.all, result.processes, result.starts, result.exits);
        return result;
    }
};
} // namespace

TEST(ProcessRows, WhatRan) {
    const MadeProcess idle{.pid = 7}, busy{.pid = 100};
    auto later = busy;
    later.cpu_ns += 250000000, later.user += 20, later.system += 5, later.write_bytes = 4096;
    Watched machine(MadeTicks().text() + busy.text() + idle.text() + "step 1\n" + later.text());
    ASSERT_EQ(machine.sampler.ran().size(), 2U); // the first pass has all
    EXPECT_EQ(machine.sampler.ran()[0].pid, 7);
    EXPECT_TRUE(machine.sampler.ran()[0].fresh);
    EXPECT_FALSE(machine.sampler.ran()[0].wrote);

    const auto result = machine.next();
    ASSERT_EQ(machine.sampler.ran().size(), 1U);
    const auto& ran = machine.sampler.ran()[0];
    EXPECT_EQ(ran.pid, 100);
    EXPECT_EQ(ran.start, 5000U);
    EXPECT_EQ(ran.threads, 1U);
    EXPECT_EQ(ran.state, 'S');
    EXPECT_FALSE(ran.fresh);
    EXPECT_TRUE(ran.wrote);

    ASSERT_EQ(result.processes.rows.size(), 1U);
    const auto& row = result.processes.rows[0];
    EXPECT_EQ(row.name, "worker");
    EXPECT_EQ(row.command, "/usr/bin/worker --all");
    EXPECT_EQ(row.unit, "worker.service");
    EXPECT_EQ(row.user, "0"); // an account without a name
    EXPECT_EQ(row.cpu_us, 250000U);
    EXPECT_EQ(row.user_us, 200000U);
    EXPECT_EQ(row.system_us, 50000U);
    EXPECT_EQ(row.write_bytes, 4096U);
    EXPECT_EQ(row.written_recently, 4096U);
    EXPECT_EQ(row.anonymous, 3000U << 10);
    EXPECT_EQ(result.all.rows.at(0).accounted_us, 250000U);
    EXPECT_EQ(result.all.rows.at(0).processes, 2U);
}
