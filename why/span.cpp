#include "why/span.h"

#include "base/figures.h"
#include "why/shares.h"

#include <algorithm>

// Bounds what a long or forged log can take: findings, and culprits of each.
static constexpr size_t MostEntries = 1000, MostDoers = 2000;

static std::string textOf(Moment moment) {
    std::string text;
    appendMoment(text, moment);
    return text;
}

static Moment beginOf(const Interval& interval) {
    return {interval.time.epoch_ms - interval.elapsed_us / 1000, interval.time.offset_min};
}

void Span::addDoer(const WhoRow& row, Entry& entry) {
    if (row.mark == '?') {
        entry.rest = row.name;
        return;
    }
    // How many others there are, and which of many alike is the first, differs from interval to interval.
    const bool others = row.role == "others", many = row.count > 1;
    const Identity id(many ? 0 : row.pid.value_or(0), many ? 0 : row.start.value_or(0), row.role,
                      others ? "" : row.name, row.cgroup);
    if (entry.doers.size() >= MostDoers && !entry.doers.contains(id)) return;
    auto& doer = entry.doers[id];
    if (doer.row.name.empty() || row.amount > doer.most) doer.row = row, doer.most = row.amount;
    doer.amount += static_cast<double>(row.amount);
    doer.exact &= row.mark == '=';
}

void Span::add(const Interval& interval) {
    count++;
    for (auto& why : interval.why.rows) {
        const std::pair<std::string, std::string> key(why.resource, why.object);
        if (entries.size() >= MostEntries && !entries.contains(key)) continue;
        auto& entry = entries[key];
        const bool first = entry.worst.since.empty();
        const auto since = first ? textOf(beginOf(interval)) : entry.worst.since;
        const uint64_t before = first ? 0 : entry.worst.intervals;
        const uint64_t lasted_us =
            entry.worst.lasted_us + static_cast<uint64_t>(std::max<int64_t>(interval.elapsed_us, 0));
        entry.total += static_cast<double>(why.total);
        entry.weight += why.severity * static_cast<double>(interval.elapsed_us) / 1e6;
        if (first || why.severity > entry.worst.severity) {
            entry.worst = why;
            entry.worst.worst = textOf(interval.time);
            entry.sufferers.clear();
            for (auto& row : interval.suffer.rows)
                if (row.resource == why.resource && row.object == why.object) entry.sufferers.push_back(row);
        }
        entry.worst.since = since, entry.worst.until = textOf(interval.time);
        entry.worst.intervals = before + 1, entry.worst.lasted_us = lasted_us;
        for (auto& row : interval.who.rows)
            if (row.resource == why.resource && row.object == why.object) addDoer(row, entry);
        for (auto& group : interval.cgroups.rows)
            if (group.path == why.object) groups[group.path] = group;
    }
    for (auto& row : interval.nearest.rows) {
        const std::pair<std::string, std::string> key(row.resource, row.object);
        if (nearest.size() >= MostEntries && !nearest.contains(key)) continue;
        const auto [at, fresh] = nearest.try_emplace(key, row);
        if (!fresh && row.share >= at->second.share) at->second = row;
    }
}

// What a culprit did in all: "5.2G", "81.0 s of CPU".
static std::string amountText(double amount, std::string_view unit) {
    if (unit == "B") return sizeText(amount);
    if (unit == "us") return fixedText(amount / 1e6, 1) + " s of CPU";
    return countText(amount);
}

void Span::result(Interval& interval) const {
    std::vector<const Entry*> order;
    for (auto& [key, entry] : entries) order.push_back(&entry);
    std::stable_sort(order.begin(), order.end(), [](auto* a, auto* b) { return a->weight > b->weight; });
    clearRows(interval);
    uint64_t rank = 0;
    for (auto* entry : order) {
        Finding finding;
        finding.why = entry->worst;
        finding.why.rank = ++rank;
        finding.total = entry->total, finding.rest = entry->rest;
        const bool single = entry->worst.intervals == 1;
        if (single) finding.why.worst.clear();
        for (auto& [id, doer] : entry->doers) {
            auto& culprit = finding.culprits.emplace_back();
            culprit.row = doer.row;
            culprit.row.mark = doer.exact ? '=' : '~';
            culprit.amount = culprit.order = doer.amount;
            if (doer.row.role == "others") culprit.order = 0; // they come last
            if (single) continue;
            const auto then = culprit.row.evidence;
            culprit.row.evidence = amountText(doer.amount, entry->worst.total_unit) + " in all";
            if (!then.empty()) culprit.row.evidence += "; at its most " + then;
        }
        share(finding, interval.who.rows);
        for (auto& row : interval.who.rows)
            if (row.resource == finding.why.resource && row.object == finding.why.object) row.rank = rank;
        for (auto row : entry->sufferers) row.rank = rank, interval.suffer.rows.push_back(std::move(row));
        interval.why.rows.push_back(std::move(finding.why));
    }
    for (auto& [path, group] : groups) interval.cgroups.rows.push_back(group);
    std::vector<NearRow> near;
    for (auto& [key, row] : nearest)
        if (!entries.contains(key)) near.push_back(row);
    std::stable_sort(near.begin(), near.end(), [](auto& a, auto& b) { return a.share > b.share; });
    for (auto& row : near) {
        auto& rows = interval.nearest.rows;
        if (rows.size() == 4) break;
        if (std::any_of(rows.begin(), rows.end(), [&](auto& r) { return r.resource == row.resource; })) continue;
        rows.push_back(std::move(row));
        rows.back().place = rows.size();
    }
}
