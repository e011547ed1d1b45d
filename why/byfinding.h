// Rows that belong to findings, by finding: a walk over all rows for each finding would take minutes where a forged log
// has thousands of both.
#pragma once

#include "record/why.h"

#include <algorithm>
#include <span>
#include <tuple>
#include <vector>

// R: WhoRow or SufferRow. The rows must outlive it.
template <typename R> class ByFinding {
    std::vector<const R*> rows; // those of a finding one after the other, in the order in which they were

    static auto findingOf(const auto& row) { return std::tie(row.rank, row.resource, row.object); }

public:
    explicit ByFinding(const std::vector<R>& all) {
        for (auto& row : all) rows.push_back(&row);
        std::stable_sort(rows.begin(), rows.end(), [](auto* a, auto* b) { return findingOf(*a) < findingOf(*b); });
    }
    // Those of one finding, in the order in which they were.
    std::span<const R* const> of(const WhyRow& why) const {
        const auto first = std::lower_bound(rows.begin(), rows.end(), why, [](auto* row, auto& finding) {
            return findingOf(*row) < findingOf(finding);
        });
        const auto last = std::upper_bound(
            first, rows.end(), why, [](auto& finding, auto* row) { return findingOf(finding) < findingOf(*row); });
        return {first, last};
    }
};
