#include "view/filter.h"

#include "base/numbers.h"

#include <algorithm>

// Calls f(word) for each word of a list with commas.
template <typename F> static void eachOf(std::string_view list, F&& f) {
    while (!list.empty()) {
        const auto comma = std::min(list.find(','), list.size());
        if (comma > 0) f(list.substr(0, comma));
        list.remove_prefix(std::min(comma + 1, list.size()));
    }
}

bool isGroupBelow(std::string_view path, std::string_view above) {
    while (above.ends_with('/')) above.remove_suffix(1);
    return path.starts_with(above) && (path.size() == above.size() || path[above.size()] == '/');
}

Filter::Filter(const ViewRow& asked, const Interval& from)
    : byUser(!asked.user.empty()), byPid(!asked.pid.empty()), byCommand(!asked.command.empty()), cgroup(asked.cgroup),
      interval(from) {
    eachOf(asked.user, [&](std::string_view word) {
        uint64_t uid = 0;
        users.push_back(word);
        if (toNumber(word, uid)) uids.push_back(uid);
    });
    eachOf(asked.pid, [&](std::string_view word) {
        uint64_t pid = 0;
        if (toNumber(word, pid)) pids.push_back(pid);
    });
    if (byCommand) command.emplace(asked.command);
}

template <typename List, typename T> static bool has(const List& list, const T& value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

bool Filter::wants(const Owner& owner) const {
    if (byPid && !has(pids, owner.pid)) return false;
    if (byUser && !has(users, owner.user) && !(owner.uid && has(uids, *owner.uid))) return false;
    if (!cgroup.empty() && !isGroupBelow(owner.cgroup, cgroup)) return false;
    return !byCommand || command->matches(owner.name) || (!owner.command.empty() && command->matches(owner.command));
}

bool Filter::wants(const ProcRow& row) const {
    return !any() || wants(Owner{row.pid, row.uid, row.user, row.name, row.command, row.cgroup});
}

const ProcRow* Filter::processOf(uint64_t pid) const {
    if (processes.empty())
        for (auto& row : interval.processes.rows) processes.emplace(row.pid, &row);
    const auto found = processes.find(pid);
    return found == processes.end() ? nullptr : found->second;
}

bool Filter::wants(const ThreadRow& row) const {
    if (!any()) return true;
    const auto* process = processOf(row.pid);
    if (!process || process->start != row.start) return wants(Owner{row.pid, {}, "", row.process, "", ""});
    auto owner = Owner{row.pid, process->uid, process->user, process->name, process->command, process->cgroup};
    if (wants(owner)) return true;
    owner.name = row.name; // a thread can have a name of its own
    return wants(owner);
}

bool Filter::wants(const FileRow& row) const {
    if (!any()) return true;
    const auto* process = processOf(row.pid);
    if (process && process->start == row.start) return wants(*process);
    return wants(Owner{row.pid, {}, row.user, row.name, "", ""});
}

bool Filter::wants(const SocketOwner& row) const {
    if (!any()) return true;
    if (!row.pid) return false;
    const auto* process = processOf(*row.pid);
    if (process && process->start == row.start) return wants(*process);
    return wants(Owner{*row.pid, {}, row.user, row.process, "", row.cgroup});
}

bool Filter::wants(const ChurnRow& row) const {
    if (!any()) return true;
    const auto* parent = processOf(row.parent);
    Owner owner{row.parent, {}, "", row.parent_name, "", ""};
    if (parent && parent->start == row.parent_start)
        owner = {row.parent, parent->uid, parent->user, parent->name, parent->command, parent->cgroup};
    if (wants(owner)) return true;
    owner.name = row.command, owner.command = "";
    return wants(owner);
}
