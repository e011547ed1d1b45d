// What happened to the open files, described: the largest changes one by one, the others as sums.
#include "sample/file.h"

#include <algorithm>

// The path as the kernel says it. It adds " (deleted)" to the name of a deleted file; of one that still has names it
// cannot be told from a name that ends so.
FileChange FileSampler::describe(const OpenFile& open, FileSample& now) {
    FileChange change;
    const bool moved = open.position != open.before;
    change.how = !moved              ? FileChange::How::Written
                 : open.born == pass ? FileChange::How::Opened
                 : open.holders != 0 ? FileChange::How::Moved
                                     : FileChange::How::Passed;
    if (!open.holders) {
        const auto place = places.find(open.pid);
        auto& reader = now.readers.emplace_back();
        reader.pid = open.pid;
        reader.start = place == places.end() ? 0 : processes[place->second].start;
        if (readFile(proc, (std::to_string(open.pid) + "/comm").c_str(), text, Reading::Single, MostText))
            reader.name = text.view().substr(0, text.view().rfind('\n'));
        now.holders.push_back({static_cast<uint32_t>(now.readers.size() - 1), open.descriptor, 0});
    }
    change.holders = open.holders ? open.holders : static_cast<uint32_t>(now.holders.size());
    change.descriptors = std::max(open.references, 1U);
    change.flags = open.flags, change.mount = open.mount;
    if (!open.digested) change.inode = open.inode;
    change.before = open.before, change.position = open.position;
    if (open.asked && open.sized && open.born != pass) change.growth = open.growth;
    const auto& mount = mounts.find(open.mount, open.pid);
    if (mount.kind != MountIds::Kind::Unknown && open.type != Type::Device) {
        change.point = mount.point, change.type = mount.type, change.source = mount.source;
        change.major = mount.major, change.minor = mount.minor;
    }
    const std::string name = std::to_string(open.pid) + "/fd/" + std::to_string(open.descriptor);
    const auto size = readLink(proc, name.c_str(), target.data(), target.size());
    FileStatus status;
    const bool asked = open.type != Type::Unasked && !root.isOther() && getFileStatus(proc, name.c_str(), status);
    if (size < 0 || (asked && !open.digested && status.inode != open.inode)) return change; // it is another one now
    change.path.assign(target.data(), static_cast<size_t>(size));
    constexpr std::string_view Suffix = " (deleted)";
    if (change.path.ends_with(Suffix) && !(asked && status.links > 0)) {
        change.path.resize(change.path.size() - Suffix.size());
        change.deleted = true;
    }
    if (!asked) return change;
    if (open.type == Type::Device) change.major = status.deviceMajor, change.minor = status.deviceMinor;
    else change.size = status.size;
    return change;
}

static uint64_t distance(uint64_t a, uint64_t b) { return a > b ? a - b : b - a; }

// Describes the largest changes and adds up the others.
void FileSampler::gather(FileSample& now) {
    const auto figure = [&](uint32_t at) {
        const auto& open = opens[at];
        return std::max(distance(open.position, open.before), open.growth < 0
                                                                  ? uint64_t{0} - static_cast<uint64_t>(open.growth)
                                                                  : static_cast<uint64_t>(open.growth));
    };
    for (const auto at : changed) (opens[at].position != opens[at].before ? now.moved : now.written)++;
    const size_t most = std::min(Most, changed.size());
    if (most < changed.size())
        std::nth_element(changed.begin(), changed.begin() + Most, changed.end(), [&](uint32_t a, uint32_t b) {
            const auto left = figure(a), right = figure(b);
            return left != right ? left > right : a < b;
        });
    for (size_t i = 0; i < changed.size(); i++) {
        const auto& open = opens[changed[i]];
        if (i < most) {
            now.changes.push_back(describe(open, now));
            continue;
        }
        now.rest++;
        (open.position > open.before ? now.restForward : now.restBackward) += distance(open.position, open.before);
        now.restGrowth += open.growth;
    }
    changed.clear();
}
