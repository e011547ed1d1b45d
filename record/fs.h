// Filesystems (FS), and how many there are (FSS).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

struct FsRow {
    std::string point;  // where it is mounted
    std::string device; // 8:1; a number of its own (0:45) for one that is on no single disk
    std::string source, type;
    std::string volume; // where its device is a mapped one: vg/lv, or the name of the map
    bool remote = false, read_only = false;
    std::optional<uint64_t> size, used, available; // bytes; available to ordinary users
    std::optional<uint64_t> inodes, inodes_free;   // none: it does not count them
    std::optional<int64_t> growth;                 // bytes that its use changed by in the interval
    std::optional<double> growth_rate;             // B/s over the last minutes
    std::optional<uint64_t> full_in_s;             // until nothing is available, at that rate
    std::optional<uint64_t> stuck_us;              // it has not answered since so long before the interval's end
    std::optional<uint64_t> error;                 // errno of a question that it refused
};
inline constexpr auto FsKind = kind<FsRow>(
    "FS", id("mount", &FsRow::point), id("dev", &FsRow::device), label("source", &FsRow::source),
    label("type", &FsRow::type), label("volume", &FsRow::volume), level("remote", "", &FsRow::remote),
    level("read_only", "", &FsRow::read_only), level("size", "B", &FsRow::size), level("used", "B", &FsRow::used),
    level("available", "B", &FsRow::available), level("inodes", "", &FsRow::inodes),
    level("inodes_free", "", &FsRow::inodes_free), amount("growth", "B", &FsRow::growth),
    level("growth_rate", "B/s", &FsRow::growth_rate), level("full_in", "s", &FsRow::full_in_s),
    level("stuck", "us", &FsRow::stuck_us), level("error", "", &FsRow::error));

struct FsTotalRow {
    uint64_t filesystems = 0;
    uint64_t quiet = 0; // of them, neither nearly full nor changing nor stuck: without a row, but in the first interval
};
inline constexpr auto FsTotalKind =
    kind<FsTotalRow>("FSS", level("filesystems", "", &FsTotalRow::filesystems), level("quiet", "", &FsTotalRow::quiet));

// The share of a filesystem that is in use, in percent, as df has it: of what ordinary users could have. None: it has
// no space.
std::optional<double> useOf(const FsRow& row);
// The share of its inodes that are in use, in percent. None: it does not count them.
std::optional<double> inodeUseOf(const FsRow& row);
// Nothing about it is news: far from full, as it was, and it answers. An image that cannot be written is full from the
// start.
bool isQuiet(const FsRow& row);
inline constexpr double NearlyFull = 80, Full = 90; // percent
