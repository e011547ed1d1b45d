// Netlink sockets: questions to the kernel (RTNETLINK, SOCK_DIAG, families of generic netlink) and its news (links,
// addresses, uevents, tasks that end).
// parse/ takes the messages apart.
#pragma once

#include "base/door.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <linux/genetlink.h>
#include <linux/netlink.h>

// A request for one object: SOCK_DIAG_BY_FAMILY with an inet_diag_req_v2 that names a socket.
template <typename Body> std::string singleRequest(uint16_t type, const Body& body, uint16_t flags = 0) {
    struct {
        nlmsghdr header;
        Body body;
    } request{};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof body);
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    request.body = body;
    return {reinterpret_cast<const char*>(&request), request.header.nlmsg_len};
}
// A request for all objects of a type: RTM_GETLINK with an ifinfomsg, SOCK_DIAG_BY_FAMILY with an inet_diag_req_v2.
template <typename Body> std::string dumpRequest(uint16_t type, const Body& body) {
    return singleRequest(type, body, NLM_F_DUMP);
}

// A request of generic netlink with one attribute. A command that has no answer of its own must be acknowledged.
inline std::string genericRequest(uint16_t family, uint8_t command, bool acknowledged, uint16_t attribute,
                                  std::string_view value) {
    struct {
        nlmsghdr header;
        genlmsghdr generic;
        nlattr attribute;
    } request{};
    const size_t length = NLA_HDRLEN + value.size();
    request.header.nlmsg_len = static_cast<uint32_t>(NLMSG_LENGTH(GENL_HDRLEN) + NLA_ALIGN(length));
    request.header.nlmsg_type = family;
    request.header.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | (acknowledged ? NLM_F_ACK : 0));
    request.generic.cmd = command;
    request.generic.version = 1;
    request.attribute.nla_len = static_cast<uint16_t>(length);
    request.attribute.nla_type = attribute;
    std::string bytes(reinterpret_cast<const char*>(&request), sizeof request);
    bytes.append(value).resize(request.header.nlmsg_len);
    return bytes;
}

enum class Asked {
    Whole,       // the answer is complete
    Interrupted, // the objects changed meanwhile: entries may be missing or appear twice
    Failed,      // errno tells why
};

// A socket either asks or listens: one with groups is for news only. In generic netlink a socket can ask for news of
// its own; from then on it is for news only.
class Netlink {
    int fd = -1;
    int protocol = 0;
    uint32_t sequence = 0;
    uint64_t lost = 0;

public:
    Netlink() = default;
    Netlink(Netlink&& other) noexcept { *this = std::move(other); }
    Netlink& operator=(Netlink&& other) noexcept {
        std::swap(fd, other.fd);
        std::swap(protocol, other.protocol);
        std::swap(sequence, other.sequence);
        std::swap(lost, other.lost);
        return *this;
    }
    ~Netlink() { close(); }
    // protocol: NETLINK_ROUTE, NETLINK_SOCK_DIAG, NETLINK_KOBJECT_UEVENT, NETLINK_GENERIC. groups: a bit each
    // (RTMGRP_LINK; 1 for the kernel's own uevents). bytes: the room for news that nobody has taken yet, as much of it
    // as rights allow; 0: the system's default.
    bool open(int protocol, uint32_t groups = 0, int bytes = 0);
    bool isOpen() const { return fd >= 0; }
    void close();
    // Sends a request (its sequence number is set here) and collects the messages of the answer, one after the other,
    // without the one that ends it. More than `most` bytes fail with EMSGSIZE, no answer within a second with EAGAIN.
    Asked ask(std::string& request, Contents& answer, size_t most = size_t{64} << 20);
    // The same for an answer that is too long to be kept: each(messages) gets it piece by piece.
    template <typename F> Asked askEach(std::string& request, Contents& piece, F&& each) {
        if (!begin(request)) return Asked::Failed;
        for (bool interrupted = false;;) {
            const auto part = next(piece);
            if (part.failed) return Asked::Failed;
            interrupted |= part.interrupted;
            each(piece.view());
            if (part.last) return interrupted ? Asked::Interrupted : Asked::Whole;
        }
    }
    // Sends several requests for one object each, which stand one after the other, and collects the answers. What an
    // object is not there for has no answer. At most MostAtOnce requests, so that all answers find room.
    static constexpr size_t MostAtOnce = 32;
    Asked askMany(std::string& requests, Contents& answers);
    // The next piece of news from the kernel: one or several messages, or one uevent (strings that end in NUL, the
    // first ACTION@PATH). Does not wait; false: there is none. Messages from other senders are dropped.
    bool take(Contents& news);
    // The room for news that was given, in bytes of the kernel: each piece takes some 1 KiB more than it has.
    size_t room() const;
    // How often news was lost because it was not read in time. When this has grown, read again what the news is about.
    uint64_t overruns() const { return lost; }
    int handle() const { return fd; } // to be watched by waitUntil

private:
    struct Part {
        bool failed = false, last = false, interrupted = false;
    };
    bool begin(std::string& request);
    Part next(Contents& piece);
};
