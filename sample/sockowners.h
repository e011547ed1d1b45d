// Which processes have which sockets, and in which network namespace they are.
//
// A socket is new, or changes hands, only while a process runs. So the descriptors of processes that ran are looked at,
// and only when a socket is there whose owner is not known, or one moved though its owner did not run. Of the others a
// few are looked at in turn.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "sample/proc.h"
#include "sample/ran.h"
#include "sample/socktable.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

// The inode of a socket whose owners are searched for, and what the caller knows it by.
using WantedInode = std::pair<uint32_t, uint32_t>;

struct SocketHolder {
    uint32_t what = 0, pid = 0; // what: as in WantedInode
};

// A network namespace that processes are in.
struct ProcessSpace {
    uint32_t inode = 0;
    uint32_t pid = 0; // of one of them, the one that was seen first
};

class SocketOwners {
    struct Held {
        uint32_t descriptor = 0, inode = 0;
    };
    struct Process {
        uint32_t pid = 0; // 0: a free place
        uint64_t start = 0;
        uint32_t ran = 0;          // the last pass in which it ran
        uint32_t looked = 0;       // the last pass in which its descriptors were looked at
        uint32_t searched = 0;     // the last pass in which an owner was searched for in them
        uint32_t space = 0;        // inode of its network namespace; 0: not known
        uint8_t passes = 0;        // in which it ran, as far as they matter
        std::vector<Held> sockets; // by descriptor
    };
    Root root;
    HeldPlace proc;
    Listing listing;
    std::vector<Process> processes;
    std::vector<uint32_t> unused;
    std::unordered_map<uint32_t, uint32_t> places; // by pid
    std::vector<Held> found;                       // working space
    std::vector<WantedInode> wanted;               // with the places of the sockets
    std::vector<uint32_t> ownerless;               // sockets that are to be searched for
    std::vector<ProcessSpace> spaceList;           // by inode
    bool spacesChanged = true;
    bool isNamed(const Process& process) const;
    uint32_t pass = 0;
    size_t cursor = 0;  // the next process to be looked at in turn
    int64_t credit = 0; // links that may be read for that; below 0: too many were
    uint64_t descriptors = 0, forbidden = 0, compared = 0;
    static constexpr uint8_t Settling = 3; // passes in which a new process may still change its namespace

    static constexpr size_t Known = 8; // descriptors whose link is not read cost as much as one that is

    uint32_t placeOf(uint32_t pid, uint64_t start, SocketTable& table);
    void remove(uint32_t place, SocketTable& table);
    void readSpace(Process& process);
    void listSpaces();
    static uint32_t inodeOf(const HeldPlace& links, const char* name);
    size_t look(Process& process, SocketTable& table);
    void merge(Process& process, SocketTable& table);
    static void own(const Process& process, uint32_t inode, SocketTable& table);
    void disown(uint32_t inode, SocketTable& table);
    enum class Among { All, Ran };
    template <typename F> void eachHolder(const std::vector<WantedInode>& sorted, Among which, F&& f);
    void searchRan(std::span<const Ran> ran, SocketTable& table);
    bool isFound(const SocketTable& table, size_t& from);

public:
    static constexpr size_t Turn = 2048;   // passes in which all descriptors are looked at again
    static constexpr uint8_t Searches = 3; // for the owner of a socket
    explicit SocketOwners(const Root& where) : root(where) {}
    // Takes note of who ran (in the first pass all processes) and who is gone. To be called before the sockets are
    // asked for.
    void begin(std::span<const Ran> ran, std::span<const GoneProcess> gone, SocketTable& table);
    // The sockets of the processes that ran.
    void socketsOfRan(const SocketTable& table, std::vector<uint32_t>& sockets) const;
    // A socket has come.
    void add(uint32_t at) { ownerless.push_back(at); }
    // Finds the owners of sockets that have none, and of `acted`: sockets that moved by the hand of a process.
    void find(std::span<const Ran> ran, const std::vector<uint32_t>& acted, SocketTable& table);
    // All processes that have one of these sockets. One with several descriptors of a socket may be there as often.
    // Sorts the sockets, and goes through all descriptors once.
    void ownersOf(std::vector<WantedInode>& sockets, std::vector<SocketHolder>& holders);
    // The network namespaces of all processes, by inode.
    const std::vector<ProcessSpace>& spaces();
    // Whether the process is in it still.
    bool isThere(const ProcessSpace& space) const;
    uint64_t notAllowed() const { return forbidden; }
    // Descriptors and sockets that the searches have gone through since the start.
    uint64_t comparisons() const { return compared; }
};
