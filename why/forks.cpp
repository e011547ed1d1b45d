#include "base/figures.h"
#include "why/rules.h"

#include <algorithm>
#include <map>

std::string childrenText(const Interval& interval, const ProcRow& parent) {
    constexpr size_t Most = 3; // commands
    double ended = 0, cpu = 0;
    std::vector<std::pair<double, std::string_view>> commands;
    for (auto& row : interval.churn.rows) {
        if (row.parent != parent.pid || row.parent_start != parent.start) continue;
        ended += number(row.ended), cpu += number(row.cpu_us);
        if (!row.command.empty()) commands.emplace_back(number(row.ended), row.command);
    }
    if (ended <= 0) return {};
    std::stable_sort(commands.begin(), commands.end(), [](auto& a, auto& b) { return a.first > b.first; });
    std::string text = countText(ended) + " ended";
    if (cpu > 0) text += ", mean " + fixedText(cpu / ended / 1000, 1) + " ms of CPU";
    for (size_t i = 0; i < std::min(commands.size(), Most); i++)
        text.append(i ? ", " : ": ").append(commands[i].second).append(" ").append(countText(commands[i].first));
    return text;
}

// Where the kernel does not report the ends of processes, those who have reaped children share the forks that nobody
// explains, by the CPU time of these children.
static void addReapers(const Interval& interval, Finding& finding) {
    double explained = 0, reaped = 0;
    for (auto& culprit : finding.culprits) explained += culprit.amount;
    const auto isExplained = [&](const ProcRow& process) {
        return std::any_of(finding.culprits.begin(), finding.culprits.end(), [&](auto& culprit) {
            return culprit.row.pid == process.pid && culprit.row.mark == '=' && culprit.amount > 1;
        });
    };
    std::vector<const ProcRow*> reapers;
    for (auto& process : interval.processes.rows)
        if (number(process.children_us) > 0 && !isExplained(process)) reapers.push_back(&process);
    for (auto* process : reapers) reaped += number(process->children_us);
    const double left = finding.total - explained;
    if (left <= 0 || reaped <= 0) return;
    for (auto* process : reapers) {
        auto& culprit =
            finding.culprits.emplace_back(culpritOf(*process, left * number(process->children_us) / reaped));
        culprit.row.role = "children", culprit.row.mark = '~';
        culprit.row.evidence = "they used " + fixedText(number(process->children_us) / 1e6, 2) + " s of CPU";
    }
}

static void blameParents(const Scene& scene, Finding& finding) {
    const auto& interval = scene.interval;
    struct Parent {
        double begun = 0;
        std::string_view name, unit;
    };
    std::map<std::pair<uint64_t, uint64_t>, Parent> parents; // pid and start; start 0: not seen
    std::map<uint64_t, const ProcRow*> processes;
    for (auto& process : interval.processes.rows) processes[process.pid] = &process;
    const auto startOf = [&](uint64_t pid) {
        const auto found = processes.find(pid);
        return found == processes.end() ? 0 : found->second->start;
    };
    for (auto& row : interval.churn.rows) {
        auto& parent = parents[{row.parent, row.parent_start ? row.parent_start : startOf(row.parent)}];
        parent.begun += number(row.ended);
        parent.name = row.parent_name, parent.unit = row.unit;
    }
    for (auto& row : interval.starts.rows) parents[{row.parent, startOf(row.parent)}].begun += 1;
    for (auto& [id, parent] : parents) {
        const auto found = processes.find(id.first);
        const bool known = found != processes.end() && found->second->start == id.second;
        auto culprit = known ? culpritOf(*found->second, parent.begun) : Culprit{};
        if (!known) {
            culprit.row.pid = id.first, culprit.row.start = id.second;
            culprit.row.name = parent.name.empty() ? "a process that ended" : parent.name,
            culprit.row.unit = parent.unit;
            culprit.amount = culprit.order = parent.begun;
        }
        culprit.row.role = "children";
        culprit.row.mark = '=';
        if (known) culprit.row.evidence = childrenText(interval, *found->second);
        finding.culprits.push_back(std::move(culprit));
    }
    const auto* row = interval.cpu.one();
    finding.total = row ? number(row->forks) : 0;
    finding.rest = "threads, and processes whose parents are not known";
    addReapers(interval, finding);
}

void judgeForks(Scene& scene) {
    const auto* row = scene.interval.cpu.one();
    if (!row || !row->forks || scene.interval.cpu.elapsed_us <= 0) return;
    const double rate = perSecond(number(row->forks), scene.interval.cpu);
    if (!scene.measure(Rule::ForksRate, "FORKS", "", rate)) return;
    auto& finding = scene.add(Rule::ForksRate, "FORKS", "", rate, std::min(20 + rate / 100, 60.0));
    finding.why.figure = "processes and threads began";
    finding.blame = blameParents;
}
