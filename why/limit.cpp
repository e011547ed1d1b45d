#include "base/figures.h"
#include "why/rules.h"

#include <algorithm>
#include <map>
#include <utility>

// --- Culprits

// The groups at the lower ends of the tree have tasks; those above them count theirs again.
static void addGroups(const Interval& interval, Finding& finding) {
    const auto& rows = interval.cgroups.rows;
    std::vector<std::string_view> paths;
    for (auto& group : rows) paths.push_back(group.path);
    std::sort(paths.begin(), paths.end());
    for (auto& group : rows) {
        const std::string below = group.path == "/" ? "/" : group.path + "/";
        const auto next = std::upper_bound(paths.begin(), paths.end(), std::string_view(below));
        if (next != paths.end() && next->starts_with(below)) continue;
        auto& culprit = finding.culprits.emplace_back();
        culprit.row.name = group.name.empty() ? group.path : group.name;
        culprit.row.cgroup = group.path, culprit.row.mark = '=';
        culprit.row.evidence = countText(number(group.pids)) + " tasks";
        culprit.amount = culprit.order = number(group.pids);
    }
}

static void addProcesses(const Interval& interval, std::optional<uint64_t> ProcRow::* figure, const char* unit,
                         char mark, Finding& finding) {
    for (auto& process : interval.processes.rows) {
        if (number(process.*figure) <= 0) continue;
        auto& culprit = finding.culprits.emplace_back(culpritOf(process, number(process.*figure)));
        culprit.row.mark = mark;
        culprit.row.evidence = countText(number(process.*figure)) + " " + unit;
    }
}

// Connections in TIME_WAIT of the own network namespace.
static double waitingIn(const Interval& interval) {
    for (auto& space : interval.namespaces.rows)
        if (space.own) return number(space.time_wait);
    return 0;
}

// "ports to 10.0.0.5:5432": those whose connections to this place moved. Those that ended count where connections wait
// in TIME_WAIT: that they do is inferred.
static void blameConnected(const Scene& scene, std::string_view place, Finding& finding) {
    struct Owner {
        double moved = 0, ended = 0;
        const SockRow* first = nullptr;
    };
    std::map<std::pair<uint64_t, uint64_t>, Owner> owners;
    const bool waiting = waitingIn(scene.interval) > 0;
    for (auto& socket : scene.interval.sockets.rows) {
        const auto address = socket.family == 6 ? "[" + socket.peer + "]" : socket.peer;
        const bool ended = socket.state == "ENDED";
        if (!socket.pid || address + ":" + std::to_string(socket.peer_port) != place || (ended && !waiting)) continue;
        auto& owner = owners[{*socket.pid, socket.start.value_or(0)}];
        (ended ? owner.ended : owner.moved)++, owner.first = &socket;
    }
    for (auto& [process, owner] : owners) {
        auto& culprit = finding.culprits.emplace_back();
        const auto& socket = *owner.first;
        culprit.row.pid = socket.pid, culprit.row.start = socket.start, culprit.row.name = socket.process;
        culprit.row.user = socket.user, culprit.row.unit = socket.unit, culprit.row.cgroup = socket.cgroup;
        culprit.row.mark = '~';
        if (owner.moved > 0) culprit.row.evidence = countText(owner.moved) + " connections that moved";
        if (owner.ended > 0)
            join(culprit.row.evidence,
                 countText(owner.ended) + (owner.moved > 0 ? "" : " connections") + " that ended");
        culprit.amount = culprit.order = owner.moved + owner.ended;
    }
    // Those that moved stand for all.
    finding.total = 0;
    for (auto& culprit : finding.culprits) finding.total += culprit.amount;
    finding.rest = "connections that did not move";
    if (finding.culprits.empty()) finding.total = 1;
}

static constexpr std::string_view Ports = "ports to ";

static void blameUsers(const Scene& scene, Finding& finding) {
    const auto& interval = scene.interval;
    const auto& limit = interval.limits.rows[finding.at];
    finding.total = number(limit.use);
    finding.why.total_unit = limit.unit;
    finding.rest = "not accounted for";
    if (limit.name.starts_with(Ports)) {
        blameConnected(scene, std::string_view(limit.name).substr(Ports.size()), finding);
    } else if (limit.name == "pids" || limit.name == "threads") {
        addProcesses(interval, &ProcRow::threads, "threads", '=', finding);
        finding.rest = "processes that did not run";
        double known = 0;
        for (auto& culprit : finding.culprits) known += culprit.amount;
        if (known * 2 >= finding.total) return;
        // Most of the tasks sleep: their groups count them, too.
        Finding groups;
        addGroups(interval, groups);
        if (!groups.culprits.empty()) finding.culprits = std::move(groups.culprits), finding.rest.clear();
    } else if (limit.name == "files") {
        // One open file can have several descriptors.
        addProcesses(interval, &ProcRow::descriptors, "descriptors", '~', finding);
        finding.rest = "processes that did not run, or whose descriptors cannot be counted";
    }
}

static void blameProcess(const Scene& scene, Finding& finding) {
    const auto& process = scene.interval.processes.rows[finding.at];
    auto& culprit = finding.culprits.emplace_back(culpritOf(process, number(process.descriptors)));
    culprit.row.evidence = countText(number(process.descriptors)) + " descriptors";
    finding.total = number(process.descriptors);
}

// --- Limits of the kernel, and those of processes

static std::string useText(const LimitRow& limit) {
    const auto show = [&](const std::optional<uint64_t>& value) {
        return limit.unit == "B" ? sizeText(number(value)) : countText(number(value));
    };
    return limit.use && limit.limit ? show(limit.use) + " of " + show(limit.limit) : "";
}

void judgeLimits(Scene& scene) {
    const auto& limits = scene.interval.limits;
    for (size_t i = 0; i < limits.rows.size(); i++) {
        const auto& limit = limits.rows[i];
        const auto use = useOf(limit);
        const double reached = perSecond(number(limit.reached), limits);
        // A limit that is no number of things is how often a CPU had more packets than time; that is usual.
        const bool isReached = limit.limit && scene.limits.isBeyond(Rule::LimitReached, reached) && reached > 0;
        const bool isUsed = use && scene.measure(Rule::LimitUsed, "LIMIT", limit.name, *use);
        if (!isReached && !isUsed) continue;
        auto& finding = isReached ? scene.add(Rule::LimitReached, "LIMIT", limit.name, reached, 85)
                                  : scene.add(Rule::LimitUsed, "LIMIT", limit.name, *use, *use - 45);
        finding.why.figure = isReached ? "reached" : "used";
        finding.why.text = useText(limit);
        const double waiting = limit.name.starts_with(Ports) ? waitingIn(scene.interval) : 0;
        if (waiting > 0)
            join(finding.why.text, "up to " + countText(std::min(waiting, number(limit.use))) + " in TIME_WAIT");
        finding.at = i;
        finding.blame = blameUsers;
    }
    const auto& processes = scene.interval.processes.rows;
    for (size_t i = 0; i < processes.size(); i++) {
        const auto& process = processes[i];
        if (!process.descriptors || number(process.descriptor_limit) <= 0) continue;
        const double use = percent(number(process.descriptors), number(process.descriptor_limit));
        if (!scene.limits.isBeyond(Rule::ProcFiles, use)) continue;
        auto& finding = scene.add(Rule::ProcFiles, "LIMIT", "files of " + nameOf(process), use, use - 45);
        finding.why.figure = "used";
        finding.why.text =
            countText(number(process.descriptors)) + " of " + countText(number(process.descriptor_limit));
        finding.at = i;
        finding.blame = blameProcess;
    }
}
