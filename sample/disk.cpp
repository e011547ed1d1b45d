#include "sample/disk.h"

#include "base/clock.h"
#include "base/numbers.h"

#include <algorithm>

DiskSampler::DiskSampler(const Root& where) : root(where), diskstats(where, "/proc/diskstats") {
    constexpr uint32_t KernelsOwn = 1;
    if (!root.isOther()) uevents.open(NETLINK_KOBJECT_UEVENT, KernelsOwn); // without it, names and numbers must do
}

// A block device came, went or became another one since this was last asked.
bool DiskSampler::devicesChanged() {
    bool changed = false;
    while (uevents.isOpen() && uevents.take(text))
        changed |= text.view().find("SUBSYSTEM=block") != std::string_view::npos;
    if (uevents.isOpen() && uevents.overruns() != lost) lost = uevents.overruns(), changed = true;
    return changed;
}

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

// Whether `name` is `whole` with the number of a partition: sda1, nvme0n1p1.
static bool isPartOf(std::string_view name, std::string_view whole) {
    if (!name.starts_with(whole) || name.size() == whole.size()) return false;
    name.remove_prefix(whole.size());
    const char last = whole.back();
    if (last >= '0' && last <= '9') {
        if (name[0] != 'p') return false;
        name.remove_prefix(1);
    }
    return hasDigits(name);
}

static DiskKind kindOf(std::string_view name) {
    if (name.starts_with("dm-")) return DiskKind::Mapped;
    if (name.starts_with("md")) return DiskKind::Raid;
    if (name.starts_with("bcache")) return DiskKind::Cache;
    if (name.starts_with("loop")) return DiskKind::Loop;
    if (name.starts_with("zram")) return DiskKind::Zram;
    if (name.starts_with("ram")) return DiskKind::Ram;
    return isNvmePath(name) ? DiskKind::Path : DiskKind::Disk;
}

// `whole`: the last disk in the list that was no partition. The kernel lists a disk's partitions after it.
DiskFacts DiskSampler::factsOf(const DiskCounters& disk, const DiskCounters* whole) {
    DiskFacts facts;
    facts.kind = kindOf(disk.name);
    std::string spelled = disk.name;
    std::replace(spelled.begin(), spelled.end(), '/', '!'); // as sysfs spells cciss/c0d0
    const auto folder = "/sys/block/" + spelled;
    Listing listing;
    HeldDirectory directory;
    const bool inSysfs = directory.open(root.path(folder).c_str());
    if (!inSysfs && whole && isPartOf(disk.name, whole->name)) {
        facts.kind = DiskKind::Partition;
        return facts;
    }
    if (HeldDirectory slaves; inSysfs && slaves.open(root.path(folder + "/slaves").c_str())) {
        Listing::Entry entry{};
        facts.stacked = listing.start(slaves) && listing.next(entry);
    } else {
        facts.stacked = facts.kind == DiskKind::Mapped || facts.kind == DiskKind::Raid || facts.kind == DiskKind::Cache;
    }
    if (readFile(root.path(folder + "/diskseq").c_str(), text)) {
        auto number = text.view();
        takeNumber(number, facts.sequence);
    }
    return facts;
}

void DiskSampler::sample(DiskSample& now) {
    if (devicesChanged()) known.clear();
    now.at_us = getMonotonic();
    now.known = diskstats.read(text);
    parseDiskstats(now.known ? text.view() : std::string_view{}, now.disks);
    now.facts.clear();
    const DiskCounters* whole = nullptr;
    for (auto& disk : now.disks) {
        auto& [name, facts] = known[{disk.major, disk.minor}];
        if (name != disk.name) name = disk.name, facts = factsOf(disk, whole);
        now.facts.push_back(facts);
        if (facts.kind != DiskKind::Partition) whole = &disk;
    }
}
