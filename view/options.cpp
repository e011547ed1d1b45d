#include "view/options.h"

#include "base/masking.h"
#include "base/numbers.h"
#include "view/pattern.h"
#include "why/limits.h"

#include <algorithm>
#include <string_view>

// clang-format off
static constexpr TableOption Options[] = {
    {"-n,--rows",    "ROWS",   "at the most so many rows in a table",              &TableWords::rows,    nullptr},
    {"--sort",       "WORD",   "rows with most of it come first, see below",      &TableWords::sort,    nullptr},
    {"-u,--user",    "USER",   "processes of these users (names or numbers)",      &TableWords::user,    nullptr},
    {"-p,--pid",     "PID",    "these processes: 811 or 811,4411",                 &TableWords::pid,     nullptr},
    {"--command",    "REGEX",  "processes whose name or command line matches",     &TableWords::command, nullptr},
    {"--cgroup",     "PATH",   "groups below this path, and their processes",      &TableWords::cgroup,  nullptr},
    {"--tree",       "",       "processes below their parents",                    nullptr,              &TableWords::tree},
    {"--by",         "WHAT",   "processes added up by command, user or unit",      &TableWords::by,      nullptr},
    {"--limit",      "NAME=VALUE", "of why, such as disk.wait=50ms; may be repeated", &TableWords::limits,  nullptr, true},
    {"--port",       "PORT",   "sockets with these ports, here or there: 80,443",  &TableWords::port,    nullptr},
    {"--address",    "TEXT",   "sockets with this text in an address",             &TableWords::address, nullptr},
    {"--state",      "STATE",  "sockets in this state: ESTABLISHED, CLOSE_WAIT ...", &TableWords::state, nullptr},
    {"--resolve-ports", "",    "names of services instead of numbers of ports",    nullptr,              &TableWords::services},
    {"--partitions", "",       "partitions besides whole disks",                   nullptr,              &TableWords::partitions},
};
// clang-format on

std::span<const TableOption> tableOptions() { return Options; }

static constexpr size_t MostText = 256; // bytes of a filter or a sort key

// "811,4411": numbers above 0 with a comma between them. Leading zeros are dropped.
static std::string takeNumbers(std::string_view typed, const char* what, uint64_t most, std::string& list) {
    list.clear();
    while (!typed.empty()) {
        const auto comma = std::min(typed.find(','), typed.size());
        const auto word = typed.substr(0, comma);
        uint64_t pid = 0;
        if (!toNumber(word, pid) || pid == 0 || pid > most)
            return "the " + std::string(what) + " " + inQuotes(word) +
                   (most == UINT64_MAX ? " is no number above 0" : " is no number from 1 to " + std::to_string(most));
        list.append(list.empty() ? "" : ",").append(std::to_string(pid));
        typed.remove_prefix(std::min(comma + 1, typed.size()));
    }
    return {};
}

static std::string takeState(std::string_view typed, std::string& state) {
    static constexpr std::string_view States[] = {"ESTABLISHED", "SYN_SENT", "SYN_RECV",   "FIN_WAIT1",
                                                  "FIN_WAIT2",   "CLOSE",    "CLOSE_WAIT", "LAST_ACK",
                                                  "LISTEN",      "CLOSING",  "ENDED"};
    state.clear();
    for (const char c : typed) state += c == '-' ? '_' : c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    if (state.empty() || std::find(std::begin(States), std::end(States), state) != std::end(States)) return {};
    return "there is no state " + inQuotes(typed) + " of a socket; one is CLOSE_WAIT";
}

std::string takeTableWords(const TableWords& typed, ViewRow& view) {
    const struct {
        const char* name;
        const std::optional<std::string>& from;
        std::string* to;
    } texts[] = {
        {"--sort",    typed.sort,    &view.sort   },
        {"--user",    typed.user,    &view.user   },
        {"--pid",     typed.pid,     nullptr      },
        {"--command", typed.command, &view.command},
        {"--cgroup",  typed.cgroup,  &view.cgroup },
        {"--port",    typed.port,    nullptr      },
        {"--address", typed.address, &view.address},
        {"--state",   typed.state,   nullptr      },
    };
    for (auto& text : texts) {
        if (!text.from) continue;
        if (text.from->size() > MostText)
            return std::string(text.name) + " takes at most " + std::to_string(MostText) + " bytes";
        if (text.to) *text.to = *text.from;
    }
    // All paths of groups begin with a slash.
    if (!view.cgroup.empty() && view.cgroup.front() != '/') view.cgroup.insert(0, "/");
    if (typed.rows) {
        uint64_t rows = 0;
        if (!toNumber(std::string_view(*typed.rows), rows) || rows == 0)
            return "the number of rows " + inQuotes(*typed.rows) + " is no number above 0";
        view.rows = rows;
    }
    if (typed.pid)
        if (auto why = takeNumbers(*typed.pid, "process", UINT64_MAX, view.pid); !why.empty()) return why;
    if (typed.port)
        if (auto why = takeNumbers(*typed.port, "port", UINT16_MAX, view.port); !why.empty()) return why;
    if (typed.state)
        if (auto why = takeState(*typed.state, view.state); !why.empty()) return why;
    if (typed.command && !typed.command->empty())
        if (const Pattern pattern(*typed.command); !pattern.problem().empty())
            return "--command " + inQuotes(*typed.command) +
                   " is no regular expression that can be used: " + pattern.problem();
    if (typed.by && !typed.by->empty() && *typed.by != "command" && *typed.by != "user" && *typed.by != "unit")
        return "--by takes command, user or unit, not " + inQuotes(*typed.by);
    if (typed.tree && typed.by && !typed.by->empty()) return "--tree and --by exclude each other";
    if (typed.limits) {
        if (typed.limits->size() > MostText)
            return "--limit takes at most " + std::to_string(MostText) + " bytes in all";
        if (auto why = Limits().set(*typed.limits); !why.empty()) return "--limit: " + why;
        view.limits = *typed.limits;
    }
    if (typed.by) view.by = *typed.by, view.tree = false;
    if (typed.tree) view.tree = true, view.by.clear();
    view.partitions |= typed.partitions;
    view.services |= typed.services;
    return {};
}
