// Who takes most of something: many take part, and a chart has room for few. The rest are the others, so that all of
// them together are what the machine has.
#pragma once

#include "wyrtlog/chart/thin.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

// Names of those that take part, each once, as a number.
class Members {
public:
    struct Member {
        std::string name, unit; // unit: the systemd unit, container or pod
        uint64_t pid = 0;       // of the first process of this name
        bool several = false;   // processes
    };
    // The number of a process' name in its unit; 0 when there are too many of them.
    uint32_t find(std::string_view name, std::string_view unit, uint64_t pid);
    // "postgres[2210] postgresql@15", "sh (several) cron.service"
    std::string text(uint32_t member) const;

private:
    static constexpr size_t Most = 20000;                 // what a forged log can make us keep
    std::vector<Member> all{1};                           // 0: nobody of its own
    std::map<std::string, uint32_t, std::less<>> numbers; // by name, NUL, unit
    std::string key;                                      // working space
};

// One thing that is taken.
class Top {
public:
    static constexpr size_t Shown = 8; // as many colours as can be told apart

    explicit Top(size_t mostBuckets = MostBuckets) : stack(mostBuckets) {}
    // What each took in an interval of so many seconds; a member may be named several times. `whole`: of the machine.
    void add(int64_t time_ms, double seconds, double whole, std::vector<Stack::Part>& parts);
    void halve() { stack.halve(); }
    // Those who took most in all, the first of them most.
    std::vector<uint32_t> largest() const;
    const std::vector<Stack::Bucket>& moments() const { return stack.moments(); }

private:
    static constexpr size_t Kept = 3 * Shown; // of each moment: who is among the largest is only known at the end
    std::vector<double> sums;                 // by member
    Stack stack;
};
