#include "sample/cgroup.h"

#include "base/clock.h"
#include "base/numbers.h"
#include "parse/mountinfo.h"

#include <algorithm>

// --- The tree

uint32_t CgroupSample::after(uint32_t at, bool skip) const {
    if (!skip && groups[at].child != Group::None) return groups[at].child;
    for (; at != Group::None; at = groups[at].parent)
        if (groups[at].next != Group::None) return groups[at].next;
    return Group::None;
}

std::string CgroupSample::pathOf(uint32_t at) const {
    if (at == 0) return "/";
    size_t size = 0;
    for (uint32_t i = at; i != 0; i = groups[i].parent) size += groups[i].name.size() + 1;
    std::string path(size, '/');
    for (uint32_t i = at; i != 0; i = groups[i].parent) {
        auto& name = groups[i].name;
        size -= name.size();
        path.replace(size, name.size(), name);
        size--;
    }
    return path;
}

uint32_t CgroupSampler::add(CgroupSample& sample, uint32_t parent, const Found& what) {
    uint32_t at = static_cast<uint32_t>(sample.groups.size());
    if (unused.empty()) sample.groups.emplace_back();
    else at = unused.back(), unused.pop_back();
    auto& group = sample.groups[at];
    auto& above = sample.groups[parent];
    group.parent = parent;
    group.depth = static_cast<uint16_t>(above.depth + 1);
    group.name = what.name, group.inode = what.inode, group.hierarchies = what.hierarchies;
    group.born = above.born || above.listed;
    sample.count++;
    return at;
}

// Frees the places of a group and of those below it.
void CgroupSampler::remove(CgroupSample& sample, uint32_t at) {
    const auto start = unused.size();
    unused.push_back(at);
    for (auto i = start; i < unused.size(); i++)
        for (auto child = sample.groups[unused[i]].child; child != Group::None; child = sample.groups[child].next)
            unused.push_back(child);
    for (auto i = start; i < unused.size(); i++) {
        auto& group = sample.groups[unused[i]];
        if (group.directory.isOpen()) held--;
        group = Group();
        sample.count--;
    }
}

// --- Mounts

static constexpr std::string_view Controllers[] = {"cpu", "cpuacct", "memory", "pids", "blkio"};

void CgroupSampler::addMount(std::string_view type, std::string_view options, const std::string& point) {
    if (type != "cgroup") return;
    for (size_t i = 0; i < std::size(Controllers); i++)
        if (mounts[i].empty() && hasWord(options, Controllers[i])) mounts[i] = root.path(point);
}

// A machine that has controllers of version 1 is read there, whatever else it has mounted as version 2.
void CgroupSampler::findMounts() {
    if (mounted) return;
    std::string unified;
    if (readFile(root.path("/proc/self/mountinfo").c_str(), text))
        for (auto& mount : parseMountInfo(text.view())) {
            addMount(mount.type, mount.superOptions, mount.point);
            if (mount.type == "cgroup2" && unified.empty()) unified = root.path(mount.point);
        }
    if (unified.empty() && canOpen(root.path("/sys/fs/cgroup/cgroup.controllers").c_str()))
        unified = root.path("/sys/fs/cgroup");
    const bool first = !mounts[0].empty() || !mounts[1].empty() || !mounts[2].empty();
    second = !first && !unified.empty();
    if (second) mounts[0] = unified, mounts[3].clear(), mounts[4].clear();
    mounted = first || second;
}

// --- Names

// The path tells the kind at once; a container's name comes with a later pass, if a file of its runtime has it.
void CgroupSampler::setTitle(std::string_view parent, Group& group) {
    constexpr uint8_t MostTries = 4; // a runtime may write the name after it has made the group
    constexpr size_t Short = 12;     // digits of an id that people know
    if (group.named || group.tries >= MostTries) return;
    const auto what = nameGroup(parent, group.name);
    group.kind = what.kind;
    group.named = what.id.empty();
    group.title = !group.named ? what.id.substr(0, Short) : what.name.empty() ? group.name : what.name;
    if (!group.named && names.want(what)) group.tries++;
}

void CgroupSampler::takeNames(CgroupSample& sample) {
    if (!names.take()) return;
    for (auto& group : sample.groups) {
        const bool container = group.kind == GroupKind::Container || group.kind == GroupKind::Pod;
        if (!container || group.named || group.parent == Group::None) continue;
        const auto name = names.find(nameGroup(sample.groups[group.parent].name, group.name));
        if (name.empty()) continue;
        group.title = name;
        group.named = group.levelsChanged = true;
    }
}

// --- Disks

// A number may be given to another disk later.
void CgroupSampler::nameDisks(CgroupSample& sample, const Group& group) {
    constexpr uint32_t Keep = 64; // passes
    if (pass - disksRead >= Keep) sample.disks.clear(), disksRead = pass;
    for (auto& device : group.ioNow) {
        const auto [place, isNew] = sample.disks.try_emplace({device.major, device.minor});
        HeldPlace devices;
        if (!isNew || !devices.open(root.path("/sys/dev/block").c_str())) continue;
        char target[512];
        const auto number = std::to_string(device.major) + ":" + std::to_string(device.minor);
        const auto size = readLink(devices, number.c_str(), target, sizeof target);
        const std::string_view path(target, static_cast<size_t>(std::max<ptrdiff_t>(size, 0)));
        const auto name = path.substr(path.rfind('/') + 1);
        place->second.name = name;
        std::replace(place->second.name.begin(), place->second.name.end(), '!', '/'); // cciss!c0d0
        place->second.pseudo = isPseudo(kindOf(name));
        place->second.below = devicesBelow(root, "/sys/dev/block/" + number);
    }
}

// --- Which groups there are

// Adds the groups of a directory to those that were found in others.
void CgroupSampler::collect(const HeldDirectory& directory, uint8_t hierarchy) {
    Listing::Entry entry{};
    for (bool more = listing.start(directory); more && listing.next(entry);)
        if (entry.kind == Listing::Kind::Directory) found.push_back({entry.name, entry.inode, hierarchy});
}

// Compares the groups below one with those that were found, both by name.
void CgroupSampler::merge(CgroupSample& sample, uint32_t at) {
    std::stable_sort(found.begin(), found.end(), [](auto& a, auto& b) { return a.name < b.name; });
    uint32_t old = sample.groups[at].child, last = Group::None;
    const auto append = [&](uint32_t child) {
        (last == Group::None ? sample.groups[at].child : sample.groups[last].next) = child;
        last = child;
    };
    const auto drop = [&] {
        const auto ended = old;
        old = sample.groups[old].next;
        remove(sample, ended);
    };
    for (size_t i = 0; i < found.size(); i++) {
        auto& what = found[i];
        for (; i + 1 < found.size() && found[i + 1].name == what.name; i++)
            what.hierarchies = static_cast<uint8_t>(what.hierarchies | found[i + 1].hierarchies);
        while (old != Group::None && sample.groups[old].name < what.name) drop();
        const bool there = old != Group::None && sample.groups[old].name == what.name;
        const bool same = there && !sample.groups[old].gone && (!second || sample.groups[old].inode == what.inode);
        if (there && !same) drop();
        if (!same) {
            append(add(sample, at, what));
            continue;
        }
        const auto kept = old;
        old = sample.groups[old].next;
        sample.groups[kept].hierarchies = what.hierarchies;
        append(kept);
    }
    while (old != Group::None) drop();
    (last == Group::None ? sample.groups[at].child : sample.groups[last].next) = Group::None;
    sample.groups[at].listed = true, sample.groups[at].relist = false;
}

// `place`: the group's directory in version 2.
void CgroupSampler::list(CgroupSample& sample, uint32_t at, const HeldDirectory* place) {
    found.clear();
    if (sample.groups[at].depth >= MostDepth) return merge(sample, at);
    if (second) {
        collect(*place, 1);
        return merge(sample, at);
    }
    bool any = false;
    const auto path = sample.pathOf(at);
    for (size_t i = 0; i < std::size(mounts); i++) {
        if (mounts[i].empty() || !(sample.groups[at].hierarchies >> i & 1)) continue;
        HeldDirectory directory;
        if (!directory.open((mounts[i] + path).c_str())) continue;
        any = true;
        collect(directory, static_cast<uint8_t>(1U << i));
    }
    if (any) merge(sample, at);
}

// --- A pass

// Some groups that were not read in this pass: their levels change without being seen otherwise (a limit is set, memory
// is taken away).
void CgroupSampler::refreshSome(CgroupSample& sample) {
    const auto size = static_cast<uint32_t>(sample.groups.size());
    for (uint32_t i = 0; i < size / Turn + 1; i++, cursor++) {
        if (cursor >= size) cursor = 0;
        auto& group = sample.groups[cursor];
        if (group.read || group.gone || (cursor != 0 && group.parent == Group::None)) continue;
        HeldDirectory own;
        if (const auto* place = enter(sample, cursor, own)) readLevels2(*place, group);
    }
}

// Visits every group that was not visited yet. True: some of them were gone, so their places must be looked at again.
bool CgroupSampler::walk(CgroupSample& sample) {
    bool gone = false;
    for (uint32_t at = 0; at != Group::None;) {
        auto& group = sample.groups[at];
        if (group.pass != pass) {
            group.pass = pass;
            if (second) visit2(sample, at);
            else visit1(sample, at);
            if (group.read && group.readings < 2) group.readings++;
            if (group.gone) gone = true, sample.groups[group.parent].relist = true;
            else if (at && group.read) setTitle(sample.groups[group.parent].name, group);
        } else if (group.relist && second && !group.still) {
            HeldDirectory own;
            if (const auto* place = enter(sample, at, own)) list(sample, at, place);
        }
        at = sample.after(at, group.still);
    }
    return gone;
}

void CgroupSampler::sample(CgroupSample& now) {
    findMounts();
    now.paired = now.known && mounted;
    now.known = mounted, now.second = second;
    now.before_us = now.at_us;
    now.at_us = getMonotonic();
    if (!mounted) return;
    if (now.groups.empty()) {
        auto& whole = now.groups.emplace_back();
        whole.kind = GroupKind::Root, whole.title = "/", whole.named = true;
        whole.hierarchies = 0x1F;
    }
    for (auto& group : now.groups) group.still = group.read = group.levelsChanged = false;
    pass++;
    takeNames(now);
    if (walk(now)) walk(now);
    if (second) refreshSome(now);
    names.start();
}
