#include "parse/process.h"

#include "base/numbers.h"

#include <algorithm>

// --- stat

// Takes the word up to the next blank. The kernel separates the numbers of stat by single blanks.
static std::string_view takeField(std::string_view& text) {
    const auto end = std::min(text.find(' '), text.size());
    const auto field = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return field;
}

namespace {
struct StatField {
    int number; // as proc(5) counts
    uint64_t ProcessStat::* member;
};
} // namespace

static constexpr StatField StatFields[] = {
    {4,  &ProcessStat::parent         },
    {9,  &ProcessStat::flags          },
    {10, &ProcessStat::minor_faults   },
    {11, &ProcessStat::children_faults},
    {12, &ProcessStat::major_faults   },
    {14, &ProcessStat::user_ticks     },
    {15, &ProcessStat::system_ticks   },
    {16, &ProcessStat::children_ticks }, // user
    {17, &ProcessStat::children_ticks }, // system
    {20, &ProcessStat::threads        },
    {22, &ProcessStat::start          },
    {23, &ProcessStat::size           },
    {24, &ProcessStat::rss            },
    {28, &ProcessStat::stack          },
    {39, &ProcessStat::core           },
    {42, &ProcessStat::block_ticks    },
    {48, &ProcessStat::arguments      },
};

bool parseProcessStat(std::string_view text, ProcessStat& stat) {
    constexpr int First = 4, Nice = 19, Needed = 24;
    stat = ProcessStat();
    const auto open = text.find('('), close = text.rfind(')'); // the name can have any of both
    if (open == text.npos || close == text.npos || close < open || close + 4 > text.size()) return false;
    stat.name = text.substr(open + 1, close - open - 1);
    stat.state = text[close + 2];
    if (text.ends_with('\n')) text.remove_suffix(1);
    text.remove_prefix(std::min(close + 4, text.size()));
    const auto* wanted = std::begin(StatFields);
    int field = First;
    for (; wanted != std::end(StatFields) && !text.empty(); field++) {
        const auto word = takeField(text);
        if (field == Nice && !toNumber(word, stat.nice)) return false;
        if (field != wanted->number) continue;
        uint64_t value = 0;
        if (!toNumber(word, value)) return false;
        stat.*wanted->member += value;
        wanted++;
    }
    return field > Needed;
}

// --- status

// The number after the key of a line. `text` goes on after that line, because the kernel's order of lines is fixed; a
// line that is not there costs nothing but the search.
static std::optional<uint64_t> numberOf(std::string_view& text, std::string_view key) {
    const auto at = text.find(key);
    if (at == text.npos) return {};
    auto rest = text.substr(at + key.size());
    uint64_t value = 0;
    if (!takeNumber(rest, value)) return {};
    text = rest;
    return value;
}

// The name is the first line, and the kernel prints a newline in it as \n, so it cannot be taken for another line.
ProcessStatus parseProcessStatus(std::string_view text) {
    ProcessStatus status;
    status.uid = numberOf(text, "\nUid:");
    status.rss_kib = numberOf(text, "\nVmRSS:");
    status.anonymous_kib = numberOf(text, "\nRssAnon:");
    status.swap_kib = numberOf(text, "\nVmSwap:");
    status.voluntary = numberOf(text, "\nvoluntary_ctxt_switches:");
    status.involuntary = numberOf(text, "\nnonvoluntary_ctxt_switches:");
    return status;
}

// --- io, schedstat

std::optional<ProcessIo> parseProcessIo(std::string_view text) {
    ProcessIo io;
    const struct {
        std::string_view key;
        uint64_t& value;
    } lines[] = {
        {"rchar: ",                 io.read_chars     },
        {"wchar: ",                 io.write_chars    },
        {"syscr: ",                 io.reads          },
        {"syscw: ",                 io.writes         },
        {"read_bytes: ",            io.read_bytes     },
        {"write_bytes: ",           io.write_bytes    },
        {"cancelled_write_bytes: ", io.cancelled_bytes},
    };
    for (auto& wanted : lines) {
        std::string_view line;
        if (!takeLine(text, line) || !line.starts_with(wanted.key)) return {};
        if (!toNumber(line.substr(wanted.key.size()), wanted.value)) return {};
    }
    return io;
}

std::optional<ThreadSchedule> parseSchedule(std::string_view text) {
    ThreadSchedule schedule;
    if (!takeNumber(text, schedule.run_ns) || !takeNumber(text, schedule.wait_ns)) return {};
    if (!takeNumber(text, schedule.slices)) return {};
    return schedule;
}

// --- cmdline, cgroup, limits

// The longest start of the text with at most `most` bytes that does not end within a character.
static std::string_view cutToCharacter(std::string_view text, size_t most) {
    if (text.size() <= most) return text;
    constexpr size_t Longest = 4; // bytes of a character
    size_t end = most;
    const auto continues = [&](size_t at) { return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80; };
    while (end > 0 && most - end < Longest && continues(end)) end--;
    return text.substr(0, continues(end) ? most : end);
}

std::string parseCommandLine(std::string_view text, size_t most) {
    const auto last = text.find_last_not_of(std::string_view(" \0", 2)); // titles set later are padded
    text = cutToCharacter(text.substr(0, last == text.npos ? 0 : last + 1), most);
    std::string line(text);
    std::replace(line.begin(), line.end(), '\0', ' ');
    return line;
}

std::string_view parseProcessGroup(std::string_view text) {
    constexpr std::string_view Order[] = {"cpu", "cpuacct", "memory", "pids", "name=systemd", ""}; // "": version 2
    constexpr std::string_view Deleted = " (deleted)";
    constexpr size_t Count = std::size(Order);
    std::string_view best;
    size_t bestRank = 2 * Count;
    for (std::string_view line; takeLine(text, line);) {
        const auto first = line.find(':');
        const auto second = first == line.npos ? line.npos : line.find(':', first + 1);
        if (second == line.npos) continue;
        const auto controllers = line.substr(first + 1, second - first - 1);
        auto path = line.substr(second + 1);
        if (path.ends_with(Deleted)) path.remove_suffix(Deleted.size());
        size_t rank = 0;
        const auto has = [&](std::string_view wanted) {
            return wanted.empty() ? controllers.empty() : hasWord(controllers, wanted);
        };
        while (rank < Count && !has(Order[rank])) rank++;
        if (rank == Count) continue;
        if (path == "/") rank += Count;
        if (rank < bestRank) best = path, bestRank = rank;
    }
    return best;
}

std::optional<uint64_t> parseFileLimit(std::string_view text) {
    constexpr std::string_view Key = "Max open files";
    const auto at = text.find(Key);
    if (at == text.npos) return {};
    text.remove_prefix(at + Key.size());
    uint64_t limit = 0;
    if (!takeNumber(text, limit)) return {}; // "unlimited"
    return limit;
}
