// The rules: what is measured, the limit beyond which it is a finding, and what is used where a source is lacking.
// docs/wyrt-why.7 has this table; a test compares the two.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

enum class Rule : uint8_t {
    CpuStall,
    CpuQueue,
    CpuSteal,
    QuotaThrottled,
    QuotaUsed,
    ForksRate,
    MemoryAvailable,
    MemoryStall,
    MemorySwap,
    MemoryReclaim,
    MemoryRefaults,
    MemoryKills,
    GroupStall,
    GroupUsed,
    GroupHits,
    DiskWait,
    DiskQueue,
    DiskStall,
    DiskFull,
    FsUsed,
    FsInodes,
    FsFullIn,
    FsStuck,
    NetSpeed,
    NetDrops,
    NetErrors,
    ListenDrops,
    ListenBacklog,
    TcpRetransmits,
    SockUnread,
    LimitUsed,
    LimitReached,
    ProcFiles,
    BlockedTasks,
    Count
};
inline constexpr size_t Rules = static_cast<size_t>(Rule::Count);

// How a limit is written and shown.
enum class Measure : uint8_t {
    Percent,     // "20", "20%"
    Count,       // "8"
    PerSecond,   // "500", "500/s"
    Milli,       // milliseconds: "50", "50ms", "1s"
    Span,        // seconds: "14400", "4h"
    BytesPerTime // bytes per second: "4M", "4MB/s"
};

struct RuleText {
    Rule rule;
    std::string_view name; // of --limit
    Measure measure;
    double usual;               // the limit
    bool below;                 // a finding is what is below the limit
    std::string_view brief;     // a word or two
    std::string_view figure;    // what is measured
    std::string_view otherwise; // when it is used, or what is used where it cannot be
};
// In the order of Rule.
std::span<const RuleText> rules();
const RuleText& textOf(Rule rule);
// Null when no rule has that name.
const RuleText* findRule(std::string_view name);

class Limits {
    std::array<double, Rules> values;

public:
    Limits(); // the usual ones
    double operator[](Rule rule) const { return values[static_cast<size_t>(rule)]; }
    // Takes "disk.wait=50ms"; several stand between blanks. Empty: done. Otherwise the reason for which it is no limit.
    std::string set(std::string_view text);
    // Whether a figure is beyond its limit.
    bool isBeyond(Rule rule, double figure) const;
    // How near a figure is to its limit, in percent; 100 and more: it is there.
    double nearness(Rule rule, double figure) const;
};

// A value of a rule with its unit: "41.2 ms", "4h", "85.1%".
std::string valueText(Rule rule, double value);
// A limit as it stands in brackets: "20", "4h".
std::string limitText(Rule rule, double limit);
// The unit of value and limit in a record: "ms".
std::string_view unitOf(Rule rule);
