// What is under pressure in an interval, and who did it.
#pragma once

#include "record/interval.h"
#include "why/limits.h"

#include <utility>
#include <vector>

struct Findings {
    std::vector<WhyRow> why;
    std::vector<WhoRow> who;
    std::vector<SufferRow> suffer;
    std::vector<NearRow> nearest;
};

// The worst finding first.
Findings findings(const Interval& interval, const Limits& limits);
// Puts the findings of an interval into it.
void judge(Interval& interval, const Limits& limits);
// Whether an interval has been judged: something is under pressure, or something comes nearest to it.
bool isJudged(const Interval& interval);

// What the findings of an interval name. A row that is named is never left out.
class Named {
    const Interval& interval;
    std::vector<std::pair<uint64_t, uint64_t>> processes; // pid and start, in order

public:
    explicit Named(const Interval& judged);
    bool has(const ProcRow& row) const;
    bool has(const FileRow& row) const;
    bool has(const ChurnRow& row) const;
    bool has(const CgroupRow& row) const;
    bool has(const CgroupIoRow& row) const;
    bool has(const DiskRow& row) const;
    bool has(const FsRow& row) const;
    bool has(const LinkRow& row) const;
    bool has(const LimitRow& row) const;
    bool has(const ListenRow& row) const;
    bool has(const SockRow& row) const;
    template <typename Row> bool has(const Row&) const { return false; }
};
