#include "base/figures.h"
#include "base/numbers.h"
#include "why/rules.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

bool isOn(const FileRow& file, const DiskRow& disk) {
    return file.disk.empty() ? file.device == disk.device : hasWord(file.disk, nameOf(disk));
}

namespace {
// The side of a disk's work that takes more time.
struct Side {
    bool writes = true;
    double bytes = 0, wait_ms = 0;
    double of(const std::optional<uint64_t>& read, const std::optional<uint64_t>& written) const {
        return number(writes ? written : read);
    }
};
} // namespace

static Side sideOf(const DiskRow& disk) {
    Side side;
    side.writes = number(disk.write_us) >= number(disk.read_us);
    side.bytes = side.of(disk.read_bytes, disk.write_bytes);
    const double requests = side.of(disk.reads, disk.writes);
    side.wait_ms = requests > 0 ? side.of(disk.read_us, disk.write_us) / 1000 / requests : 0;
    return side;
}

// --- Culprits

namespace {
// What one process may have moved on the disk, and how much of it is attributed to it.
struct Mover {
    const ProcRow* process = nullptr;
    double could = 0; // bytes
    double did = 0;
    const FileRow* file = nullptr; // that it moved most on this disk
};
using ProcessId = std::pair<uint64_t, uint64_t>;
// The bytes that a process moved in files: on this disk, and on any.
struct Files {
    double here = 0, all = 0;
    const FileRow* most = nullptr;
};
} // namespace

static double movedIn(const FileRow& file) {
    const double moved = number(file.forward) + number(file.backward);
    return std::max(moved, static_cast<double>(std::max<int64_t>(file.growth.value_or(0), 0)));
}

static std::map<ProcessId, Files> filesOf(const Interval& interval, const DiskRow& disk, const Side& side) {
    std::map<ProcessId, Files> all;
    for (auto& file : interval.files.rows) {
        const bool isHere = isOn(file, disk);
        if (file.disk.empty() && !isHere) continue; // on no disk, or on one that is not known
        const bool fits = file.flags.empty() || hasWord(file.flags, side.writes ? "write" : "read");
        if (!fits) continue;
        auto& files = all[{file.pid, file.start}];
        const double moved = std::max(movedIn(file), 1.0); // written without a movement counts a little
        files.all += moved;
        if (!isHere) continue;
        files.here += moved;
        if (!files.most || moved > movedIn(*files.most)) files.most = &file;
    }
    return all;
}

// Storage bytes of a process. Writes reach the disk up to half a minute later.
static double bytesOf(const ProcRow& process, const Side& side) {
    if (!side.writes) return number(process.read_bytes);
    const double cancelled = number(process.cancelled_bytes);
    return std::max(number(process.written_recently), std::max(number(process.write_bytes) - cancelled, 0.0));
}

static std::vector<Mover> moversOf(const Interval& interval, const DiskRow& disk, const Side& side) {
    const auto files = filesOf(interval, disk, side);
    std::vector<Mover> movers;
    for (auto& process : interval.processes.rows) {
        Mover mover{&process, bytesOf(process, side), 0, nullptr};
        if (mover.could <= 0) continue;
        const auto found = files.find({process.pid, process.start});
        if (found != files.end()) {
            if (found->second.here <= 0) continue; // its files are on other disks
            mover.could *= found->second.here / found->second.all;
            mover.file = found->second.most;
        }
        movers.push_back(mover);
    }
    return movers;
}

// Splits bytes among the movers for which `isOne` holds, by what they could have moved and have not been given yet.
// Returns what is left.
template <typename IsOne> static double split(std::vector<Mover>& movers, double bytes, const IsOne& isOne) {
    double could = 0;
    for (auto& mover : movers)
        if (isOne(mover)) could += std::max(mover.could - mover.did, 0.0);
    if (could <= 0) return bytes;
    const double given = std::min(bytes, could);
    for (auto& mover : movers)
        if (isOne(mover)) mover.did += std::max(mover.could - mover.did, 0.0) * given / could;
    return bytes - given;
}

// What each group did itself, without the groups below it, on one device.
static std::map<std::string_view, double> groupBytes(const Interval& interval, const DiskRow& disk, const Side& side) {
    std::map<std::string_view, double> own, all;
    for (auto& row : interval.cgroupDevices.rows)
        if (row.device == disk.device) all[row.path] = side.of(row.read_bytes, row.write_bytes);
    own = all;
    for (auto& [path, bytes] : all) {
        // The nearest group above that has a row.
        for (auto above = path; above.size() > 1;) {
            above = above.substr(0, std::max<size_t>(above.rfind('/'), 1));
            if (above == path) break;
            const auto found = own.find(above);
            if (found == own.end()) continue;
            found->second = std::max(found->second - bytes, 0.0);
            break;
        }
    }
    std::erase_if(own, [](auto& group) { return group.second <= 0; });
    return own;
}

// "fd 5 /srv/backup/db7.tar, +366M at 118.2G, vg_data/backup"
static std::string fileText(const FileRow& file) {
    std::string text = nameOf(file);
    const double moved = movedIn(file);
    if (moved > 0) join(text, "+" + sizeText(moved) + (file.position ? " at " + sizeText(number(file.position)) : ""));
    else if (!file.evidence.empty()) join(text, file.evidence);
    join(text, file.volume);
    return text;
}

static void addMover(const Interval& interval, const Mover& mover, const Side& side, Finding& finding) {
    auto& culprit = finding.culprits.emplace_back(culpritOf(*mover.process, mover.did));
    auto& row = culprit.row;
    row.mark = '~'; // storage bytes of a process name no disk
    const double now = side.writes ? number(mover.process->write_bytes) : number(mover.process->read_bytes);
    row.evidence = speedText(perSecond(now, interval.processes));
    if (now > mover.did * 1.05 + 1048576)
        join(row.evidence, "of it " + speedText(perSecond(now - mover.did, interval.processes)) + " still cached");
    if (!mover.file) return;
    row.descriptor = mover.file->descriptor, row.path = mover.file->path;
    join(row.evidence, fileText(*mover.file));
}

static void addGroup(const Interval& interval, std::string_view path, double bytes, Finding& finding) {
    auto& culprit = finding.culprits.emplace_back();
    culprit.row.name = culprit.row.cgroup = path;
    for (auto& group : interval.cgroups.rows)
        if (group.path == path && !group.name.empty()) culprit.row.name = group.name;
    culprit.row.mark = '=';
    culprit.row.evidence = speedText(perSecond(bytes, interval.cgroupDevices)) + ", by processes that are not known";
    culprit.amount = culprit.order = bytes;
}

static void addThrottling(const Interval& interval, Finding& finding) {
    const auto* memory = interval.memory.one();
    if (!memory || !memory->dirty || number(memory->dirty_limit) <= 0) return;
    finding.why.note = "dirty " + sizeText(number(memory->dirty)) + " of " + sizeText(number(memory->dirty_limit));
    // Halfway between the two limits the kernel begins to slow writers.
    const double slowed = (number(memory->dirty_background) + number(memory->dirty_limit)) / 2;
    if (number(memory->dirty) >= slowed) finding.why.note += ": writers are slowed from " + sizeText(slowed);
}

// The groups' own figures are exact. Within a group, and where there are none, storage bytes of the processes divide
// what was moved.
void addMovers(const Scene& scene, size_t at, Finding& finding) {
    const auto& interval = scene.interval;
    const auto& disk = interval.disks.rows[at];
    const auto side = sideOf(disk);
    auto movers = moversOf(interval, disk, side);
    finding.total = side.bytes;
    finding.why.total_unit = "B";
    finding.rest = side.writes ? "write-back of earlier writes and not accounted for" : "";
    const auto groups = groupBytes(interval, disk, side);
    double grouped = 0;
    for (auto& [path, bytes] : groups)
        if (path != "/") grouped += bytes;
    // The two counters are read one after the other, so the groups may be ahead.
    const double part = grouped > side.bytes ? side.bytes / grouped : 1;
    for (auto& group : groups) {
        if (group.first == "/") continue; // it has what no other group is charged with
        const auto isIn = [&](const Mover& mover) { return mover.process->cgroup == group.first; };
        const double nobodys = split(movers, group.second * part, isIn);
        if (nobodys > 0) addGroup(interval, group.first, nobodys, finding);
    }
    const auto isCharged = [&](const Mover& mover) {
        return mover.process->cgroup != "/" && groups.contains(mover.process->cgroup);
    };
    double left = split(movers, side.bytes - grouped * part, [&](auto& mover) { return !isCharged(mover); });
    // Without the memory controller a group's write-back is charged to nobody.
    if (left * 2 > side.bytes) left = split(movers, left, isCharged);
    for (auto& mover : movers)
        if (mover.did > 0) addMover(interval, mover, side, finding);
}

static void blameMovers(const Scene& scene, Finding& finding) {
    addMovers(scene, finding.at, finding);
    addBlocked(scene, finding);
    if (sideOf(scene.interval.disks.rows[finding.at]).writes) addThrottling(scene.interval, finding);
}

// --- Disks

bool endsRequests(const DiskRow& disk) {
    return number(disk.reads) + number(disk.writes) + number(disk.discards) + number(disk.flushes) > 0;
}

double queueOf(const Scene& scene, const DiskRow& disk) {
    const double mean = perSecond(number(disk.queue_us), scene.interval.disks) / 1e6;
    return endsRequests(disk) ? mean : std::max(mean, static_cast<double>(disk.in_flight));
}

std::string busyText(const Scene& scene, const DiskRow& disk) {
    const auto side = sideOf(disk);
    return "queue " + fixedText(queueOf(scene, disk), 1) + (side.writes ? ", writes wait " : ", reads wait ") +
           valueText(Rule::DiskWait, side.wait_ms);
}

static std::string figuresText(const Scene& scene, const Side& side, double queue, const std::optional<Stall>& stall,
                               std::string_view rule) {
    const char* const word = side.writes ? "writes" : "reads";
    std::string text;
    if (rule != textOf(Rule::DiskWait).name)
        text = std::string(word) + " wait " + valueText(Rule::DiskWait, side.wait_ms) + " (" +
               limitText(Rule::DiskWait, scene.limits[Rule::DiskWait]) + ")";
    join(text, "queue " + fixedText(queue, 1));
    if (stall)
        join(text, "io " + stallText(*stall) + " (" + limitText(Rule::DiskStall, scene.limits[Rule::DiskStall]) + ")",
             "; ");
    return text;
}

// Of a wait beyond its limit, what keeps it from being a finding is told instead.
static void approachDisk(Scene& scene, std::string_view name, double wait_ms, double queue,
                         const std::optional<Stall>& stall) {
    struct Way {
        Rule rule;
        double value, share;
    };
    const auto wayOf = [&](Rule rule, double value) { return Way{rule, value, scene.limits.nearness(rule, value)}; };
    const auto wait = wayOf(Rule::DiskWait, wait_ms);
    auto least = wayOf(Rule::DiskQueue, queue);
    if (stall) {
        const auto io = wayOf(Rule::DiskStall, stall->some);
        if (io.share < least.share) least = io;
    }
    const auto& told = scene.limits.isBeyond(Rule::DiskWait, wait_ms) ? least : wait;
    scene.approach(told.rule, "DISK", name, told.value, std::min(wait.share, least.share));
}

void judgeDisks(Scene& scene) {
    const auto& disks = scene.interval.disks;
    const auto& rows = disks.rows;
    // A kind without rows in a log has no time of its own; that of all disks together is the same.
    const double elapsed_us = static_cast<double>(std::max(disks.elapsed_us, scene.interval.disksTotal.elapsed_us));
    if (elapsed_us <= 0) return;
    const auto stall = stallOf(scene.interval, "io");
    const DiskRow* longest = nullptr;
    for (auto& disk : rows)
        if (isPhysical(disk) && (!longest || number(disk.queue_us) > number(longest->queue_us))) longest = &disk;
    for (size_t i = 0; i < rows.size(); i++) {
        const auto& disk = rows[i];
        if (!isPhysical(disk)) continue;
        const auto side = sideOf(disk);
        const double queue = number(disk.queue_us) / elapsed_us;
        const bool queued = scene.limits.isBeyond(Rule::DiskQueue, queue);
        const bool stalled = !stall || scene.limits.isBeyond(Rule::DiskStall, stall->some);
        approachDisk(scene, nameOf(disk), side.wait_ms, queue, stall);
        const bool waits = scene.limits.isBeyond(Rule::DiskWait, side.wait_ms) && queued && stalled;
        const bool full = stall && &disk == longest && queued && scene.limits.isBeyond(Rule::DiskFull, stall->full);
        if (!waits && !full) continue;
        const double part =
            longest && number(longest->queue_us) > 0 ? number(disk.queue_us) / number(longest->queue_us) : 1;
        const double severity = (stall ? stall->some : std::min(20 + queue, 60.0)) * part;
        auto& finding = waits ? scene.add(Rule::DiskWait, "DISK", nameOf(disk), side.wait_ms, severity)
                              : scene.add(Rule::DiskFull, "DISK", nameOf(disk), stall->full, severity);
        finding.why.figure = !waits ? "io stalled full" : side.writes ? "writes wait" : "reads wait";
        finding.why.text = figuresText(scene, side, queue, stall, finding.why.rule);
        finding.at = i;
        finding.blame = blameMovers;
    }
}
