// Trouble of each kind 50 times, with random processes, sizes and start times, among decoys. The right culprit is first
// in at least 49 of 50, and a decoy never comes before it.
#pragma once

#include "tests/unit/whymachine.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// A machine of random processes, one of them the culprit.
class Trial {
    std::mt19937_64 random;
    std::set<uint64_t> pids;

public:
    WhyMachine machine;
    uint64_t culprit = 0;
    std::set<uint64_t> decoys;

    explicit Trial(uint64_t seed) : random(seed) {}
    uint64_t between(uint64_t least, uint64_t most) { return least + random() % (most - least + 1); }
    ProcRow& process(const char* name, const std::string& cgroup = "/") {
        uint64_t pid = 0;
        do pid = between(2, 4000000);
        while (!pids.insert(pid).second);
        auto& row = machine.process(pid, name, cgroup);
        row.start = between(1, 1000000000);
        return row;
    }
    ProcRow& decoy(const char* name, const std::string& cgroup = "/") {
        auto& row = process(name, cgroup);
        decoys.insert(row.pid);
        return row;
    }
    // Processes that do a little of everything, before and after the culprit.
    void crowd() {
        for (uint64_t i = between(0, 40); i > 0; i--) {
            auto& row = process("crowd", "/crowd");
            row.cpu_us = between(0, 5000), row.read_bytes = between(0, 64) * 1024,
            row.write_bytes = between(0, 64) * 1024;
            row.written_recently = *row.write_bytes, row.growth = static_cast<int64_t>(between(0, 32)) * 1024;
        }
    }
    // Whether the culprit comes first. A decoy before it fails.
    bool judge(const char* resource, const char* what, uint64_t seed) {
        const auto found = machine.find();
        const auto* why = findingOf(found, resource);
        EXPECT_TRUE(why) << what << ", seed " << seed;
        if (!why) return false;
        std::vector<const WhoRow*> rows;
        uint64_t shares = 0;
        for (auto& row : found.who)
            if (row.rank == why->rank) rows.push_back(&row), shares += row.share;
        EXPECT_EQ(shares, 100U) << what << ", seed " << seed;
        const auto at = std::find_if(rows.begin(), rows.end(), [&](auto* row) { return row->pid == culprit; });
        for (auto it = rows.begin(); it != rows.end(); ++it)
            EXPECT_FALSE(it < at && (*it)->pid && decoys.contains(*(*it)->pid))
                << what << ", seed " << seed << ": " << (*it)->name << " before the culprit";
        return at == rows.begin();
    }
};

// Runs `make` with 50 seeds; each makes a trial and says whether the culprit came first.
template <typename Make> void trials(const char* what, const Make& make) {
    constexpr uint64_t Trials = 50;
    constexpr int Enough = 49;
    const uint64_t seed = std::random_device()();
    int first = 0;
    for (uint64_t i = 0; i < Trials; i++) first += make(seed + i) ? 1 : 0;
    EXPECT_GE(first, Enough) << what << ", seed " << seed;
}
