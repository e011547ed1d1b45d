#include "sample/diskkind.h"

#include "base/held.h"
#include "base/numbers.h"

#include <algorithm>
#include <optional>

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

static std::optional<DeviceNumber> numberOf(const Root& root, const std::string& folder) {
    Contents text;
    DeviceNumber number;
    if (!readFile(root.path(folder + "/dev").c_str(), text)) return {};
    auto rest = text.view();
    if (!takeNumber(rest, number.first) || !rest.starts_with(':')) return {};
    rest.remove_prefix(1);
    if (!takeNumber(rest, number.second)) return {};
    return number;
}

// The folder of the disk that a link names, of a partition that of its disk: "../../../../pci/block/sda/sda2".
static std::string folderOf(const Root& root, std::string_view link) {
    const auto slash = link.rfind('/');
    const auto folder = "/sys/block/" + std::string(link.substr(slash + 1));
    HeldDirectory whole;
    if (slash == link.npos || whole.open(root.path(folder).c_str())) return folder;
    link = link.substr(0, slash);
    return "/sys/block/" + std::string(link.substr(link.rfind('/') + 1));
}

static void addBelow(const Root& root, const std::string& folder, std::vector<DeviceNumber>& below) {
    HeldDirectory slaves;
    if (!slaves.open(root.path(folder + "/slaves").c_str())) return;
    Listing listing;
    Listing::Entry entry{};
    for (bool more = listing.start(slaves); more && listing.next(entry);) {
        char target[512];
        const auto size = readLink(slaves, std::string(entry.name).c_str(), target, sizeof target);
        if (size <= 0) continue;
        const auto under = folderOf(root, std::string_view(target, static_cast<size_t>(size)));
        const auto number = numberOf(root, under);
        if (!number || std::find(below.begin(), below.end(), *number) != below.end()) continue;
        below.push_back(*number);
        addBelow(root, under, below);
    }
}

std::vector<DeviceNumber> devicesBelow(const Root& root, const std::string& folder) {
    std::vector<DeviceNumber> below;
    addBelow(root, folder, below);
    return below;
}
