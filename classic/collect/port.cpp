#include "classic/collect/port.h"

#include "base/door.h"
#include "base/output.h"
#include "base/words.h"
#include "classic/collect/messages.h"
#include "classic/collect/settings.h"
#include "classic/collect/slots.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <charconv>
#include <iterator>

static constexpr size_t LineLimit = 1024; // longer lines come in pieces
static constexpr size_t RowSize = 150;    // bytes of a row of TCP as the kernel pads it
static constexpr size_t MostOwners = 16;  // of one socket; the search ends there
static constexpr size_t MostText = 960;   // characters; the highest limit of an owner text

// --- Descriptors by inode

// The number of process rows. proccount also counts processes that found no room, so it can exceed procs.size().
static size_t rowsOf(const TProcTable& processes) {
    return std::min(processes.procs.size(), static_cast<size_t>(processes.proccount));
}

namespace {
// The descriptors of all processes by inode, so that finding the owners of one socket does not walk all descriptors.
// Owners are found in the order in which such a walk would find them.
class DescriptorIndex {
    struct Entry {
        int64_t inode;
        TOwner owner;
        uint32_t next; // of the same slot: position + 1, 0: none
    };
    std::vector<Entry> entries;
    std::vector<uint32_t> slots; // first entry of each: position + 1, 0: none
    int shift = 63;

    size_t slotOf(int64_t inode) const {
        constexpr uint64_t Golden = 0x9E3779B97F4A7C15; // spreads neighbouring numbers
        return static_cast<uint64_t>(inode) * Golden >> shift;
    }

public:
    void build(TProcTable& processes) {
        entries.clear();
        entries.reserve(processes.fds.size());
        slots.assign(std::bit_ceil(processes.fds.size() + 2), 0);
        shift = 64 - std::countr_zero(slots.size());
        // From the last to the first, because each new entry becomes the first of its slot.
        for (size_t p = rowsOf(processes); p-- > 0;) {
            const auto fds = processes.fdinfo(processes.procs[p]);
            for (size_t f = fds.size(); f-- > 0;) {
                if (fds[f].inode <= 0) continue;
                auto& first = slots[slotOf(fds[f].inode)];
                const TOwner owner{static_cast<int>(p), static_cast<int>(f)};
                entries.push_back({fds[f].inode, owner, first});
                first = static_cast<uint32_t>(entries.size());
            }
        }
    }
    // Adds at most `most` owners of the inode.
    void find(int64_t inode, size_t most, std::vector<TOwner>& owners) const {
        for (uint32_t at = slots[slotOf(inode)]; at && most > 0; at = entries[at - 1].next)
            if (entries[at - 1].inode == inode) owners.push_back(entries[at - 1].owner), most--;
    }
};

struct TPass {
    TPortTable& table;
    TProcTable* processes; // null: none to search
    size_t known;          // rows of the previous pass
    size_t count = 0;      // rows of this one so far
};
} // namespace

// --- Sockets that are still in the same row

static bool stillOwns(TProcTable& processes, const TOwner& owner, int64_t inode) {
    const auto p = static_cast<size_t>(owner.procindex), f = static_cast<size_t>(owner.fdindex);
    if (p >= rowsOf(processes)) return false;
    const auto fds = processes.fdinfo(processes.procs[p]);
    return f < fds.size() && fds[f].inode == inode;
}

static void sayReuse(const TPortInfo& row, const TProc& p) {
    say("++++ Reuse of previous inode info - %s:%d %s:%d %lld <-> %d %s\n", row.loc.c_str(), row.loc_port,
        row.rem.c_str(), row.rem_port, static_cast<long long>(row.inode), p.pid, p.cmd.c_str());
}

static void sayReset(const TPortInfo& row) {
    say("---- Reset inode info - %s:%d %s:%d %lld\n", row.loc.c_str(), row.loc_port, row.rem.c_str(), row.rem_port,
        static_cast<long long>(row.inode));
}

static bool allStillOwn(TProcTable& processes, std::span<const TOwner> owners, const TPortInfo& row) {
    for (auto& owner : owners) {
        const bool still = stillOwns(processes, owner, row.inode);
        if (netdebug && still) sayReuse(row, processes.procs[static_cast<size_t>(owner.procindex)]);
        if (netdebug && !still) sayReset(row);
        if (!still) return false;
    }
    return true;
}

// Copies a part of the previous pass's pool into this pass's.
template <typename Pool> static TRange moved(const Pool& from, TRange range, Pool& to) {
    const auto start = from.begin() + range.first;
    const TRange result{static_cast<uint32_t>(to.size()), range.count};
    to.insert(to.end(), start, start + range.count);
    return result;
}

// The owners found in the previous pass are kept while the kernel lists the same socket at the same position and all of
// them still hold it: that saves the search.
// Quirk: owners are positions in the process table, and their text is kept. When a process is gone and others that hold
// the socket moved up into its place, the text still names the process that is gone. Seen by tests/worlds/port-reuse.
// Quirk: a socket with all sixteen owners is searched for every time. Seen by tests/worlds/port-reuse.
static void judgeOwners(const TPass& pass, bool isKnown, int64_t inodeBefore, TPortInfo& row) {
    auto& t = pass.table;
    const bool valid = isKnown && row.inode == inodeBefore && row.owners.count < MostOwners && pass.processes;
    if (!valid && netdebug)
        say("==== Invalid previous inode info - cur inode : %lld, old inode : %lld, refcount :%d\n",
            static_cast<long long>(row.inode), static_cast<long long>(inodeBefore), row.refcount());
    const auto before = std::span<const TOwner>(t.ownersBefore).subspan(row.owners.first, row.owners.count);
    if (valid && allStillOwn(*pass.processes, before, row)) {
        row.owners = moved(t.ownersBefore, row.owners, t.owners);
        row.ref = moved(t.textsBefore, row.ref, t.texts);
    } else {
        row.owners = row.ref = {};
    }
}

// --- The two tables

static void addLine(TPass& pass, std::string_view line, char protocol) {
    auto& rows = pass.table.rows;
    if (pass.count == rows.size()) rows.emplace_back();
    auto& row = rows[pass.count];
    const int64_t inodeBefore = row.inode;
    if (!getportline(line, protocol, row)) return;
    if (protocol == 'T') pass.table.statuscount[row.status]++;
    judgeOwners(pass, pass.count < pass.known, inodeBefore, row);
    pass.count++;
}

static void addTable(TPass& pass, std::string_view text, char protocol) {
    if (pass.table.rows.empty()) pass.table.rows.reserve(text.size() / RowSize);
    Lines lines(text, LineLimit);
    std::string_view line;
    lines.next(line); // the names of the columns
    while (lines.next(line)) addLine(pass, line, protocol);
}

// --- Owner texts

static void addNumber(std::string& text, int number) {
    char digits[12];
    text.append(digits, std::to_chars(digits, std::end(digits), number).ptr);
}

// "name[pid/ppid]"
static void addOwner(std::string& text, std::string_view name, const TProc& p) {
    text.append(name).append("[");
    addNumber(text, p.pid);
    text.append("/");
    addNumber(text, p.ppid);
    text.append("]");
}

static void addCommand(std::string& text, std::string_view arg, const TProc& p, size_t limit) {
    if (arg.size() <= limit) return addOwner(text, arg, p);
    text.append(arg.substr(0, limit));
    addOwner(text, "...", p);
}

// Quirk: every owner that does not fit adds its own "...", as long as these fit. Seen by tests/worlds/port-owners.
static void addFurtherOwner(std::string& text, size_t start, const TProc& p, size_t limit) {
    constexpr size_t Numbers = 24, Dots = 5; // room for the two process ids, for the dots
    const size_t length = text.size() - start;
    if (length + p.cmd.size() + Numbers < limit) {
        text.append(" ");
        addOwner(text, p.cmd, p);
    } else if (length + Dots < limit) {
        text.append("...");
    }
}

// Names the owners of a socket: the command line of a single one, the command names of several. Without owners the row
// keeps its text.
static void setOwnerText(TPortTable& table, const TProcTable& processes, size_t limit, TPortInfo& row) {
    const auto owners = table.ownersOf(row);
    if (owners.empty()) return;
    auto& text = table.texts;
    const size_t start = text.size();
    for (auto& owner : owners) {
        const auto& p = processes.procs[static_cast<size_t>(owner.procindex)];
        if (owners.size() == 1 && processes.arglen(p) > 0) addCommand(text, processes.arg(p), p, limit);
        else if (text.size() == start) addOwner(text, p.cmd, p);
        else addFurtherOwner(text, start, p, limit);
    }
    row.ref = {static_cast<uint32_t>(start), static_cast<uint32_t>(text.size() - start)};
}

static void setText(TPortTable& table, std::string_view text, TPortInfo& row) {
    row.ref = {static_cast<uint32_t>(table.texts.size()), static_cast<uint32_t>(text.size())};
    table.texts.append(text);
}

// Searches for the owners of all sockets that have an inode and no owners yet.
static void findOwners(TPortTable& table, TProcTable* processes, size_t limit) {
    static DescriptorIndex index;
    bool built = false;
    for (auto& row : table.rows) {
        if (row.inode <= 0 || row.owners.count > 0) {
            if (netdebug == 1)
                say("---- Port inode mapping Skip [ inode : %lld, refcount : %d ]\n", static_cast<long long>(row.inode),
                    row.refcount());
        } else if (limit == 0 || !processes) {
            setText(table, "-f not used", row);
        } else {
            if (!built) index.build(*processes), built = true;
            row.owners.first = static_cast<uint32_t>(table.owners.size());
            index.find(row.inode, MostOwners, table.owners);
            row.owners.count = static_cast<uint32_t>(table.owners.size()) - row.owners.first;
            setOwnerText(table, *processes, limit, row);
        }
    }
}

// Stores in every owning descriptor the row of its socket.
// Quirk: a descriptor beyond the sixteenth of its socket gets no row. Seen by tests/worlds/port-listing.
static void linkDescriptors(const TPortTable& table, TProcTable& processes) {
    for (size_t i = 0; i < table.rows.size(); i++)
        for (auto& owner : table.ownersOf(table.rows[i])) {
            const auto fds = processes.fdinfo(processes.procs[static_cast<size_t>(owner.procindex)]);
            fds[static_cast<size_t>(owner.fdindex)].portinfo = static_cast<int32_t>(i);
        }
}

int getportrows(std::string_view tcp, std::string_view udp, TPortTable& table, TProcTable* processes, int reflen) {
    std::fill(std::begin(table.statuscount), std::end(table.statuscount), 0);
    std::swap(table.owners, table.ownersBefore);
    std::swap(table.texts, table.textsBefore);
    table.owners.clear();
    table.texts.clear();
    if (processes && processes->proccount < 1) processes = nullptr;
    TPass pass{table, processes, table.rows.size()};
    addTable(pass, tcp, 'T');
    addTable(pass, udp, 'U');
    table.rows.resize(pass.count);
    findOwners(table, processes, std::min(static_cast<size_t>(std::max(reflen, 0)), MostText));
    if (processes) linkDescriptors(table, *processes);
    return static_cast<int>(table.rows.size());
}

// Empty when the file cannot be opened.
static std::string_view textOf(const char* path, Contents& text) {
    return readFile(path, text) ? text.view() : std::string_view{};
}

int getportinfo(int CallingIndex, TPortTable& table, TProcTable* processes, int reflen) {
    static Contents tcp, udp;
    if (CallingIndex == 0) table.rows.clear();
    int count = 0;
    const bool enough = enoughMemory([&] {
        const auto tcpText = textOf("/proc/net/tcp", tcp), udpText = textOf("/proc/net/udp", udp); // in this order
        count = getportrows(tcpText, udpText, table, processes, reflen);
    });
    if (enough) return count;
    table = {};
    errno = ENOMEM; // what clearing the table may have changed
    sayNoMemory("port info");
    return 0;
}
