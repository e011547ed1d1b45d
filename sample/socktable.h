// The TCP and UDP sockets that are known, found by what the kernel knows them by (their cookie) or by their inode.
#pragma once

#include "parse/sockdiag.h"

#include <cstdint>
#include <deque>
#include <vector>

#include <netinet/in.h>

// Since a socket was made.
struct SocketCounters {
    uint64_t received = 0, sent = 0, retransmitted_bytes = 0; // sent: without what was sent again
    uint32_t segments_in = 0, segments_out = 0, retransmitted = 0, drops = 0;
    bool operator==(const SocketCounters&) const = default;
};

struct Socket {
    uint64_t cookie = 0;
    SocketEnds ends;
    SocketCounters counters;
    int64_t unread_us = 0; // monotonic: since then nobody has read of what is queued; 0: nothing is queued
    uint32_t inode = 0, uid = 0;
    uint32_t receive_queue = 0, send_queue = 0;
    uint32_t rtt_us = 0, window = 0;
    uint32_t owner = 0;                                          // pid of a process that has it; 0: none is known
    uint32_t seen = 0;                                           // the last pass in which the kernel gave it
    uint32_t moved = 0;                                          // the last pass in which it is one of the changes
    uint32_t next = UINT32_MAX, nextInode = UINT32_MAX;          // in the same buckets
    uint32_t nextThere = UINT32_MAX, previousThere = UINT32_MAX; // of the same namespace and protocol
    uint16_t owners = 0;                                         // processes that have it
    uint16_t space = 0;                                          // its network namespace
    SocketState state = SocketState::Closed;
    uint8_t family = 0, protocol = 0, backoff = 0;
    uint8_t searched = 0; // how often its owner was searched for in vain
    bool hasBytes = false, free = false;
};

class SocketTable {
    std::vector<uint32_t> byCookie, byInode; // the first socket of each bucket
    std::vector<uint32_t> there;             // the first socket of each namespace and protocol
    std::vector<uint32_t> unused;
    size_t used = 0;
    uint64_t walked = 0;

    size_t cookieBucket(uint16_t space, uint64_t cookie) const;
    size_t inodeBucket(uint32_t inode) const { return inode * 0x9e3779b1U & (byInode.size() - 1); }
    static size_t groupOf(uint16_t space, uint8_t protocol) { return size_t{space} * 2 + (protocol == IPPROTO_UDP); }
    void link(uint32_t at);
    void linkThere(uint32_t at);
    void unlinkThere(uint32_t at);
    void unlink(std::vector<uint32_t>& buckets, size_t bucket, uint32_t Socket::* chain, uint32_t at);

public:
    static constexpr uint32_t None = UINT32_MAX;
    std::deque<Socket> slots; // some are free

    size_t size() const { return used; }
    // Their places; None: there is none.
    uint32_t find(uint16_t space, uint64_t cookie) const;
    uint32_t findInode(uint32_t inode) const;
    uint32_t add(const Socket& made);
    void setInode(uint32_t at, uint32_t inode);
    void remove(uint32_t at);
    // Calls f(place) for each socket of a protocol in a namespace. f may remove this socket.
    template <typename F> void each(uint16_t space, uint8_t protocol, F&& f) {
        const auto group = groupOf(space, protocol);
        for (uint32_t at = group < there.size() ? there[group] : None, next; at != None; at = next, walked++) {
            next = slots[at].nextThere;
            f(at);
        }
    }
    uint64_t visits() const { return walked; } // sockets that each() has given since the start
};
