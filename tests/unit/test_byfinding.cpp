#include "why/byfinding.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// The same rows in the same order as a walk over all of them finds.
TEST(ByFinding, IsWhatAWalkFinds) {
    std::mt19937 random(7);
    const auto any = [&](auto& row) {
        row.rank = random() % 4, row.resource = random() % 2 ? "CPU" : "DISK",
        row.object = std::string(random() % 3, 'a');
    };
    for (const size_t count : {0U, 1U, 2U, 50U, 300U}) {
        std::vector<WhoRow> rows(count);
        for (auto& row : rows) any(row);
        const ByFinding<WhoRow> byFinding(rows);
        for (int i = 0; i < 100; i++) {
            WhyRow why;
            any(why);
            std::vector<const WhoRow*> walked;
            for (auto& row : rows)
                if (row.rank == why.rank && row.resource == why.resource && row.object == why.object)
                    walked.push_back(&row);
            const auto found = byFinding.of(why);
            EXPECT_EQ(std::vector<const WhoRow*>(found.begin(), found.end()), walked);
        }
    }
}
