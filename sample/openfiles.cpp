#include "sample/openfiles.h"

#include <algorithm>

size_t OpenFiles::bucketOf(const OpenFile& file) const {
    const uint64_t mixed = (file.inode ^ uint64_t{file.mount} << 40) * 0x9e3779b97f4a7c15;
    return static_cast<size_t>(mixed >> 20) & (buckets.size() - 1);
}

void OpenFiles::link(uint32_t at) {
    auto& file = files[at];
    auto& first = buckets[bucketOf(file)];
    file.previous = None, file.next = first;
    if (first != None) files[first].previous = at;
    first = at;
}

void OpenFiles::unlink(uint32_t at) {
    auto& file = files[at];
    if (file.next != None) files[file.next].previous = file.previous;
    if (file.previous != None) files[file.previous].next = file.next;
    else buckets[bucketOf(file)] = file.next;
}

uint32_t OpenFiles::add(const OpenFile& made) {
    constexpr size_t FirstBuckets = 256;
    if (++used > buckets.size()) {
        buckets.assign(std::max(FirstBuckets, buckets.size() * 2), None);
        for (uint32_t i = 0; i < files.size(); i++)
            if (!files[i].free) link(i);
    }
    uint32_t at = static_cast<uint32_t>(files.size());
    if (unused.empty()) {
        files.push_back(made);
    } else {
        at = unused.back();
        unused.pop_back();
        files[at] = made;
    }
    link(at);
    return at;
}

void OpenFiles::release(uint32_t at) {
    if (at != None && --files[at].references == 0) dying.push_back(at);
}

void OpenFiles::freeUnused() {
    for (const auto at : dying) {
        auto& file = files[at];
        if (file.references || file.free) continue;
        unlink(at);
        file.free = true;
        unused.push_back(at);
        used--;
    }
    dying.clear();
}
