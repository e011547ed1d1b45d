// The machine as a whole, and the options with which the tables were made.
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

// HOST: facts that the first line of every screen needs.
struct HostRow {
    std::string name, kernel, machine;        // as uname gives them
    std::optional<uint64_t> cpus;             // online
    std::optional<uint64_t> memory, uptime_s; // bytes; seconds since boot, time asleep included
    std::optional<uint64_t> asleep_us;        // time in this interval that the machine was suspended
};
inline constexpr auto HostKind = kind<HostRow>(
    "HOST", label("name", &HostRow::name), label("kernel", &HostRow::kernel), label("machine", &HostRow::machine),
    level("cpus", "", &HostRow::cpus), level("memory", "B", &HostRow::memory), level("uptime", "s", &HostRow::uptime_s),
    amount("asleep", "us", &HostRow::asleep_us));

// VIEW: the options of the tables when the log began, so that the same tables can be made again.
struct ViewRow {
    std::string areas; // words separated by blanks
    uint64_t interval_us = 2000000;
    std::optional<uint64_t> rows; // limit of rows in a table
    std::string sort, user, pid, command, cgroup;
    bool partitions = false;
    bool tree = false;                // processes below their parents
    std::string by;                   // command, user or unit: processes are added up
    std::string limits;               // of `why`, where they are not the usual ones: "disk.wait=50ms mem.available=10"
    std::string port, address, state; // of sockets: "80,443", a part of an address, "ESTABLISHED"
    bool services = false;            // ports by the names of their services
};
inline constexpr auto ViewKind = kind<ViewRow>(
    "VIEW", label("areas", &ViewRow::areas), level("interval", "us", &ViewRow::interval_us),
    level("rows", "", &ViewRow::rows), label("sort", &ViewRow::sort), label("user", &ViewRow::user),
    label("pid", &ViewRow::pid), label("command", &ViewRow::command), label("cgroup", &ViewRow::cgroup),
    level("partitions", "", &ViewRow::partitions), level("tree", "", &ViewRow::tree), label("by", &ViewRow::by),
    label("limits", &ViewRow::limits), label("port", &ViewRow::port), label("address", &ViewRow::address),
    label("state", &ViewRow::state), level("services", "", &ViewRow::services));
