#include "why/findings.h"

#include "why/rules.h"
#include "why/shares.h"

#include <algorithm>

// A storm of findings names nobody.
static constexpr size_t MostFindings = 20, MostNear = 4;

static void rank(Scene& scene) {
    auto& all = scene.findings;
    std::stable_sort(all.begin(), all.end(), [](auto& a, auto& b) { return a.why.severity > b.why.severity; });
    if (all.size() > MostFindings) all.resize(MostFindings);
    uint64_t place = 0;
    for (auto& finding : all) finding.why.rank = ++place;
}

// The nearest figure of each resource that no finding is about.
static void takeNearest(Scene& scene, std::vector<NearRow>& rows) {
    auto& all = scene.nearest;
    std::stable_sort(all.begin(), all.end(), [](auto& a, auto& b) { return a.share > b.share; });
    for (auto& row : all) {
        if (rows.size() == MostNear) break;
        if (row.share >= 100) continue;               // of a finding that found no room
        if (row.share < 1 && !rows.empty()) continue; // that is no news
        if (scene.has(row.resource, row.object)) continue;
        if (std::any_of(rows.begin(), rows.end(), [&](auto& r) { return r.resource == row.resource; })) continue;
        row.place = rows.size() + 1;
        rows.push_back(row);
    }
}

Findings findings(const Interval& interval, const Limits& limits) {
    Findings found;
    Scene scene{interval, limits, {}, {}};
    judgeCpu(scene);
    judgeQuotas(scene);
    judgeForks(scene);
    judgeMemory(scene);
    judgeGroupMemory(scene);
    judgeDisks(scene);
    judgeFilesystems(scene);
    judgeLinks(scene);
    judgeListeners(scene);
    judgeRetransmissions(scene);
    judgeUnread(scene);
    judgeLimits(scene);
    judgeBlocked(scene); // when nothing else tells why
    rank(scene);
    takeNearest(scene, found.nearest);
    for (auto& finding : scene.findings) {
        finding.blame(scene, finding);
        const size_t whoBefore = found.who.size();
        share(finding, found.who);
        for (size_t i = whoBefore; i < found.who.size(); i++) found.who[i].rank = finding.why.rank;
        uint64_t place = 0;
        for (auto& row : finding.sufferers) {
            row.rank = finding.why.rank, row.resource = finding.why.resource, row.object = finding.why.object;
            row.place = ++place;
            found.suffer.push_back(std::move(row));
        }
        found.why.push_back(std::move(finding.why));
    }
    return found;
}

void judge(Interval& interval, const Limits& limits) {
    auto found = findings(interval, limits);
    const auto put = [&](auto& rows, auto&& from) {
        rows.clear();
        rows.sampled = true;
        rows.elapsed_us = interval.elapsed_us;
        rows.rows = std::move(from);
    };
    put(interval.why, std::move(found.why));
    put(interval.who, std::move(found.who));
    put(interval.suffer, std::move(found.suffer));
    put(interval.nearest, std::move(found.nearest));
}

bool isJudged(const Interval& interval) { return !interval.why.rows.empty() || !interval.nearest.rows.empty(); }

// --- What findings name

static bool isObject(const Interval& interval, std::string_view resource, std::string_view object) {
    return std::any_of(interval.why.rows.begin(), interval.why.rows.end(),
                       [&](auto& row) { return row.resource == resource && row.object == object; });
}

Named::Named(const Interval& judged) : interval(judged) {
    for (auto& row : judged.who.rows)
        if (row.pid && row.start) processes.emplace_back(*row.pid, *row.start);
    for (auto& row : judged.suffer.rows)
        if (row.pid && row.start) processes.emplace_back(*row.pid, *row.start);
    std::sort(processes.begin(), processes.end());
}

static bool isGroup(const Interval& interval, std::string_view path) {
    return isObject(interval, "QUOTA", path) || isObject(interval, "MEMORY", path) ||
           std::any_of(interval.who.rows.begin(), interval.who.rows.end(),
                       [&](auto& row) { return row.cgroup == path; });
}

bool Named::has(const ProcRow& row) const {
    return std::binary_search(processes.begin(), processes.end(), std::pair(row.pid, row.start));
}

bool Named::has(const FileRow& row) const {
    return std::any_of(interval.who.rows.begin(), interval.who.rows.end(), [&](auto& who) {
        return who.pid == row.pid && who.start == row.start && who.descriptor == row.descriptor;
    });
}

bool Named::has(const ChurnRow& row) const {
    return std::binary_search(processes.begin(), processes.end(), std::pair(row.parent, row.parent_start));
}
bool Named::has(const CgroupRow& row) const { return isGroup(interval, row.path); }
bool Named::has(const CgroupIoRow& row) const { return isGroup(interval, row.path); }
bool Named::has(const DiskRow& row) const { return isObject(interval, "DISK", nameOf(row)); }
bool Named::has(const FsRow& row) const { return isObject(interval, "FS", row.point); }
bool Named::has(const LinkRow& row) const { return isObject(interval, "LINK", row.name); }
bool Named::has(const ListenRow& row) const { return isObject(interval, "LISTEN", objectOf(row)); }
// Those that nobody reads; a process that is named for other reasons can have thousands of connections.
bool Named::has(const SockRow& row) const {
    return row.unread_us.value_or(0) > 0 && isObject(interval, "SOCKET", nameOfOwner(row));
}
bool Named::has(const LimitRow& row) const { return isObject(interval, "LIMIT", row.name); }
