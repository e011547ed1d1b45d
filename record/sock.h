// Sockets: their network namespaces (NETNS), how many there are in which state (SOCKS), those that accept connections
// (LISTEN), and single ones that moved something or hold something in a queue (SOCK).
#pragma once

#include "record/host.h"
#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// One network namespace. Counters of protocols are those of the kernel, for all its sockets together.
struct NetnsRow {
    uint64_t netns = 0;                         // its inode number
    std::string name;                           // or its container, pod or unit; empty: the one that wyrt runs in
    bool own = false;                           // the one that wyrt runs in
    bool known = false;                         // its sockets are known; otherwise only its counters are
    std::optional<uint64_t> sockets;            // TCP and UDP, at the end
    std::optional<uint64_t> orphans, time_wait; // TCP: without a process; ended, and kept for late packets
    std::optional<uint64_t> tcp_memory;         // bytes; of the machine
    std::optional<uint64_t> connects, accepts;  // connections that began, by who asked for them
    std::optional<uint64_t> failed, resets;     // attempts that failed; connections that were reset
    std::optional<uint64_t> segments_in, segments_out;
    std::optional<uint64_t> explained;          // of these, both ways: counted by a socket
    std::optional<uint64_t> retransmitted, bad; // segments sent again; received and damaged
    std::optional<uint64_t> resets_sent;
    std::optional<uint64_t> received, sent;          // bytes of TCP connections, of those that ended, too
    std::optional<uint64_t> ended;                   // TCP sockets that ended and were reported
    std::optional<uint64_t> reports_lost;            // how often reports of ended sockets were lost
    std::optional<uint64_t> overflows, drops;        // of listeners: full accept queues; connections dropped
    std::optional<uint64_t> cookies;                 // SYN cookies that were sent, as a queue was full
    std::optional<uint64_t> udp_in, udp_out;         // datagrams
    std::optional<uint64_t> udp_no_port, udp_errors; // without a receiver; damaged or without room
    std::optional<uint64_t> udp_full;                // of these: no room in the queue of a socket
    uint64_t moved = 0;                              // TCP sockets that moved something
    uint64_t asked = 0;                              // sockets that the kernel was asked for one by one
    bool listed = false;                             // it was asked for all of them
    std::optional<uint64_t> somaxconn;               // the most that a listener gets
    std::optional<uint64_t> left_out;                // of the own one: how many others are not looked at
};
inline constexpr auto NetnsKind = kind<NetnsRow>(
    "NETNS", id("netns", &NetnsRow::netns), label("name", &NetnsRow::name), level("own", "", &NetnsRow::own),
    level("known", "", &NetnsRow::known), level("sockets", "", &NetnsRow::sockets),
    level("orphans", "", &NetnsRow::orphans), level("time_wait", "", &NetnsRow::time_wait),
    level("tcp_memory", "B", &NetnsRow::tcp_memory), amount("connects", "", &NetnsRow::connects),
    amount("accepts", "", &NetnsRow::accepts), amount("failed", "", &NetnsRow::failed),
    amount("resets", "", &NetnsRow::resets), amount("segments_in", "", &NetnsRow::segments_in),
    amount("segments_out", "", &NetnsRow::segments_out), amount("explained", "", &NetnsRow::explained),
    amount("retransmitted", "", &NetnsRow::retransmitted), amount("bad", "", &NetnsRow::bad),
    amount("resets_sent", "", &NetnsRow::resets_sent), amount("received", "B", &NetnsRow::received),
    amount("sent", "B", &NetnsRow::sent), amount("ended", "", &NetnsRow::ended),
    amount("reports_lost", "", &NetnsRow::reports_lost), amount("overflows", "", &NetnsRow::overflows),
    amount("drops", "", &NetnsRow::drops), amount("cookies", "", &NetnsRow::cookies),
    amount("udp_in", "", &NetnsRow::udp_in), amount("udp_out", "", &NetnsRow::udp_out),
    amount("udp_no_port", "", &NetnsRow::udp_no_port), amount("udp_errors", "", &NetnsRow::udp_errors),
    amount("udp_full", "", &NetnsRow::udp_full), level("moved", "", &NetnsRow::moved),
    level("asked", "", &NetnsRow::asked), level("listed", "", &NetnsRow::listed),
    level("somaxconn", "", &NetnsRow::somaxconn), level("left_out", "", &NetnsRow::left_out));

// The sockets of one protocol and family in one namespace, by their state.
struct SocksRow {
    uint64_t netns = 0;
    std::string protocol; // tcp, udp, unix
    uint64_t family = 0;  // 4, 6; 0 of unix
    uint64_t sockets = 0; // TIME_WAIT not included
    uint64_t established = 0, syn_sent = 0, syn_received = 0, fin_wait1 = 0, fin_wait2 = 0, close_wait = 0,
             last_ack = 0, closing = 0, closed = 0, listening = 0;
    uint64_t queued = 0;                        // hold something in a queue
    uint64_t receive_queue = 0, send_queue = 0; // bytes of all of them
};
inline constexpr auto SocksKind = kind<SocksRow>(
    "SOCKS", id("netns", &SocksRow::netns), id("protocol", &SocksRow::protocol), id("family", &SocksRow::family),
    level("sockets", "", &SocksRow::sockets), level("established", "", &SocksRow::established),
    level("syn_sent", "", &SocksRow::syn_sent), level("syn_received", "", &SocksRow::syn_received),
    level("fin_wait1", "", &SocksRow::fin_wait1), level("fin_wait2", "", &SocksRow::fin_wait2),
    level("close_wait", "", &SocksRow::close_wait), level("last_ack", "", &SocksRow::last_ack),
    level("closing", "", &SocksRow::closing), level("closed", "", &SocksRow::closed),
    level("listening", "", &SocksRow::listening), level("queued", "", &SocksRow::queued),
    level("receive_queue", "B", &SocksRow::receive_queue), level("send_queue", "B", &SocksRow::send_queue));

// The processes that have a socket: one of them, the one that ran and, of several, the oldest.
struct SocketOwner {
    std::optional<uint64_t> pid, start; // as in PROC; none: not known, or no process has it
    std::string process;                // its name
    std::string user, unit, cgroup;
    uint64_t owners = 0; // processes that have it
    std::string mark;    // "=": they have it; "~": of an ended socket, whose the port was
};

// A TCP socket that accepts connections.
struct ListenRow : SocketOwner {
    uint64_t netns = 0, cookie = 0;
    uint64_t family = 4;
    std::string address; // empty: any
    uint64_t port = 0;
    std::string service;                     // of the port
    std::optional<uint64_t> backlog;         // connections that wait to be accepted
    std::optional<uint64_t> limit;           // the most of them; one more still fits
    std::optional<uint64_t> drops;           // connections and packets that it dropped
    std::optional<uint64_t> accepted;        // connections at its address and port that were seen to begin; of several
                                             // listeners there the first has them all
    std::optional<uint64_t> asleep, stopped; // of its owners, at the end
    std::optional<uint64_t> owners_cpu_us;
};
inline constexpr auto ListenKind = kind<ListenRow>(
    "LISTEN", id("netns", &ListenRow::netns), id("cookie", &ListenRow::cookie), level("family", "", &ListenRow::family),
    label("address", &ListenRow::address), level("port", "", &ListenRow::port), label("service", &ListenRow::service),
    level("backlog", "", &ListenRow::backlog), level("limit", "", &ListenRow::limit),
    amount("drops", "", &ListenRow::drops), amount("accepted", "", &ListenRow::accepted),
    level("pid", "", &ListenRow::pid), level("start", "", &ListenRow::start), label("process", &ListenRow::process),
    label("user", &ListenRow::user), label("unit", &ListenRow::unit), label("cgroup", &ListenRow::cgroup),
    level("owners", "", &ListenRow::owners), label("mark", &ListenRow::mark), level("asleep", "", &ListenRow::asleep),
    level("stopped", "", &ListenRow::stopped), amount("owners_cpu", "us", &ListenRow::owners_cpu_us));

// A connection, or a UDP socket.
struct SockRow : SocketOwner {
    uint64_t netns = 0, cookie = 0;
    std::string protocol; // tcp, udp
    uint64_t family = 4;
    std::string state;         // ESTABLISHED, CLOSE_WAIT ...; ENDED
    std::string address, peer; // empty: any, none
    uint64_t port = 0, peer_port = 0;
    std::string service, peer_service;      // of the ports
    std::optional<uint64_t> uid;            // of who made it
    bool born = false;                      // in the interval
    std::optional<uint64_t> received, sent; // bytes of TCP; sent: without what was sent again
    std::optional<uint64_t> segments_in, segments_out;
    std::optional<uint64_t> retransmitted, retransmitted_bytes; // segments, bytes
    std::optional<uint64_t> drops;                              // packets without room in its queue
    std::optional<uint64_t> receive_queue, send_queue;          // bytes
    std::optional<uint64_t> unread_us;                          // how long nobody has read of what is queued
    std::optional<uint64_t> rtt_us;                             // mean round trip
    std::optional<uint64_t> window;                             // congestion window, packets
    std::optional<uint64_t> backoff;                            // retransmissions in a row without an answer
};
inline constexpr auto SockKind = kind<SockRow>(
    "SOCK", id("netns", &SockRow::netns), id("cookie", &SockRow::cookie), label("protocol", &SockRow::protocol),
    level("family", "", &SockRow::family), label("state", &SockRow::state), label("address", &SockRow::address),
    level("port", "", &SockRow::port), label("peer", &SockRow::peer), level("peer_port", "", &SockRow::peer_port),
    label("service", &SockRow::service), label("peer_service", &SockRow::peer_service), level("uid", "", &SockRow::uid),
    level("born", "", &SockRow::born), amount("received", "B", &SockRow::received), amount("sent", "B", &SockRow::sent),
    amount("segments_in", "", &SockRow::segments_in), amount("segments_out", "", &SockRow::segments_out),
    amount("retransmitted", "", &SockRow::retransmitted),
    amount("retransmitted_bytes", "B", &SockRow::retransmitted_bytes), amount("drops", "", &SockRow::drops),
    level("receive_queue", "B", &SockRow::receive_queue), level("send_queue", "B", &SockRow::send_queue),
    level("unread", "us", &SockRow::unread_us), level("rtt", "us", &SockRow::rtt_us),
    level("window", "", &SockRow::window), level("backoff", "", &SockRow::backoff), level("pid", "", &SockRow::pid),
    level("start", "", &SockRow::start), label("process", &SockRow::process), label("user", &SockRow::user),
    label("unit", &SockRow::unit), label("cgroup", &SockRow::cgroup), level("owners", "", &SockRow::owners),
    label("mark", &SockRow::mark));

// Whether "80,443" has the number.
bool hasNumber(std::string_view list, uint64_t number);
// Whether a socket is one of those that were asked for, by port, part of an address and state.
bool wantsSocket(const ViewRow& asked, uint64_t port, uint64_t peer_port, std::string_view address,
                 std::string_view peer, std::string_view state);
