#include "sample/sockowners.h"

#include "base/numbers.h"
#include "sample/netns.h"

#include <algorithm>
#include <cerrno>

// --- Processes

uint32_t SocketOwners::placeOf(uint32_t pid, uint64_t start, SocketTable& table) {
    const auto had = places.find(pid);
    if (had != places.end()) {
        if (processes[had->second].start == start) return had->second;
        remove(had->second, table); // another process has its pid
    }
    uint32_t place = static_cast<uint32_t>(processes.size());
    if (unused.empty()) {
        processes.emplace_back();
    } else {
        place = unused.back();
        unused.pop_back();
    }
    processes[place].pid = pid, processes[place].start = start;
    places[pid] = place;
    return place;
}

void SocketOwners::remove(uint32_t place, SocketTable& table) {
    auto& process = processes[place];
    spacesChanged |= isNamed(process);
    for (const auto& held : process.sockets) disown(held.inode, table);
    descriptors -= process.sockets.size();
    places.erase(process.pid);
    process = Process();
    unused.push_back(place);
}

// Whether the list of namespaces has this process, or lacks its namespace.
bool SocketOwners::isNamed(const Process& process) const {
    if (process.space == 0) return false;
    const auto is = std::lower_bound(spaceList.begin(), spaceList.end(), process.space,
                                     [](auto& space, uint32_t inode) { return space.inode < inode; });
    return is == spaceList.end() || is->inode != process.space || is->pid == process.pid;
}

void SocketOwners::readSpace(Process& process) {
    const auto inode = netnsOf(proc, process.pid);
    if (inode == 0 && (errno == EACCES || errno == EPERM)) forbidden++;
    if (inode == process.space) return;
    spacesChanged |= isNamed(process);
    process.space = inode;
    spacesChanged |= isNamed(process);
}

void SocketOwners::listSpaces() {
    spacesChanged = false;
    compared += processes.size();
    std::map<uint32_t, uint32_t> pids;
    for (const auto& [inode, pid] : spaceList)
        if (const auto place = places.find(pid); place != places.end() && processes[place->second].space == inode)
            pids[inode] = pid;
    for (const auto& process : processes)
        if (process.pid && process.space) pids.try_emplace(process.space, process.pid);
    spaceList.clear();
    for (const auto& [inode, pid] : pids) spaceList.push_back({inode, pid});
}

bool SocketOwners::isThere(const ProcessSpace& space) const { return netnsOf(proc, space.pid) == space.inode; }

// The named processes are looked at each time: what is read through one that has left would be of another namespace.
const std::vector<ProcessSpace>& SocketOwners::spaces() {
    constexpr int MostRounds = 4; // in each, other processes are named
    if (spacesChanged) listSpaces();
    for (int round = 0; round < MostRounds; round++) {
        for (const auto& space : spaceList) readSpace(processes[places.at(space.pid)]);
        if (!spacesChanged) break;
        listSpaces();
    }
    return spaceList;
}

// --- Descriptors

// The inode of a socket; 0: it is something else.
uint32_t SocketOwners::inodeOf(const HeldPlace& links, const char* name) {
    char target[32];
    const auto size = readLink(links, name, target, sizeof target);
    std::string_view text(target, size < 0 ? 0 : static_cast<size_t>(size));
    uint32_t inode = 0;
    if (text.starts_with("socket:[") && text.ends_with("]")) toNumber(text.substr(8, text.size() - 9), inode);
    return inode;
}

void SocketOwners::own(const Process& process, uint32_t inode, SocketTable& table) {
    const auto at = table.findInode(inode);
    if (at == SocketTable::None) return;
    auto& socket = table.slots[at];
    if (socket.owner == process.pid) return;
    if (socket.owner == 0) socket.owner = process.pid;
    if (socket.owners < UINT16_MAX) socket.owners++;
}

// Another process may have it still: that is searched for.
void SocketOwners::disown(uint32_t inode, SocketTable& table) {
    const auto at = table.findInode(inode);
    if (at == SocketTable::None) return;
    table.slots[at].owner = 0, table.slots[at].owners = 0, table.slots[at].searched = 0;
    ownerless.push_back(at);
}

// A descriptor that had a socket which is still there is not read again: it would have to be closed and opened again
// for the same one. Returns how many links were read.
size_t SocketOwners::look(Process& process, SocketTable& table) {
    process.looked = pass;
    HeldDirectory directory;
    const auto path = std::to_string(process.pid) + "/fd";
    if (!directory.open(proc, path.c_str())) {
        if (errno == EACCES || errno == EPERM) forbidden++;
        return 0;
    }
    HeldPlace links;
    bool linksOpen = false;
    size_t reads = 0;
    found.clear();
    auto before = process.sockets.begin();
    if (listing.start(directory))
        for (Listing::Entry entry{}; listing.next(entry);) {
            uint32_t descriptor = 0;
            if (!toNumber(std::string_view(entry.name), descriptor)) continue;
            while (before != process.sockets.end() && before->descriptor < descriptor) ++before;
            const bool known = before != process.sockets.end() && before->descriptor == descriptor;
            if (known && table.findInode(before->inode) != SocketTable::None) {
                found.push_back(*before);
                continue;
            }
            if (!linksOpen) linksOpen = links.open(proc, path.c_str());
            if (!linksOpen) break;
            reads++;
            if (const auto inode = inodeOf(links, entry.name)) found.push_back({descriptor, inode});
        }
    const auto precedes = [](const Held& a, const Held& b) { return a.descriptor < b.descriptor; };
    if (!std::is_sorted(found.begin(), found.end(), precedes)) std::sort(found.begin(), found.end(), precedes);
    merge(process, table);
    return reads;
}

// What a process no longer has, and what it has now.
void SocketOwners::merge(Process& process, SocketTable& table) {
    auto now = found.begin();
    const auto isSame = [](const Held& a, const Held& b) { return a.descriptor == b.descriptor && a.inode == b.inode; };
    for (const auto& held : process.sockets) {
        for (; now != found.end() && now->descriptor < held.descriptor; ++now) own(process, now->inode, table);
        if (now != found.end() && isSame(*now, held)) ++now;
        else disown(held.inode, table);
    }
    for (; now != found.end(); ++now) own(process, now->inode, table);
    descriptors += found.size();
    descriptors -= process.sockets.size();
    process.sockets.assign(found.begin(), found.end());
}

// --- Who has what

// Whether all that are wanted have an owner. `from`: those before it had one when this was asked last; while
// descriptors are looked at, one can lose it again.
bool SocketOwners::isFound(const SocketTable& table, size_t& from) {
    const auto skip = [&](size_t at) {
        while (at < wanted.size() && table.slots[wanted[at].second].owner != 0) at++, compared++;
        return at;
    };
    from = skip(from);
    if (from == wanted.size()) from = skip(0);
    return from == wanted.size();
}

// Calls f(process, what it is wanted for) for each known descriptor of a wanted socket.
template <typename F> void SocketOwners::eachHolder(const std::vector<WantedInode>& sorted, Among which, F&& f) {
    if (sorted.empty()) return;
    for (const auto& process : processes) {
        if (process.pid == 0 || (which == Among::Ran && process.ran != pass)) continue;
        compared += process.sockets.size();
        for (const auto& held : process.sockets) {
            const auto at = std::lower_bound(sorted.begin(), sorted.end(), WantedInode(held.inode, 0));
            if (at != sorted.end() && at->first == held.inode) f(process, at->second);
        }
    }
}

// Among the descriptors of processes that ran, which are looked at again.
void SocketOwners::searchRan(std::span<const Ran> ran, SocketTable& table) {
    size_t ownedUpTo = 0;
    for (const auto& one : ran) {
        if (isFound(table, ownedUpTo)) return;
        const auto place = places.find(static_cast<uint32_t>(one.pid));
        // What was looked at in turn had sockets then that may have ended since.
        if (place == places.end() || processes[place->second].searched == pass) continue;
        processes[place->second].searched = pass;
        look(processes[place->second], table);
    }
}

void SocketOwners::begin(std::span<const Ran> ran, std::span<const GoneProcess> gone, SocketTable& table) {
    constexpr size_t MostFresh = 4096; // links of new processes that are read in a pass
    constexpr size_t LeastTurn = 4;
    if (pass++ == 0) proc.open(root.path("/proc").c_str());
    for (const auto& process : gone) {
        const auto place = places.find(static_cast<uint32_t>(process.pid));
        if (place != places.end() && processes[place->second].start == process.start) remove(place->second, table);
    }
    size_t fresh = 0;
    for (const auto& one : ran) {
        auto& process = processes[placeOf(static_cast<uint32_t>(one.pid), one.start, table)];
        process.ran = pass;
        if (one.fresh) process.passes = 0;
        if (process.passes >= Settling) continue;
        if (process.passes++ == 0 && (pass == 1 || fresh < MostFresh)) fresh += look(process, table) + 1;
        readSpace(process);
    }
    // In turn.
    if (pass > 1) credit = std::min<int64_t>(credit, 0) + static_cast<int64_t>(descriptors / Turn + LeastTurn);
    for (size_t visited = 0; credit > 0 && visited < processes.size(); visited++) {
        cursor = cursor + 1 < processes.size() ? cursor + 1 : 0;
        auto& process = processes[cursor];
        if (process.pid == 0 || process.looked == pass) continue;
        readSpace(process);
        credit -= static_cast<int64_t>(look(process, table) + 1 + process.sockets.size() / Known);
    }
}

void SocketOwners::socketsOfRan(const SocketTable& table, std::vector<uint32_t>& sockets) const {
    for (const auto& process : processes) {
        if (process.pid == 0 || process.ran != pass) continue;
        for (const auto& held : process.sockets)
            if (const auto at = table.findInode(held.inode); at != SocketTable::None) sockets.push_back(at);
    }
}

void SocketOwners::find(std::span<const Ran> ran, const std::vector<uint32_t>& acted, SocketTable& table) {
    wanted.clear();
    for (const auto at : ownerless) {
        auto& socket = table.slots[at];
        if (!socket.free && socket.inode && socket.owner == 0 && socket.searched < Searches)
            wanted.emplace_back(socket.inode, at);
    }
    // Somebody who ran must have done it.
    for (const auto at : acted) {
        auto& socket = table.slots[at];
        if (socket.free || socket.owner == 0) continue;
        const auto place = places.find(socket.owner);
        if (place != places.end() && processes[place->second].ran == pass) continue;
        socket.owner = 0, socket.owners = 0, socket.searched = 0;
        wanted.emplace_back(socket.inode, at);
    }
    ownerless.clear();
    if (wanted.empty()) return;
    std::sort(wanted.begin(), wanted.end());
    wanted.erase(std::unique(wanted.begin(), wanted.end()), wanted.end());
    const auto take = [&](const Process& process, uint32_t at) {
        if (table.slots[at].owner == 0) table.slots[at].owner = process.pid;
    };
    eachHolder(wanted, Among::Ran, take);
    searchRan(ran, table);
    eachHolder(wanted, Among::All, take);
    for (auto& [inode, at] : wanted) table.slots[at].owners = 0;
    eachHolder(wanted, Among::All, [&](const Process&, uint32_t at) {
        if (table.slots[at].owners < UINT16_MAX) table.slots[at].owners++;
    });
    for (auto& [inode, at] : wanted)
        if (table.slots[at].owner == 0 && ++table.slots[at].searched < Searches) ownerless.push_back(at);
}

void SocketOwners::ownersOf(std::vector<WantedInode>& sockets, std::vector<SocketHolder>& holders) {
    std::sort(sockets.begin(), sockets.end());
    eachHolder(sockets, Among::All,
               [&](const Process& process, uint32_t what) { holders.push_back({what, process.pid}); });
}
