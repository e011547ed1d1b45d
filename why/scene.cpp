#include "why/scene.h"

#include "base/figures.h"

#include <algorithm>
#include <map>

// --- Findings

void Scene::approach(Rule rule, std::string_view resource, std::string_view object, double value, double share) {
    NearRow row;
    row.resource = resource, row.object = object;
    row.rule = textOf(rule).name, row.figure = textOf(rule).brief;
    row.value = value, row.limit = limits[rule], row.unit = unitOf(rule);
    row.share = share < 100 && limits.isBeyond(rule, value) ? 0 : share; // beyond its limit it is not near it
    nearest.push_back(std::move(row));
}

bool Scene::measure(Rule rule, std::string_view resource, std::string_view object, double value) {
    approach(rule, resource, object, value, limits.nearness(rule, value));
    return limits.isBeyond(rule, value);
}

Finding& Scene::add(Rule rule, std::string_view resource, std::string_view object, double value, double severity) {
    auto& finding = findings.emplace_back();
    auto& why = finding.why;
    why.resource = resource, why.object = object;
    why.rule = textOf(rule).name;
    why.value = value, why.limit = limits[rule], why.unit = unitOf(rule);
    why.severity = severity;
    return finding;
}

bool Scene::has(std::string_view resource, std::string_view object) const {
    return std::any_of(findings.begin(), findings.end(),
                       [&](auto& f) { return f.why.resource == resource && f.why.object == object; });
}

// --- Figures

std::optional<Stall> stallOf(const Interval& interval, std::string_view resource) {
    const auto& rows = interval.pressure;
    if (rows.elapsed_us <= 0) return {};
    for (auto& row : rows.rows)
        if (row.resource == resource && row.some_us)
            return Stall{percent(number(row.some_us), static_cast<double>(rows.elapsed_us)),
                         percent(number(row.full_us), static_cast<double>(rows.elapsed_us))};
    return {};
}

std::string stallText(const Stall& stall) {
    return "stalled some " + fixedText(stall.some, 1) + "% full " + fixedText(stall.full, 1) + "%";
}

std::string speedText(double bytes_per_second) { return fixedText(bytes_per_second / 1048576, 1) + " MB/s"; }

void join(std::string& text, const std::string& more, std::string_view between) {
    if (more.empty()) return;
    if (!text.empty()) text += between;
    text += more;
}

// --- Processes

std::string nameOf(const ProcRow& process) { return process.name + "[" + std::to_string(process.pid) + "]"; }

std::string nameOf(const FileRow& file) {
    std::string text = "fd " + std::to_string(file.descriptor);
    join(text, file.path, " ");
    if (file.deleted) text += " (deleted)";
    return text;
}

Culprit culpritOf(const ProcRow& process, double amount) {
    Culprit culprit;
    auto& row = culprit.row;
    row.pid = process.pid, row.start = process.start;
    row.name = process.name, row.user = process.user, row.unit = process.unit, row.cgroup = process.cgroup;
    row.mark = '=';
    culprit.amount = culprit.order = amount;
    return culprit;
}

bool isBelow(std::string_view path, std::string_view group) {
    if (group == "/") return path.starts_with('/');
    return path.starts_with(group) && (path.size() == group.size() || path[group.size()] == '/');
}

void addSufferers(Finding& finding, std::vector<Sufferer> sufferers, std::string_view what, std::string_view unit) {
    constexpr size_t Most = 4;
    const auto& culprits = finding.culprits;
    const auto first =
        std::max_element(culprits.begin(), culprits.end(), [](auto& a, auto& b) { return a.order < b.order; });
    std::erase_if(sufferers, [&](auto& s) {
        return first != culprits.end() && first->row.pid == s.process->pid && first->row.start == s.process->start &&
               first->row.role.empty();
    });
    std::stable_sort(sufferers.begin(), sufferers.end(), [](auto& a, auto& b) { return a.value > b.value; });
    if (sufferers.size() > Most) sufferers.resize(Most);
    for (auto& sufferer : sufferers) {
        auto& row = finding.sufferers.emplace_back();
        row.pid = sufferer.process->pid, row.start = sufferer.process->start, row.name = sufferer.process->name;
        row.what = what, row.value = sufferer.value, row.unit = unit;
    }
}

void addBlocked(const Scene& scene, Finding& finding) {
    constexpr size_t Most = 6; // names
    std::map<std::string_view, std::vector<const ProcRow*>> names;
    for (auto& process : scene.interval.processes.rows)
        if (process.state == 'D') names[process.name].push_back(&process);
    std::vector<std::pair<std::string_view, std::vector<const ProcRow*>>> order(names.begin(), names.end());
    std::stable_sort(order.begin(), order.end(), [](auto& a, auto& b) { return a.second.size() > b.second.size(); });
    if (order.size() > Most) order.resize(Most);
    for (auto& [name, processes] : order) {
        auto& row = finding.sufferers.emplace_back();
        row.name = name, row.count = processes.size(), row.what = "blocked";
        if (processes.size() == 1) row.pid = processes[0]->pid, row.start = processes[0]->start;
    }
}
