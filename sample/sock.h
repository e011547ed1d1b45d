// The sockets of every network namespace with a process.
//
// The kernel is not asked for all sockets while a namespace's counters of TCP stand still: only those that held
// something in a queue are asked for. When the counters moved a little, first those that moved before are asked for,
// then those of the processes that ran; when these explain all segments that the counters have, nothing else can have
// moved. Otherwise all are listed.
#pragma once

#include "base/held.h"
#include "base/helper.h"
#include "base/netlink.h"
#include "base/root.h"
#include "parse/netcounters.h"
#include "parse/services.h"
#include "sample/sockowners.h"
#include "sample/socktable.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct SpaceCounters {
    bool known = false;
    TcpCounters tcp;
    UdpCounters udp;
    std::optional<ListenCounters> listen; // read only when connections moved
    SocketLevels levels;
};

// Sockets of one protocol and family.
struct SocketCount {
    std::array<uint64_t, SocketStates + 1> states{};
    uint64_t sockets = 0, queued = 0, receive_queue = 0, send_queue = 0;
};
inline constexpr size_t SocketGroups = 5; // TCP of both families, UDP of both, those of the machine itself

struct SockSpace {
    uint32_t inode = 0, pid = 0; // pid: of one of its processes
    uint64_t cookie = 0;         // tells it from another one that has its inode number later; 0: not known
    bool own = false;
    bool free = false;    // a place for another one
    bool fresh = false;   // it was not there in the pass before
    bool paired = false;  // its counters were read in the pass before, too
    bool known = false;   // its sockets are known
    bool resumed = false; // in the pass before they were not
    SpaceCounters before, now;
    std::array<SocketCount, SocketGroups> counts;
    std::optional<uint64_t> somaxconn;

    // Of this pass.
    bool listed = false;
    uint64_t asked = 0, moved = 0, received = 0, sent = 0, explained = 0, ended = 0;
    uint64_t ahead = 0;           // segments that sockets have counted after the counters of the namespace were read
    std::optional<uint64_t> lost; // how often reports of ended sockets were lost; none: there are no reports
};

struct SocketChange {
    SocketCounters before;
    uint32_t socket = 0;
    bool born = false;
};

// A TCP socket that ended, with its last counters.
struct EndedSocket {
    Socket socket;
    SocketCounters before;
    bool born = false;     // since the pass before
    bool inferred = false; // its owner
};

// Local ports of the connections to one peer.
struct PortUse {
    SocketEnds peer; // its address and port, as peer and peer_port
    uint8_t family = 0;
    uint64_t ports = 0;
};

struct SocketListener {
    uint32_t socket = 0;
    uint32_t drops = 0;           // in this pass
    std::vector<uint32_t> owners; // pids; of listeners in trouble, and of all in the first passes
};

struct SockSample {
    int64_t at_us = 0, before_us = 0; // monotonic, of this pass and of the last one
    bool paired = false;              // this was not the first pass
    uint32_t pass = 0;
    std::vector<SockSpace> spaces;
    uint64_t leftOut = 0; // namespaces that there is no room for
    SocketTable table;
    std::vector<SocketChange> changes;
    std::vector<EndedSocket> ended;
    std::vector<uint32_t> queued; // sockets with something in a queue, listeners included
    std::vector<SocketListener> listeners;
    std::optional<PortUse> ports; // the peer with most of the local ports
    Services services;
    uint64_t portRange = 0; // how many local ports there are; 0: not known
};

class SockSampler {
    Root root;
    Helper& helper;
    Netlink questions, events;
    HeldFile snmp, snmp6, netstat, sockstat, sockstat6, somaxconn, portRange, reusePorts;
    SocketOwners owners;
    Contents text, piece;
    SockSample* now = nullptr;        // the one that is being made
    std::vector<uint32_t> acted, hot; // sockets that a process moved; those that moved in the last pass
    std::vector<uint32_t> wanted;     // working space
    std::string requests;             // working space
    std::vector<InetSocket> reports;  // of ended sockets, since the last pass
    bool reportsFull = false;         // more came than are kept
    uint64_t overruns = 0;
    int64_t lookEvery = 0, lookAt = INT64_MAX; // for reports between two passes: microseconds; monotonic
    bool reported = false;                     // the kernel reports ended sockets
    bool answers = true;                       // the kernel answers
    uint64_t forbidden = 0;
    // Own namespace: the segments before and after the last whole list, and what the sockets explained since.
    uint64_t listedBefore = 0, listedAfter = 0, explainedSince = 0;
    unsigned uncertain = 0, unixAge = 0;
    uint64_t unixUsed = 0;
    // Which local ports of connections in TIME_WAIT a new connection may have: tcp_tw_reuse.
    enum class Reused { None, All, Loopback };
    uint16_t firstPort = 0, lastPort = 0;
    Reused reused = Reused::None;
    int64_t portsAt = 0;                              // when they were counted
    std::unordered_map<uint64_t, uint32_t> clients;   // who talked to a peer, by a digest of its address and port
    std::unordered_map<uint16_t, uint32_t> acceptors; // who has a listener of the own namespace, by its port
    struct Asking {
        uint16_t space = 0;
        Helper::Ticket ticket = 0;
        bool tcp = false, udp = false; // all of these were asked for
    };
    std::vector<Asking> asking;
    bool goesOn = false; // a piece of an answer has come
    // Inodes of other namespaces: those without an answer in time; the one that the next pass begins with; one that did
    // not answer though it was asked first.
    std::vector<uint32_t> unanswered;
    uint32_t nextFirst = 0, slowest = 0;
    // Other namespaces: their places in the sample, places that are free, and sockets with something in a queue.
    std::unordered_map<uint32_t, uint16_t> places; // by inode
    std::set<uint16_t> unusedPlaces;
    struct QueuedThere {
        uint16_t space = 0;
        uint32_t socket = 0;
    };
    std::vector<QueuedThere> queuedThere; // by namespace
    uint64_t compared = 0;

    // --- Counters
    bool readCounters(SockSpace& space);
    void readSlow(SockSpace& space);
    std::string_view readOf(const SockSpace& space, HeldFile& held, const char* name);

    // --- Sockets
    static size_t groupOf(uint8_t protocol, uint8_t family);
    void count(const Socket& socket, int by);
    void readPortLimits();
    void eachWaiting(const std::function<void(const SocketEnds&, uint8_t family)>& hold);
    void countPorts();
    void take(uint16_t space, uint8_t protocol, std::string_view messages);
    void takeAll(uint16_t space, std::string_view messages);
    void update(uint16_t space, uint8_t protocol, const InetSocket& from);
    void setLevels(Socket& socket, const InetSocket& from) const;
    void note(uint32_t at, const SocketCounters& before, bool born);
    void drop(uint32_t at);
    void sweep(uint16_t space, uint8_t protocol);
    void takeReports();
    void planLooks(int64_t elapsed_us, bool lost);
    void takeEvents();
    void end(const InetSocket& from);
    uint32_t ownerOfEnded(const Socket& socket) const;

    // --- Questions
    Asked list(uint16_t space, uint8_t protocol, uint8_t family, uint32_t states);
    bool listAll(uint16_t space, uint8_t protocol);
    void askFor(const std::vector<uint32_t>& sockets);
    void queuedOf(uint16_t space, uint8_t protocol, std::vector<uint32_t>& sockets);
    void listUnix(SockSpace& own);
    bool isExplained(uint64_t segments);
    void sampleTcp(SockSpace& own);
    bool askSome(const SockSpace& own);
    void sampleUdp(SockSpace& own);
    void sampleOwn();
    uint16_t spaceOf(uint32_t inode);
    void sampleOthers();
    void gatherQueued();
    void askOther(uint16_t at);
    void awaitOthers();
    void takeOthers();
    void chooseFirst();
    void sampleOther(const ProcessSpace& there);
    void dropSockets(uint16_t at);
    void removeSpace(uint16_t at);
    void identify(uint16_t at, uint64_t cookie);
    void findListenerOwners();
    void finish(std::span<const Ran> ran);

public:
    static constexpr size_t Share = 6;             // at most one of so many sockets is asked for by itself
    static constexpr unsigned MostUncertain = 8;   // passes until all are listed, when segments moved meanwhile
    static constexpr unsigned UnixTurn = 64;       // passes until the machine's own sockets are counted again
    static constexpr size_t MostSpaces = 1024;     // network namespaces, the own one included
    static constexpr size_t MostReports = 1 << 18; // of ended sockets between two passes: 42 MB
    SockSampler(const Root& where, Helper& asked);
    // `ran`: the processes that ran since the pass before; in the first pass all of them. The same sample each time: it
    // keeps the sockets.
    void sample(std::span<const Ran> ran, std::span<const GoneProcess> gone, SockSample& to);
    // Between two samples: takes reports of ended sockets, which may not find room until the next one.
    int64_t nextLook() const { return lookAt; } // monotonic; INT64_MAX: there are no reports
    void look();
    uint64_t notAllowed() const { return forbidden + owners.notAllowed() + text.denied; }
    // Descriptors and sockets that were gone through since the start, besides what the kernel has given.
    uint64_t comparisons() const { return compared + owners.comparisons(); }
};
