#include "base/figures.h"
#include "base/numbers.h"
#include "why/rules.h"
#include "why/waits.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

namespace {
using ProcessId = std::pair<uint64_t, uint64_t>;

// What some processes wait for: a disk; who serves a filesystem; or, where that is all that is known, a function of the
// kernel.
struct Cause {
    std::optional<size_t> disk; // its row
    std::string_view protocol, mount;
    std::string_view function;
    bool isKnown() const { return disk || !protocol.empty() || !function.empty(); }
    bool operator<(const Cause& other) const {
        const auto all = [](const Cause& c) { return std::tie(c.disk, c.protocol, c.mount, c.function); };
        return all(*this) < all(other);
    }
};

struct Waiting {
    double processes = 0;
    std::map<std::string_view, size_t> names, functions; // how many have each
};

class Blocked {
    const Scene& scene;
    const Interval& interval = scene.interval;
    std::map<ProcessId, const FileRow*> files; // that each process moved most
    std::optional<size_t> longest;             // the disk with the longest queue
    std::map<Cause, Waiting> causes;

    void findFiles();
    void findLongest();
    std::optional<size_t> diskOf(const FileRow* file) const;
    Cause causeOf(const ProcRow& process) const;
    void blameDisk(size_t disk, const Waiting& waiting, Finding& finding) const;
    void blameServer(const Cause& cause, const Waiting& waiting, Finding& finding) const;

public:
    explicit Blocked(const Scene& judged) : scene(judged) {
        findFiles();
        findLongest();
    }
    void blame(Finding& finding);
};
} // namespace

// --- What each waits for

void Blocked::findFiles() {
    const auto moved = [](const FileRow& file) { return number(file.forward) + number(file.backward); };
    for (auto& file : interval.files.rows) {
        auto& most = files[{file.pid, file.start}];
        if (!most || moved(file) > moved(*most)) most = &file;
    }
}

void Blocked::findLongest() {
    const auto& disks = interval.disks.rows;
    for (size_t i = 0; i < disks.size(); i++) {
        const double queue = isPhysical(disks[i]) ? queueOf(scene, disks[i]) : 0;
        if (queue > (longest ? queueOf(scene, disks[*longest]) : 0)) longest = i;
    }
}

std::optional<size_t> Blocked::diskOf(const FileRow* file) const {
    const auto& disks = interval.disks.rows;
    for (size_t i = 0; file && i < disks.size(); i++)
        if (isPhysical(disks[i]) && isOn(*file, disks[i])) return i;
    return {};
}

Cause Blocked::causeOf(const ProcRow& process) const {
    const auto found = files.find({process.pid, process.start});
    const auto* file = found == files.end() ? nullptr : found->second;
    const auto wait = waitIn(process.wait_channel);
    const auto served = file ? protocolOf(file->type) : std::string_view();
    if (wait.what == Wait::For::Server)
        return {{}, wait.protocol, served == wait.protocol ? std::string_view(file->mount) : "", {}};
    const bool perhaps = process.wait_channel.empty();
    if (wait.what == Wait::For::Disk || perhaps) {
        if (!served.empty()) return {{}, served, file->mount, {}};
        if (const auto disk = diskOf(file)) return {disk, {}, {}, {}};
        const double queue = longest ? queueOf(scene, interval.disks.rows[*longest]) : 0;
        if (longest && (!perhaps || scene.limits.isBeyond(Rule::DiskQueue, queue))) return {longest, {}, {}, {}};
    }
    return {{}, {}, {}, process.wait_channel};
}

// --- Culprits

// "8 wait for sdb in folio_wait_bit_common: postgres x7, rsync"
static std::string waitText(const Waiting& waiting, std::string_view what) {
    constexpr size_t Most = 3; // names
    const auto ordered = [](const std::map<std::string_view, size_t>& counts) {
        std::vector<std::pair<std::string_view, size_t>> order(counts.begin(), counts.end());
        std::stable_sort(order.begin(), order.end(), [](auto& a, auto& b) { return a.second > b.second; });
        if (order.size() > Most) order.resize(Most);
        return order;
    };
    std::string text = countText(waiting.processes) + (waiting.processes == 1 ? " waits" : " wait");
    if (!what.empty()) text.append(" for ").append(what);
    std::string functions, names;
    for (auto& [function, count] : ordered(waiting.functions)) join(functions, std::string(function));
    if (!functions.empty()) text += " in " + functions;
    for (auto& [name, count] : ordered(waiting.names))
        join(names, std::string(name) + (count > 1 ? " x" + countText(static_cast<double>(count)) : ""));
    return text + ": " + names;
}

static Culprit& addCulprit(std::string name, double processes, std::string evidence, Finding& finding) {
    auto& culprit = finding.culprits.emplace_back();
    culprit.row.name = std::move(name), culprit.row.mark = '~';
    culprit.row.evidence = std::move(evidence);
    culprit.amount = culprit.order = processes;
    return culprit;
}

// Those who keep the disk busy, by their parts of what it did; the disk itself for the rest, and while it ends nothing.
void Blocked::blameDisk(size_t at, const Waiting& waiting, Finding& finding) const {
    const auto& disk = interval.disks.rows[at];
    const auto text = waitText(waiting, nameOf(disk));
    if (!endsRequests(disk)) {
        const auto under_way = countText(static_cast<double>(disk.in_flight)) + " requests under way, none ended";
        addCulprit(nameOf(disk), waiting.processes, text + "; " + under_way, finding);
        return;
    }
    Finding part;
    addMovers(scene, at, part);
    double moved = 0, left = waiting.processes;
    for (auto& culprit : part.culprits) moved += culprit.amount;
    const double total = std::max(part.total, moved);
    for (auto& culprit : part.culprits) {
        if (!(culprit.amount > 0)) continue;
        culprit.amount = culprit.order = waiting.processes * culprit.amount / total;
        left -= culprit.amount;
        culprit.row.mark = '~';
        join(culprit.row.evidence, text, "; ");
        finding.culprits.push_back(std::move(culprit));
    }
    if (left > 0) addCulprit(nameOf(disk), left, text + "; " + busyText(scene, disk), finding);
}

void Blocked::blameServer(const Cause& cause, const Waiting& waiting, Finding& finding) const {
    const FsRow* fs = nullptr;
    size_t others = 0;
    for (auto& row : interval.filesystems.rows) {
        if (protocolOf(row.type) != cause.protocol) continue;
        if (row.point == cause.mount) {
            fs = &row, others = 0;
            break;
        }
        if (!fs || number(row.stuck_us) > number(fs->stuck_us)) fs = &row;
        others++;
    }
    // Of several that answer nobody knows which one it is.
    if (fs && others > 1 && !fs->stuck_us) fs = nullptr;
    auto& culprit = addCulprit(fs ? fs->source : "who serves " + std::string(cause.protocol), waiting.processes,
                               waitText(waiting, fs ? fs->point : cause.mount), finding);
    culprit.row.path = fs ? fs->point : cause.mount;
}

void Blocked::blame(Finding& finding) {
    for (auto& process : interval.processes.rows) {
        if (process.state != 'D') continue;
        const auto cause = causeOf(process);
        if (!cause.isKnown()) continue;
        auto& waiting = causes[cause];
        waiting.processes++;
        waiting.names[process.name]++;
        if (!process.wait_channel.empty() && cause.function.empty()) waiting.functions[process.wait_channel]++;
    }
    for (auto& [cause, waiting] : causes) {
        if (cause.disk) blameDisk(*cause.disk, waiting, finding);
        else if (!cause.protocol.empty()) blameServer(cause, waiting, finding);
        else addCulprit(std::string(cause.function), waiting.processes, waitText(waiting, {}), finding);
    }
}

// --- The rule

static void blameCauses(const Scene& scene, Finding& finding) {
    finding.total = finding.why.value.value_or(0);
    finding.rest = "what they wait for is not known";
    Blocked(scene).blame(finding);
    addBlocked(scene, finding);
}

void judgeBlocked(Scene& scene) {
    const auto* cpu = scene.interval.cpu.one();
    const auto* all = scene.interval.processesTotal.one();
    if (!(cpu && cpu->blocked) && !all) return;
    const double blocked = cpu && cpu->blocked ? number(cpu->blocked) : static_cast<double>(all->blocked);
    const bool explained = std::any_of(scene.findings.begin(), scene.findings.end(), [](auto& finding) {
        const auto& why = finding.why;
        return why.resource == "DISK" || why.resource == "MEMORY" || why.rule == textOf(Rule::FsStuck).name;
    });
    if (explained || !scene.limits.isBeyond(Rule::BlockedTasks, blocked)) return;
    auto& finding = scene.add(Rule::BlockedTasks, "BLOCKED", "", blocked, 40);
    finding.why.figure = "tasks blocked";
    finding.blame = blameCauses;
}
