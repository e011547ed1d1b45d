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

// `whole`: the last disk in the list that was no partition. The kernel lists a disk's partitions after it.
DiskFacts DiskSampler::factsOf(const DiskCounters& disk, const DiskCounters* whole) {
    DiskFacts facts;
    facts.kind = kindOf(disk.name);
    std::string spelled = disk.name;
    std::replace(spelled.begin(), spelled.end(), '/', '!'); // as sysfs spells cciss/c0d0
    const auto folder = "/sys/block/" + spelled;
    HeldDirectory directory;
    const bool inSysfs = directory.open(root.path(folder).c_str());
    if (!inSysfs && whole && isPartOf(disk.name, whole->name)) {
        facts.kind = DiskKind::Partition;
        return facts;
    }
    facts.stacked = standsOnOthers(root, folder, facts.kind);
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
