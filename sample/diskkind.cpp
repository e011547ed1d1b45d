#include "sample/diskkind.h"

#include "base/held.h"

#include <algorithm>

static bool hasDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// "nvme0c1n1": path 1 of the disk nvme0n1.
static bool isNvmePath(std::string_view name) {
    if (!name.starts_with("nvme")) return false;
    name.remove_prefix(4);
    const auto c = name.find('c'), n = name.find('n');
    return c != name.npos && n != name.npos && c < n && hasDigits(name.substr(0, c)) &&
           hasDigits(name.substr(c + 1, n - c - 1)) && hasDigits(name.substr(n + 1));
}

DiskKind kindOf(std::string_view name) {
    if (name.starts_with("dm-")) return DiskKind::Mapped;
    if (name.starts_with("md")) return DiskKind::Raid;
    if (name.starts_with("bcache")) return DiskKind::Cache;
    if (name.starts_with("loop")) return DiskKind::Loop;
    if (name.starts_with("zram")) return DiskKind::Zram;
    if (name.starts_with("ram")) return DiskKind::Ram;
    return isNvmePath(name) ? DiskKind::Path : DiskKind::Disk;
}

bool isPartOf(std::string_view name, std::string_view whole) {
    if (!name.starts_with(whole) || name.size() == whole.size()) return false;
    name.remove_prefix(whole.size());
    const char last = whole.back();
    if (last >= '0' && last <= '9') {
        if (name[0] != 'p') return false;
        name.remove_prefix(1);
    }
    return hasDigits(name);
}

bool standsOnOthers(const Root& root, const std::string& folder, DiskKind kind) {
    HeldDirectory slaves;
    if (!slaves.open(root.path(folder + "/slaves").c_str()))
        return kind == DiskKind::Mapped || kind == DiskKind::Raid || kind == DiskKind::Cache;
    Listing listing;
    Listing::Entry entry{};
    return listing.start(slaves) && listing.next(entry);
}

static bool isMultipath(const Root& root, const std::string& folder) {
    Contents text;
    return readFile(root.path(folder + "/dm/uuid").c_str(), text) && text.view().starts_with("mpath-");
}

static bool isPathOfMultipath(const Root& root, const std::string& folder) {
    HeldDirectory holders;
    Listing listing;
    Listing::Entry entry{};
    if (!holders.open(root.path(folder + "/holders").c_str())) return false;
    for (bool more = listing.start(holders); more && listing.next(entry);)
        if (isMultipath(root, "/sys/block/" + std::string(entry.name))) return true;
    return false;
}

bool endsTransfers(const Root& root, const std::string& folder, std::string_view name) {
    const auto kind = kindOf(name);
    if (kind == DiskKind::Loop || kind == DiskKind::Ram || kind == DiskKind::Zram || kind == DiskKind::Path)
        return false;
    return standsOnOthers(root, folder, kind) ? isMultipath(root, folder) : !isPathOfMultipath(root, folder);
}
