#include "wyrt/folder.h"

#include "base/clock.h"
#include "base/door.h"
#include "base/filestatus.h"
#include "record/lognames.h"
#include "wyrt/tail.h"

#include <algorithm>
#include <cerrno>
#include <limits>

// --- What is in the folder

static bool isUnfinished(std::string_view name) { return name.ends_with(UnfinishedEnd); }

// Reads the folder again: the closed files, without the one that is being made of the file at hand.
void LogFolder::list() {
    Directory directory;
    if (!directory.open(dir.c_str())) return;
    std::vector<std::string> abandoned;
    closed.clear();
    Directory::Entry entry{};
    while (directory.next(entry)) {
        const std::string name = entry.name;
        const auto time = logNameTime(name);
        FileStatus status;
        if (!time || name == openName || !getFileStatus(directory, entry.name, status)) continue;
        if (!isUnfinished(name)) closed.push_back({name, *time, status.size});
        else if (!packer.isBusy()) abandoned.push_back(name);
    }
    for (const auto& name : abandoned) removeFile(path(name).c_str());
    sortByAge(closed, getRealtime());
    packer.knowOnly(closed);
}

void LogFolder::remove(const std::string& name) {
    if (packer.file() == name) packer.stop(), packing = 0;
    removeFile(path(name).c_str());
    std::erase_if(closed, [&](const KeptFile& one) { return one.name == name; });
}

// Cuts off what a killed recorder wrote in part. A file with nothing in it goes.
void LogFolder::finish(const std::string& name) {
    FileStatus status;
    if (mendTail(path(name)) == Tail::NoLog) return packer.refuse(name);
    if (getFileStatus(path(name).c_str(), status) && status.size == 0) remove(name);
}

// The file that was open last is the newest one, or the one that the link leads to when the clock was set meanwhile.
void LogFolder::finishLeftovers() {
    std::vector<std::string> names;
    char target[256];
    HeldPlace here;
    const auto length = here.open(dir.c_str()) ? readLink(here, CurrentLog, target, sizeof target) : -1;
    if (length > 0) names.emplace_back(target, static_cast<size_t>(length));
    for (const auto& one : closed)
        if (one.bytes == 0) names.push_back(one.name);
    const auto newest = std::find_if(closed.rbegin(), closed.rend(), [](auto& one) { return isPlainLog(one.name); });
    if (newest != closed.rend()) names.push_back(newest->name);
    for (const auto& name : names)
        if (isPlainLog(name) && name.find('/') == name.npos) finish(name);
}

// A small filesystem keeps less free.
static uint64_t usualFree(const std::string& dir) {
    constexpr uint64_t Usual = 1 << 30, Part = 10;
    TSpace space;
    if (getSpace(dir.c_str(), space) != SpaceAnswer::Ok) return 0;
    return std::min(Usual, space.blocks / Part * static_cast<uint64_t>(space.bsize));
}

bool LogFolder::open() {
    if (!makeFolder(dir.c_str()) || !lock.take(dir.c_str())) return false;
    if (!limits.keep_free) limits.keep_free = usualFree(dir);
    list();
    finishLeftovers();
    list();
    removeOld(getRealtime());
    return true;
}

// --- Room

uint64_t LogFolder::used() const {
    uint64_t sum = packing + (openName.empty() ? 0 : roomOf(file.size()));
    for (const auto& one : closed) sum += roomOf(one.bytes);
    return sum;
}

void LogFolder::removeOld(int64_t time_ms) {
    if (!clock.isTrusted(time_ms, getMonotonic() / 1000)) return;
    const auto files = closed;
    for (const auto& one : files)
        if (isOutdated(one, limits, time_ms)) remove(one.name);
}

Room LogFolder::room(uint64_t needed) const {
    TSpace space;
    const bool known = getSpace(dir.c_str(), space) == SpaceAnswer::Ok;
    const uint64_t free =
        known ? space.bavail * static_cast<uint64_t>(space.bsize) : std::numeric_limits<uint64_t>::max();
    return {used(), free - std::min(free, packing), needed}; // what is set aside is not taken yet
}

// Removes the oldest files until there is room for so many bytes. False: there is none, for now.
bool LogFolder::makeRoom(uint64_t needed) {
    if (fits(limits, room(needed))) return true;
    if (limits.max_use && needed > *limits.max_use) return false; // no removal would help
    list();                                                       // somebody else may have removed files
    for (size_t count = tooMany(closed, limits, room(needed)); count > 0 && !closed.empty(); count--)
        remove(closed.front().name);
    return fits(limits, room(needed));
}

// --- The open file

bool LogFolder::isGone() const {
    FileStatus status;
    return !openName.empty() && !getFileStatus(path(openName).c_str(), status) && errno == ENOENT;
}

// Somebody has removed the folder.
bool LogFolder::makeAgain() { return makeFolder(dir.c_str()) && lock.take(dir.c_str()); }

bool LogFolder::create(int64_t time_ms) {
    constexpr int MostCopies = 1000;
    FileStatus status;
    if (!getFileStatus(dir.c_str(), status) && !makeAgain()) return failure = errno, false;
    for (int copy = 1; copy <= MostCopies; copy++) {
        const auto name = logName(host, time_ms, copy);
        const bool packed =
            std::any_of(closed.begin(), closed.end(), [&](auto& one) { return one.name.starts_with(name); });
        if (packed) continue;
        if (file.open(path(name), OutFile::How::Create)) {
            openName = name;
            return true;
        }
        if (file.error() != EEXIST) break;
    }
    failure = file.error() ? file.error() : EEXIST;
    return false;
}

// The link changes in one step. A filesystem without links has none.
void LogFolder::linkCurrent() {
    const auto link = path(CurrentLog), fresh = link + std::string(UnfinishedEnd);
    removeFile(fresh.c_str());
    if (makeLink(openName.c_str(), fresh.c_str())) renameFile(fresh.c_str(), link.c_str());
}

// Closes the open file and begins the next one.
bool LogFolder::turn(int64_t time_ms) {
    sync();
    file.end();
    openName.clear();
    list();
    removeOld(time_ms);
    if (!create(time_ms)) return false;
    file.shareWithAdm();
    linkCurrent();
    syncFolder(dir.c_str());
    return true;
}

// Compresses the oldest closed file that is not compressed yet. Until it is done, room for half of it is set aside, and
// wyrtlog makes no more of it.
void LogFolder::pack() {
    if (packer.isBusy() && !packer.isDone()) return;
    if (packing) list();
    packing = 0;
    const auto next = std::find_if(closed.begin(), closed.end(),
                                   [&](auto& one) { return isPlainLog(one.name) && packer.takes(one.name); });
    if (next == closed.end()) return;
    const KeptFile chosen = *next;
    const uint64_t half = roomOf(chosen.bytes / 2);
    if (!makeRoom(half) ||
        std::none_of(closed.begin(), closed.end(), [&](auto& one) { return one.name == chosen.name; }))
        return;
    packer.start(dir, chosen.name);
    packing = packer.isBusy() ? half : 0;
}

Wrote LogFolder::write(const Piece& piece) {
    failure = 0;
    if (piece.begins && !turned && !(turned = turn(piece.time_ms))) return Wrote::Later;
    if (!makeRoom(roomOf(file.size() + piece.text.size()) - roomOf(file.size()))) {
        failure = ENOSPC;
        return Wrote::Later;
    }
    if (file.write(piece) != Wrote::All) {
        failure = file.error();
        file.cut(); // so that readers find whole intervals only
        return Wrote::Later;
    }
    turned = false;
    pack();
    return Wrote::All;
}

void LogFolder::end() {
    file.end();
    if (!packer.isBusy()) return;
    packer.stop();
    list(); // removes what it has made so far
}
