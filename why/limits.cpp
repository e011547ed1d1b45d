#include "why/limits.h"

#include "base/figures.h"
#include "base/masking.h"
#include "base/nearest.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

// clang-format off
static constexpr RuleText Texts[] = {
    {Rule::CpuStall,        "cpu.stall",       Measure::Percent,      20,        false, "stalled",
     "time in which a task waited for a CPU",
     "not counted while the CPUs are idle and a group has used up its quota; without PSI: cpu.queue"},
    {Rule::CpuQueue,        "cpu.queue",       Measure::Count,        1,         false, "tasks for each CPU",
     "tasks that run or are ready to, for each CPU",
     "without PSI only, while nine tenths of the CPUs are used"},
    {Rule::CpuSteal,        "cpu.steal",       Measure::Percent,      10,        false, "steal",
     "CPU time that the host gave to others",
     ""},
    {Rule::QuotaThrottled,  "quota.throttled", Measure::Percent,      10,        false, "throttled",
     "periods in which a group had used up its quota",
     "without these counters: quota.used"},
    {Rule::QuotaUsed,       "quota.used",      Measure::Percent,      95,        false, "of its quota",
     "share of its quota that a group used",
     "only where the kernel does not count throttled periods"},
    {Rule::ForksRate,       "forks.rate",      Measure::PerSecond,    500,       false, "begun",
     "processes and threads that began",
     ""},
    {Rule::MemoryAvailable, "mem.available",   Measure::Percent,      5,         true, "available",
     "memory that can be had without swapping",
     ""},
    {Rule::MemoryStall,     "mem.stall",       Measure::Percent,      10,        false, "stalled",
     "time in which a task waited for memory",
     "without PSI: mem.swap, mem.reclaim, mem.refaults"},
    {Rule::MemorySwap,      "mem.swap",        Measure::BytesPerTime, 4194304,   false, "swapped in",
     "read back from swap",
     "without PSI only"},
    {Rule::MemoryReclaim,   "mem.reclaim",     Measure::PerSecond,    2000,      false, "pages of direct reclaim",
     "pages that tasks which needed memory had to look through themselves",
     "without PSI only"},
    {Rule::MemoryRefaults,  "mem.refaults",    Measure::PerSecond,    2000,      false, "refaults",
     "pages that were dropped and needed again soon",
     "without PSI only"},
    {Rule::MemoryKills,     "mem.kills",       Measure::Count,        1,         false, "killed",
     "processes killed for want of memory, by the machine or a group",
     ""},
    {Rule::GroupStall,      "group.stall",     Measure::Percent,      10,        false, "stalled",
     "time in which a task of a group that is at its memory limit waited for memory",
     "without PSI of groups: group.hits"},
    {Rule::GroupUsed,       "group.used",      Measure::Percent,      95,        false, "of its limit",
     "share of its memory limit from which a group is at its limit",
     "goes with group.stall and group.hits"},
    {Rule::GroupHits,       "group.hits",      Measure::PerSecond,    10,        false, "met its limit",
     "how often a group met its memory limit",
     "without PSI of groups only"},
    {Rule::DiskWait,        "disk.wait",       Measure::Milli,        20,        false, "waits",
     "mean wait of the reads or of the writes of a disk, whichever took more time",
     "disk.queue must be reached, too, and with PSI disk.stall"},
    {Rule::DiskQueue,       "disk.queue",      Measure::Count,        1,         false, "queue",
     "mean number of requests under way",
     "goes with disk.wait and disk.full"},
    {Rule::DiskStall,       "disk.stall",      Measure::Percent,      10,        false, "io stalled",
     "time in which a task waited for I/O",
     "goes with disk.wait; without PSI disk.wait and disk.queue suffice"},
    {Rule::DiskFull,        "disk.full",       Measure::Percent,      50,        false, "io stalled full",
     "time in which all tasks that could run waited for I/O; the disk with the longest queue",
     "whatever disk.wait is, as disks without moving parts are fast and can still be what all wait for"},
    {Rule::FsUsed,          "fs.used",         Measure::Percent,      90,        false, "used",
     "space of a filesystem in use, as df has it",
     "not of filesystems that cannot be written"},
    {Rule::FsInodes,        "fs.inodes",       Measure::Percent,      90,        false, "inodes",
     "inodes of a filesystem in use",
     "where it counts them"},
    {Rule::FsFullIn,        "fs.full_in",      Measure::Span,         14400,     true, "full in",
     "time until a filesystem is full, as it grows",
     "of filesystems that are half full, or will be full within 10 minutes"},
    {Rule::FsStuck,         "fs.stuck",        Measure::Span,         1,         false, "stuck",
     "how long a filesystem has not answered",
     ""},
    {Rule::NetSpeed,        "net.speed",       Measure::Percent,      90,        false, "used",
     "traffic of an interface in one direction, of its speed",
     "where the driver knows its speed"},
    {Rule::NetDrops,        "net.drops",       Measure::PerSecond,    100,       false, "dropped",
     "packets that an interface dropped",
     ""},
    {Rule::NetErrors,       "net.errors",      Measure::PerSecond,    10,        false, "errors",
     "packets with errors at an interface",
     ""},
    {Rule::ListenDrops,     "listen.drops",    Measure::PerSecond,    0,         false, "dropped",
     "connections that a listener dropped",
     "any at all"},
    {Rule::ListenBacklog,   "listen.backlog",  Measure::Percent,      100,       false, "of its queue",
     "connections that wait to be accepted, of those that a listener lets wait",
     ""},
    {Rule::TcpRetransmits,  "tcp.retransmits", Measure::Percent,      5,         false, "sent again",
     "TCP segments that were sent again, of those that were sent",
     "while ten a second are sent again"},
    {Rule::SockUnread,      "sock.unread",     Measure::Span,         30,        false, "unread",
     "how long a process has read nothing of what a connection has received",
     "while 16 KB wait there"},
    {Rule::LimitUsed,       "limit.used",      Measure::Percent,      90,        false, "used",
     "share of a limit of the kernel that is used",
     ""},
    {Rule::LimitReached,    "limit.reached",   Measure::PerSecond,    1,         false, "reached",
     "how often a limit of the kernel was reached",
     ""},
    {Rule::ProcFiles,       "proc.files",      Measure::Percent,      90,        false, "used",
     "descriptors of a process, of its limit",
     "of processes whose descriptors can be counted"},
    {Rule::BlockedTasks,    "blocked.tasks",   Measure::Count,        8,         false, "blocked",
     "tasks that cannot be interrupted, while no other finding tells why",
     ""},
};
// clang-format on
static_assert(std::size(Texts) == Rules);
static_assert([] {
    for (size_t i = 0; i < Rules; i++)
        if (Texts[i].rule != static_cast<Rule>(i)) return false;
    return true;
}());

std::span<const RuleText> rules() { return Texts; }
const RuleText& textOf(Rule rule) { return Texts[static_cast<size_t>(rule)]; }

const RuleText* findRule(std::string_view name) {
    const auto found = std::find_if(std::begin(Texts), std::end(Texts), [&](auto& t) { return t.name == name; });
    return found == std::end(Texts) ? nullptr : found;
}

Limits::Limits() {
    for (size_t i = 0; i < Rules; i++) values[i] = Texts[i].usual;
}

// --- Reading

namespace {
struct Suffix {
    Measure measure;
    std::string_view text;
    double factor;
};
} // namespace
// clang-format off
static constexpr Suffix Suffixes[] = {
    {Measure::Percent,      "%",    1},
    {Measure::PerSecond,    "/s",   1},
    {Measure::Milli,        "us",   0.001},
    {Measure::Milli,        "ms",   1},
    {Measure::Milli,        "s",    1000},
    {Measure::Span,         "ms",   0.001},
    {Measure::Span,         "s",    1},
    {Measure::Span,         "m",    60},
    {Measure::Span,         "h",    3600},
    {Measure::Span,         "d",    86400},
    {Measure::BytesPerTime, "B/s",  1},
    {Measure::BytesPerTime, "K",    1024},
    {Measure::BytesPerTime, "KB/s", 1024},
    {Measure::BytesPerTime, "M",    1048576},
    {Measure::BytesPerTime, "MB/s", 1048576},
    {Measure::BytesPerTime, "G",    1073741824},
    {Measure::BytesPerTime, "GB/s", 1073741824},
};
// clang-format on

static bool readLimit(Measure measure, std::string_view text, double& value) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (error != std::errc() || !std::isfinite(number) || number < 0) return false;
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    double factor = 1;
    if (!text.empty()) {
        const auto found = std::find_if(std::begin(Suffixes), std::end(Suffixes),
                                        [&](auto& s) { return s.measure == measure && s.text == text; });
        if (found == std::end(Suffixes)) return false;
        factor = found->factor;
    }
    value = number * factor;
    return std::isfinite(value);
}

static std::string_view exampleOf(Measure measure) {
    switch (measure) {
    case Measure::Percent:
        return "20%";
    case Measure::Count:
        return "8";
    case Measure::PerSecond:
        return "500";
    case Measure::Milli:
        return "50ms";
    case Measure::Span:
        return "4h";
    case Measure::BytesPerTime:
        break;
    }
    return "4MB/s";
}

static std::string nearestTo(std::string_view name) {
    std::vector<std::string_view> known;
    for (const auto& rule : rules()) known.push_back(rule.name);
    return std::string(nearest(name, known));
}

std::string Limits::set(std::string_view text) {
    for (size_t at = 0; at < text.size();) {
        const auto end = std::min(text.find(' ', at), text.size());
        const auto word = text.substr(at, end - at);
        at = end + 1;
        if (word.empty()) continue;
        const auto equals = std::min(word.find('='), word.size());
        const auto name = word.substr(0, equals);
        const auto* found = findRule(name);
        if (!found) return "there is no limit " + inQuotes(name) + "; the nearest is " + nearestTo(name);
        auto& value = values[static_cast<size_t>(found->rule)];
        if (!readLimit(found->measure, word.substr(std::min(equals + 1, word.size())), value))
            return "the limit " + inQuotes(word) + " is not like " + std::string(name) + "=" +
                   std::string(exampleOf(found->measure));
    }
    return {};
}

// --- Comparing and showing

bool Limits::isBeyond(Rule rule, double figure) const {
    return textOf(rule).below ? figure <= (*this)[rule] : figure >= (*this)[rule];
}

double Limits::nearness(Rule rule, double figure) const {
    const double limit = (*this)[rule];
    if (textOf(rule).below) return figure > 0 ? limit * 100 / figure : 100;
    return limit > 0 ? figure * 100 / limit : 100;
}

std::string limitText(Rule rule, double limit) {
    switch (textOf(rule).measure) {
    case Measure::Span:
        return spanText(limit);
    case Measure::BytesPerTime:
        return sizeText(limit);
    default:
        break;
    }
    return std::floor(limit) == limit ? fixedText(limit, 0) : fixedText(limit, 1);
}

std::string valueText(Rule rule, double value) {
    switch (textOf(rule).measure) {
    case Measure::Percent:
        return fixedText(value, 1) + "%";
    case Measure::Milli:
        return fixedText(value, 1) + " ms";
    case Measure::Span:
        return spanText(value);
    case Measure::BytesPerTime:
        return sizeText(value) + "B/s";
    case Measure::PerSecond:
        return countText(value) + "/s";
    case Measure::Count:
        break;
    }
    return countText(value);
}

std::string_view unitOf(Rule rule) {
    switch (textOf(rule).measure) {
    case Measure::Percent:
        return "%";
    case Measure::Milli:
        return "ms";
    case Measure::Span:
        return "s";
    case Measure::BytesPerTime:
        return "B/s";
    case Measure::PerSecond:
        return "/s";
    case Measure::Count:
        break;
    }
    return "";
}
