#include "classic/collect/tcpext.h"

#include "base/door.h"
#include "base/output.h"
#include "base/words.h"
#include "classic/collect/messages.h"

#include <algorithm>

static constexpr size_t LineLimit = 4096;
static constexpr size_t MostTokens = 200; // TcpExt, the longest group, has grown from 68 to 130 over the years
static constexpr int Further = 4;         // the group of the second file

const std::array<const char*, NetstatGroups> NetstatNames = {"Ip", "Icmp", "Tcp", "Udp", "TcpExt"};
// With colon and blank, so that lines of "IcmpMsg:" do not match.
static constexpr std::string_view Prefixes[NetstatGroups] = {"Ip: ", "Icmp: ", "Tcp: ", "Udp: ", "TcpExt: "};

Text<32> getname(std::string_view src) { return word(src); }

// --- Lines

// "Udp: InDatagrams NoPorts InErrors OutDatagrams": false when there is no memory for them.
static bool getNames(std::span<const std::string_view> tokens, std::vector<TNetstat>& rows) {
    rows.clear();
    if (!makeRoom(rows, tokens.size())) return false;
    for (auto& token : tokens) rows.emplace_back().name = getname(token);
    return true;
}

// "Udp: 3267 12 0 3270"
static void getValues(std::span<const std::string_view> tokens, std::vector<TNetstat>& rows) {
    for (size_t i = 0; i < tokens.size() && i < rows.size(); i++)
        rows[i].curvalue = static_cast<double>(toLong(tokens[i]));
}

static int getGroup(std::string_view line) {
    const auto known = std::find_if(std::begin(Prefixes), std::end(Prefixes),
                                    [&](std::string_view prefix) { return line.starts_with(prefix); });
    return static_cast<int>(known - std::begin(Prefixes));
}

bool getNetstatLine(std::string_view line, int slot, TNetstatLines& lines, TNetstatSlots& snmp) {
    if (line.size() > 1) line = dropLast(line);
    const int group = getGroup(line);
    if (group == NetstatGroups) return true;
    std::string_view tokens[MostTokens];
    const auto count = static_cast<size_t>(splitWords(line, tokens));
    const auto behindPrefix = std::span<const std::string_view>(tokens, count).subspan(1);
    auto& rows = snmp[static_cast<size_t>(group)].sample[slot];
    switch (lines.seen[group]++) {
    case 0:
        if (getNames(behindPrefix, rows)) return true;
        say("Failed to get memory for snmp index %d\n", group);
        return false;
    case 1:
        getValues(behindPrefix, rows);
    }
    return true;
}

// --- The sample

// Quirk: the second file is read as soon as each group of the first has shown exactly two lines; a group that is
// missing or has a third line before that leaves TcpExt empty. So does a TcpExt line in the first file: it
// is counted but not read. Seen by tests/worlds/tcpext-second-file.
static bool complete(const TNetstatLines& lines) {
    return std::all_of(lines.seen, lines.seen + Further, [](int seen) { return seen == 2; }) &&
           lines.seen[Further] == -1;
}

// Reads a file to its end; reading the first file stops when the second is due. False when there is no memory.
static bool getFile(const char* path, int slot, TNetstatLines& seen, TNetstatSlots& snmp) {
    static Contents text;
    if (!readFile(path, text, Reading::Single)) return true;
    Lines lines(text.view(), LineLimit);
    for (std::string_view line; !complete(seen) && lines.next(line);)
        if (!getNetstatLine(line, slot, seen, snmp)) return false;
    return true;
}

static bool getSample(int icur, TNetstatSlots& snmp) {
    for (auto& group : snmp) group.sample[icur].clear();
    TNetstatLines seen;
    if (!getFile("/proc/net/snmp", icur, seen, snmp)) return false;
    if (!complete(seen)) return true;
    seen.seen[Further] = 0;
    return getFile("/proc/net/netstat", icur, seen, snmp);
}

// --- Changes

// False when there is no memory.
// Quirk: the first counter whose name differs from the previous sample ends the list. Seen by
// tests/worlds/tcpext-names-change.
static bool getChanges(const std::vector<TNetstat>& now, const std::vector<TNetstat>& before, double seconds,
                       std::vector<TNetstat>& changes) {
    if (!makeRoom(changes, now.size())) return false;
    changes.clear();
    for (size_t k = 0; k < now.size() && now[k].name == before[k].name; k++) {
        auto& change = changes.emplace_back(now[k]);
        change.prevalue = before[k].curvalue;
        change.delta = (change.curvalue - change.prevalue) / seconds;
    }
    return true;
}

void gettcpext(int CallIndex, int icur, int ipre, double seconds, TNetstatSlots& snmp) {
    if (CallIndex == 0) snmp = {};
    if (!getSample(icur, snmp)) return;
    for (size_t group = 0; group < snmp.size(); group++) {
        const auto &now = snmp[group].sample[icur], &before = snmp[group].sample[ipre];
        // Quirk: a group whose number of counters changed keeps the changes of the previous interval, which are
        // reported once more. Seen by tests/worlds/tcpext-groups-change.
        if (now.size() != before.size() || !(seconds > 0)) continue;
        if (!getChanges(now, before, seconds, snmp[group].result)) {
            return sayNoMemory(Text<32>().addf("retsnmp index %d", static_cast<int>(group)), "ERR");
        }
    }
}
