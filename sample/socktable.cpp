#include "sample/socktable.h"

#include <algorithm>

size_t SocketTable::cookieBucket(uint16_t space, uint64_t cookie) const {
    const uint64_t mixed = (cookie ^ uint64_t{space} << 48) * 0x9e3779b97f4a7c15;
    return static_cast<size_t>(mixed >> 24) & (byCookie.size() - 1);
}

uint32_t SocketTable::find(uint16_t space, uint64_t cookie) const {
    if (byCookie.empty()) return None;
    uint32_t at = byCookie[cookieBucket(space, cookie)];
    while (at != None && (slots[at].cookie != cookie || slots[at].space != space)) at = slots[at].next;
    return at;
}

uint32_t SocketTable::findInode(uint32_t inode) const {
    if (byInode.empty() || inode == 0) return None;
    uint32_t at = byInode[inodeBucket(inode)];
    while (at != None && slots[at].inode != inode) at = slots[at].nextInode;
    return at;
}

void SocketTable::link(uint32_t at) {
    auto& socket = slots[at];
    auto& first = byCookie[cookieBucket(socket.space, socket.cookie)];
    socket.next = first, first = at;
    socket.nextInode = None;
    if (socket.inode == 0) return;
    auto& firstInode = byInode[inodeBucket(socket.inode)];
    socket.nextInode = firstInode, firstInode = at;
}

void SocketTable::unlink(std::vector<uint32_t>& buckets, size_t bucket, uint32_t Socket::* chain, uint32_t at) {
    auto* place = &buckets[bucket];
    while (*place != None && *place != at) place = &(slots[*place].*chain);
    if (*place == at) *place = slots[at].*chain;
}

void SocketTable::linkThere(uint32_t at) {
    auto& socket = slots[at];
    const auto group = groupOf(socket.space, socket.protocol);
    if (group >= there.size()) there.resize(group + 1, None);
    socket.previousThere = None, socket.nextThere = there[group];
    if (socket.nextThere != None) slots[socket.nextThere].previousThere = at;
    there[group] = at;
}

void SocketTable::unlinkThere(uint32_t at) {
    const auto& socket = slots[at];
    auto& before = socket.previousThere == None ? there[groupOf(socket.space, socket.protocol)]
                                                : slots[socket.previousThere].nextThere;
    before = socket.nextThere;
    if (socket.nextThere != None) slots[socket.nextThere].previousThere = socket.previousThere;
}

uint32_t SocketTable::add(const Socket& made) {
    constexpr size_t FirstBuckets = 256;
    uint32_t at = static_cast<uint32_t>(slots.size());
    if (unused.empty()) {
        slots.push_back(made);
    } else {
        at = unused.back();
        unused.pop_back();
        slots[at] = made;
    }
    if (++used > byCookie.size()) {
        byCookie.assign(std::max(FirstBuckets, byCookie.size() * 2), None);
        byInode.assign(byCookie.size(), None);
        for (uint32_t i = 0; i < slots.size(); i++)
            if (!slots[i].free) link(i);
    } else {
        link(at);
    }
    linkThere(at);
    return at;
}

void SocketTable::setInode(uint32_t at, uint32_t inode) {
    auto& socket = slots[at];
    if (socket.inode == inode) return;
    if (socket.inode) unlink(byInode, inodeBucket(socket.inode), &Socket::nextInode, at);
    socket.inode = inode;
    if (inode == 0) return;
    auto& first = byInode[inodeBucket(inode)];
    socket.nextInode = first, first = at;
}

void SocketTable::remove(uint32_t at) {
    auto& socket = slots[at];
    if (socket.inode) unlink(byInode, inodeBucket(socket.inode), &Socket::nextInode, at);
    unlink(byCookie, cookieBucket(socket.space, socket.cookie), &Socket::next, at);
    unlinkThere(at);
    socket.free = true;
    unused.push_back(at);
    used--;
}
