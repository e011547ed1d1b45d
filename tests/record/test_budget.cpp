#include "record/budget.h"

#include "record/cpu.h"

#include <gtest/gtest.h>

#include <random>

TEST(Budget, SumsStayExact) {
    std::mt19937_64 random(3);
    for (int round = 0; round < 50; round++) {
        Rows<CoreRow> rows;
        uint64_t user = 0, system = 0;
        const size_t count = random() % 60;
        for (size_t i = 0; i < count; i++) {
            auto& row = rows.rows.emplace_back();
            row.core = i, row.user_us = random() % 1000, row.system_us = random() % 1000;
            user += *row.user_us, system += *row.system_us;
        }
        const auto all = rows.rows;
        BudgetSpace space;
        applyBudget(CoreKind, rows, 20, space, [](const CoreRow& row) { return row.core == 3; });
        EXPECT_LE(rows.rows.size(), 20U);
        EXPECT_EQ(rows.rest.has_value(), count > rows.rows.size());
        const bool has3 = std::any_of(rows.rows.begin(), rows.rows.end(), [](auto& r) { return r.core == 3; });
        EXPECT_EQ(has3, count > 3);
        const auto sum = [&](auto member) {
            uint64_t total = rows.rest ? (*rows.rest.*member).value_or(0) : 0;
            for (auto& row : rows.rows) total += (row.*member).value_or(0);
            return total;
        };
        if (count > 20) {
            EXPECT_EQ(sum(&CoreRow::user_us), user);
            EXPECT_EQ(sum(&CoreRow::system_us), system);
            // The largest by each figure is there.
            const auto largest =
                std::max_element(all.begin(), all.end(), [](auto& a, auto& b) { return a.user_us < b.user_us; });
            EXPECT_TRUE(
                std::any_of(rows.rows.begin(), rows.rows.end(), [&](auto& r) { return r.core == largest->core; }));
        }
    }
}

// What has to stay is within the budget, and alone when it is more.
TEST(Budget, RowsThatHaveToStayCount) {
    for (const uint64_t always : {0U, 1U, 15U, 20U, 25U}) {
        Rows<CoreRow> rows;
        for (uint64_t core = 0; core < 100; core++) {
            auto& row = rows.rows.emplace_back();
            row.core = core, row.user_us = core;
        }
        BudgetSpace space;
        applyBudget(CoreKind, rows, 20, space, [&](const CoreRow& row) { return row.core < always; });
        ASSERT_EQ(rows.rows.size(), std::max<size_t>(always, 20)) << always;
        uint64_t user = *rows.rest.value().user_us;
        for (uint64_t i = 0; i < rows.rows.size(); i++) {
            user += *rows.rows[i].user_us;
            EXPECT_TRUE(i >= always || rows.rows[i].core == i) << always;
        }
        EXPECT_EQ(user, 99U * 100 / 2);
        EXPECT_EQ(rows.rows.back().core == 99, always < 20) << "the largest, where there is room";
    }
}
