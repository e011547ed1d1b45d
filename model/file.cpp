#include "model/file.h"

#include "parse/openfile.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

// --- Who moved it

namespace {
struct Process {
    const ProcRow* row = nullptr; // null: there is none
    uint64_t moved = 0;           // forward, of all its files: they cannot move more than it read and wrote
};
using Processes = std::unordered_map<uint64_t, Process>;

struct Mover {
    const FileHolder* holder;
    const FileReader* reader;
    Process* process;
    bool several; // others may have moved it as well
};
} // namespace

// What a process read and wrote, as far as the flags let it use this file; none: not known.
static std::optional<uint64_t> transferred(const FileReader& reader, uint32_t flags) {
    const bool writes = canWrite(flags), reads = canRead(flags);
    if ((reads && !reader.read) || (writes && !reader.written)) return {};
    return (reads ? *reader.read : 0) + (writes ? *reader.written : 0);
}

// Of the processes that have it and ran, the one that read and wrote most. Those that are known to have read and
// written nothing did not move it.
static Mover moverOf(const FileSample& now, const FileChange& change, Processes& processes) {
    Mover mover{nullptr, nullptr, nullptr, false};
    uint64_t most = 0;
    uint32_t possible = 0; // pid of one that may have moved it; the descriptors of a process stand beside each other
    for (uint32_t at = change.holders; at != 0; at = now.holders[at - 1].next) {
        const auto& holder = now.holders[at - 1];
        const auto& reader = now.readers[holder.reader];
        const auto bytes = transferred(reader, change.flags);
        if (bytes != 0U) {
            mover.several |= possible != 0 && possible != reader.pid;
            possible = reader.pid;
        }
        if (mover.holder && bytes.value_or(0) <= most) continue;
        mover.holder = &holder, mover.reader = &reader, most = bytes.value_or(0);
    }
    mover.process = &processes[mover.reader->pid];
    if (mover.process->row && mover.process->row->start != mover.reader->start) mover.process->row = nullptr;
    return mover;
}

// --- Rows

static FileRow rowOf(const FileChange& change) {
    FileRow row;
    row.inode = change.inode, row.mount_id = change.mount;
    row.path = change.path, row.deleted = change.deleted;
    row.flags = flagWords(change.flags);
    row.mount = change.point, row.type = change.type;
    if (change.major) row.device = std::to_string(*change.major) + ":" + std::to_string(change.minor.value_or(0));
    row.growth = change.growth;
    row.position = change.position, row.size = change.size;
    row.sharers = change.descriptors;
    if (change.how == FileChange::How::Written) return row;
    row.forward = change.position > change.before ? change.position - change.before : 0;
    row.backward = change.before > change.position ? change.before - change.position : 0;
    return row;
}

static std::string_view evidenceOf(const FileChange& change, bool several) {
    switch (change.how) {
    case FileChange::How::Written:
        return "written";
    case FileChange::How::Passed:
        return "passed";
    case FileChange::How::Opened:
        return several ? "shared" : "opened";
    case FileChange::How::Moved:
        break;
    }
    return several ? "shared" : "moved";
}

// Movement is exact when one process did it, by reading and writing: it read and wrote as much, and no file of it was
// wound back. A position that was moved otherwise tells what may have been read and written, not what was.
static bool isExact(const FileChange& change, const FileRow& row, const Mover& mover) {
    if (row.evidence != "moved" && row.evidence != "opened") return false;
    if (row.backward.value_or(0) > 0 || (mover.process->row && mover.process->row->io_shared)) return false;
    const auto own = transferred(*mover.reader, change.flags);
    return own && *row.forward <= *own &&
           mover.process->moved <= mover.reader->read.value_or(0) + mover.reader->written.value_or(0);
}

// Of a file that was opened in the interval it is not known where reading began: at the end of it, for one that only
// grows. Its process cannot have read and written more than it did.
static void limitOpened(const FileChange& change, const Mover& mover, FileRow& row) {
    if (change.how != FileChange::How::Opened) return;
    if (const auto own = transferred(*mover.reader, change.flags))
        row.forward = std::min(row.forward.value_or(0), *own);
}

static void setProcess(const Mover& mover, FileRow& row) {
    row.pid = mover.reader->pid, row.start = mover.reader->start, row.descriptor = mover.holder->descriptor;
    row.name = mover.reader->name;
    if (const auto* process = mover.process->row)
        row.name = process->name, row.user = process->user, row.unit = process->unit;
}

static void setRest(const FileSample& now, Rows<FileRow>& files) {
    if (now.rest == 0) return;
    auto& rest = files.rest.emplace();
    rest.forward = now.restForward, rest.backward = now.restBackward, rest.growth = now.restGrowth;
}

void fileRows(const FileSample& now, const Rows<ProcRow>& processes, Rows<FilesRow>& all, Rows<FileRow>& files) {
    if (!now.paired) return;
    all.sampled = files.sampled = true;
    all.elapsed_us = files.elapsed_us = now.at_us - now.before_us;
    all.rows.push_back({now.processes, now.descriptors, now.notAllowed, now.moved, now.written, now.known});
    setRest(now, files);
    if (now.changes.empty()) return;
    Processes known;
    for (auto& process : processes.rows) known[process.pid].row = &process;
    std::vector<Mover> movers;
    for (auto& change : now.changes) {
        movers.push_back(moverOf(now, change, known));
        auto row = rowOf(change);
        const auto& mover = movers.back();
        setProcess(mover, row);
        limitOpened(change, mover, row);
        row.evidence = evidenceOf(change, mover.several);
        mover.process->moved += row.forward.value_or(0);
        files.rows.push_back(std::move(row));
    }
    for (size_t i = 0; i < movers.size(); i++) {
        auto& row = files.rows[files.rows.size() - movers.size() + i];
        const auto& change = now.changes[i];
        const bool whole = change.how != FileChange::How::Opened || row.forward == change.position;
        row.mark = whole && isExact(change, row, movers[i]) ? "=" : "~";
    }
}
