#include "base/figures.h"
#include "why/rules.h"

#include <algorithm>

// --- Culprits

// "anon+swap +51.0 MB/s, rss 51.2G, swap 4.9G, oom_score 1190"
static std::string memoryText(const Interval& interval, const ProcRow& process) {
    std::string text;
    if (process.growth.value_or(0) > 0)
        text = "anon+swap +" + speedText(perSecond(static_cast<double>(*process.growth), interval.processes));
    if (process.rss) join(text, "rss " + sizeText(number(process.rss)));
    if (number(process.swap) > 0) join(text, "swap " + sizeText(number(process.swap)));
    if (process.oom_score) join(text, "oom_score " + std::to_string(*process.oom_score));
    return text;
}

static double heldBy(const ProcRow& process) {
    return process.anonymous ? number(process.anonymous) + number(process.swap)
                             : number(process.rss) + number(process.swap);
}

// Below this nobody grows: what a machine at rest does anyway, bytes a second.
static constexpr double Growing = 262144;

// The processes that grow. When none does, those that hold most, which says less.
static void addHolders(const Scene& scene, std::string_view group, double held, Finding& finding) {
    const auto& interval = scene.interval;
    const auto& processes = interval.processes;
    const auto isIn = [&](const ProcRow& process) { return group.empty() || isBelow(process.cgroup, group); };
    double growth = 0;
    for (auto& process : processes.rows)
        if (isIn(process)) growth += static_cast<double>(std::max<int64_t>(process.growth.value_or(0), 0));
    const bool grows = perSecond(growth, processes) >= Growing;
    for (auto& process : processes.rows) {
        if (!isIn(process)) continue;
        const double amount =
            grows ? static_cast<double>(std::max<int64_t>(process.growth.value_or(0), 0)) : heldBy(process);
        if (amount <= 0) continue;
        auto& culprit = finding.culprits.emplace_back(culpritOf(process, amount));
        culprit.row.evidence = memoryText(interval, process);
        // A level that was not read in this interval says what grew, but not just when.
        const bool fresh = number(process.memory_age_us) <= static_cast<double>(processes.elapsed_us);
        if (!grows || !fresh) culprit.row.mark = '~';
    }
    finding.why.total_unit = "B";
    if (grows) finding.total = growth;
    else finding.total = held, finding.rest = "nobody grows; held by processes that did not run, or by the kernel";
}

static void addFaulting(const Scene& scene, std::string_view group, Finding& finding) {
    constexpr double Least = 1; // major faults in a second
    std::vector<Sufferer> faulting;
    for (auto& process : scene.interval.processes.rows) {
        const double rate = perSecond(number(process.major_faults), scene.interval.processes);
        if (rate >= Least && (group.empty() || isBelow(process.cgroup, group))) faulting.push_back({&process, rate});
    }
    addSufferers(finding, std::move(faulting), "major faults", "/s");
}

static void blameMachine(const Scene& scene, Finding& finding) {
    const auto& row = *scene.interval.memory.one();
    addHolders(scene, {}, number(row.total) - number(row.available), finding);
    if (!finding.rest.empty()) return addFaulting(scene, {}, finding);
    const double rate = perSecond(finding.total, scene.interval.processes);
    if (rate > 0 && row.available) {
        finding.why.ends = number(row.available) / rate, finding.why.end = "memory gone";
        if (number(row.swap_free) > 0)
            finding.why.note = "swap gone in " + spanText((number(row.available) + number(row.swap_free)) / rate);
    }
    addFaulting(scene, {}, finding);
    addBlocked(scene, finding);
}

static void blameGroup(const Scene& scene, Finding& finding) {
    const auto& group = scene.interval.cgroups.rows[finding.at];
    addHolders(scene, group.path, number(group.memory), finding);
    addFaulting(scene, group.path, finding);
}

// --- The machine

static std::string figuresText(const Scene& scene, const MemoryRow& row, const std::optional<Stall>& stall,
                               std::string_view rule) {
    const auto& rows = scene.interval.memory;
    std::string text;
    if (row.available && rule != textOf(Rule::MemoryAvailable).name)
        join(text, fixedText(percent(number(row.available), number(row.total)), 1) + "% available (" +
                       limitText(Rule::MemoryAvailable, scene.limits[Rule::MemoryAvailable]) + ")");
    if (stall && rule != textOf(Rule::MemoryStall).name)
        join(text, stallText(*stall) + " (" + limitText(Rule::MemoryStall, scene.limits[Rule::MemoryStall]) + ")");
    if (number(row.swap_total) > 0)
        join(text,
             "swap " + sizeText(number(row.swap_total) - number(row.swap_free)) + " of " +
                 sizeText(number(row.swap_total)) + ", out " + speedText(perSecond(number(row.swap_out), rows)) +
                 ", in " + speedText(perSecond(number(row.swap_in), rows)),
             "; ");
    const double direct = perSecond(number(row.direct_scanned), rows), again = perSecond(number(row.refaults), rows);
    if (direct >= 1) join(text, "direct reclaim " + countText(direct) + " pages/s");
    if (again >= 1) join(text, "refaults " + countText(again) + " pages/s");
    return text;
}

// Kills that no group explains: those of a group are counted for the machine, too.
static double ownKills(const Scene& scene, const MemoryRow& row) {
    double groups = 0;
    const auto& rows = scene.interval.cgroups.rows;
    for (auto& group : rows) {
        if (group.path == "/" || number(group.oom_kills) <= 0 || !group.memory_limit) continue;
        const bool above = std::any_of(rows.begin(), rows.end(), [&](auto& other) {
            return other.path != "/" && other.path != group.path && other.memory_limit && number(other.oom_kills) > 0 &&
                   isBelow(group.path, other.path);
        });
        if (!above) groups += number(group.oom_kills);
    }
    return std::max(number(row.oom_kills) - groups, 0.0);
}

void judgeMemory(Scene& scene) {
    const auto& rows = scene.interval.memory;
    const auto* row = rows.one();
    if (!row) return;
    const auto stall = stallOf(scene.interval, "memory");
    Finding* finding = nullptr;
    // The worst of several figures stands first.
    const auto add = [&](Rule rule, double value, double severity, const char* figure) {
        if (finding && finding->why.severity >= severity) return;
        if (finding) scene.findings.pop_back();
        finding = &scene.add(rule, "MEMORY", "", value, severity);
        finding->why.figure = figure;
        finding->blame = blameMachine;
    };
    if (row->available && number(row->total) > 0) {
        const double available = percent(number(row->available), number(row->total));
        if (scene.measure(Rule::MemoryAvailable, "MEMORY", "", available))
            add(Rule::MemoryAvailable, available, 70, "available");
    }
    if (const double kills = ownKills(scene, *row); scene.limits.isBeyond(Rule::MemoryKills, kills) && kills > 0)
        add(Rule::MemoryKills, kills, 100, "processes killed");
    if (stall) {
        // Who waits for memory often waits for a disk as well, because of the memory.
        const auto io = stallOf(scene.interval, "io");
        if (scene.measure(Rule::MemoryStall, "MEMORY", "", stall->some))
            add(Rule::MemoryStall, stall->some, std::max(stall->some, io ? io->some : 0) + 1, "stalled some");
    } else if (rows.elapsed_us > 0) {
        const std::pair<Rule, double> figures[] = {
            {Rule::MemorySwap,     perSecond(number(row->swap_in),        rows)},
            {Rule::MemoryReclaim,  perSecond(number(row->direct_scanned), rows)},
            {Rule::MemoryRefaults, perSecond(number(row->refaults),       rows)},
        };
        const char* const names[] = {"read back from swap", "pages of direct reclaim", "pages needed again"};
        for (size_t i = 0; i < std::size(figures); i++)
            if (scene.measure(figures[i].first, "MEMORY", "", figures[i].second))
                add(figures[i].first, figures[i].second, 50, names[i]);
    }
    if (finding) finding->why.text = figuresText(scene, *row, stall, finding->why.rule);
}

// --- Groups at their limits

void judgeGroupMemory(Scene& scene) {
    const auto& groups = scene.interval.cgroups;
    for (size_t i = 0; i < groups.rows.size(); i++) {
        const auto& group = groups.rows[i];
        if (!group.memory_limit || !group.memory || group.path == "/") continue;
        const double used = percent(number(group.memory), number(group.memory_limit));
        const double kills = number(group.oom_kills), hits = perSecond(number(group.memory_max), groups);
        const double stalled = percent(number(group.memory_some_us), static_cast<double>(groups.elapsed_us));
        const bool atLimit = scene.limits.isBeyond(Rule::GroupUsed, used) || hits > 0;
        Finding* finding = nullptr;
        if (kills > 0 && scene.limits.isBeyond(Rule::MemoryKills, kills)) {
            finding = &scene.add(Rule::MemoryKills, "MEMORY", group.path, kills, 99);
            finding->why.figure = "processes killed";
        } else if (group.memory_some_us && atLimit) {
            if (scene.measure(Rule::GroupStall, "MEMORY", group.path, stalled)) {
                finding = &scene.add(Rule::GroupStall, "MEMORY", group.path, stalled, stalled);
                finding->why.figure = "stalled some";
            }
        } else if (!group.memory_some_us && scene.measure(Rule::GroupHits, "MEMORY", group.path, hits)) {
            finding = &scene.add(Rule::GroupHits, "MEMORY", group.path, hits, 50);
            finding->why.figure = "met its limit";
        }
        if (!finding) continue;
        finding->at = i;
        finding->blame = blameGroup;
        finding->why.text = "memory " + sizeText(number(group.memory)) + " of " + sizeText(number(group.memory_limit));
        if (group.memory_max)
            join(finding->why.text, "met its limit " + countText(number(group.memory_max)) + " times");
    }
}
