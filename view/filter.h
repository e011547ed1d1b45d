// Which processes, and which things of processes, the user wants to see: --user, --pid, --command, --cgroup.
#pragma once

#include "record/interval.h"
#include "view/pattern.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

// What a row says about the process that it belongs to.
struct Owner {
    uint64_t pid = 0;
    std::optional<uint64_t> uid;
    std::string_view user, name, command, cgroup;
};

// Whether `path` is the group `above` or below it. Slashes at the end of `above` do not count; without `above` every
// group is below it.
bool isGroupBelow(std::string_view path, std::string_view above);

class Filter {
    std::vector<std::string_view> users;
    std::vector<uint64_t> uids, pids;
    bool byUser, byPid, byCommand;
    std::string_view cgroup;
    std::optional<Pattern> command;
    const Interval& interval;
    mutable std::unordered_map<uint64_t, const ProcRow*> processes; // by pid; made when first asked for
    const ProcRow* processOf(uint64_t pid) const;

public:
    // The rows of `from` tell what a row of a thread or a file does not say about its process. Both must live as long
    // as the filter.
    Filter(const ViewRow& asked, const Interval& from);
    // Whether anything is left out.
    bool any() const { return byUser || byPid || byCommand || !cgroup.empty(); }
    bool wants(const Owner& owner) const;
    bool wants(const ProcRow& row) const;
    bool wants(const ThreadRow& row) const;
    bool wants(const FileRow& row) const;
    bool wants(const SocketOwner& row) const; // of a socket
    bool wants(const ChurnRow& row) const;    // goes by the parent, and by the command of what ended, too
};
