// The options of the tables. live, record and show take the same ones.
#pragma once

#include "record/host.h"

#include <optional>
#include <span>
#include <string>

// The options as they were typed; none: not given.
struct TableWords {
    std::optional<std::string> rows, sort, user, pid, command, cgroup, by, port, address, state;
    std::optional<std::string> limits; // with a blank between them
    bool partitions = false, tree = false, services = false;
};

struct TableOption {
    const char* names; // "-n,--rows"
    const char* type;  // "ROWS"; empty: it is a flag
    const char* help;
    std::optional<std::string> TableWords::* text; // null: a flag
    bool TableWords::* flag;
    bool repeated = false; // all that are given count, not only the last
};

std::span<const TableOption> tableOptions();

// Puts what was typed into `view`; the rest of it stays. Returns why it cannot be used; empty: it can.
std::string takeTableWords(const TableWords& typed, ViewRow& view);
