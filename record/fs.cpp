#include "record/fs.h"

#include <algorithm>

static std::optional<double> shareOf(double used, double left) {
    return used + left > 0 ? std::optional(used * 100 / (used + left)) : std::nullopt;
}

std::optional<double> useOf(const FsRow& row) {
    if (!row.used || !row.available) return {};
    return shareOf(static_cast<double>(*row.used), static_cast<double>(*row.available));
}

std::optional<double> inodeUseOf(const FsRow& row) {
    if (!row.inodes || !row.inodes_free) return {};
    const uint64_t left = std::min(*row.inodes_free, *row.inodes);
    return shareOf(static_cast<double>(*row.inodes - left), static_cast<double>(left));
}

bool isQuiet(const FsRow& row) {
    if (row.stuck_us || row.growth.value_or(0) != 0) return false;
    return row.read_only || (useOf(row).value_or(0) < NearlyFull && inodeUseOf(row).value_or(0) < NearlyFull);
}
