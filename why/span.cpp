#include "why/span.h"

#include "base/figures.h"
#include "why/shares.h"

#include <algorithm>

// Bounds what a long or forged log can take: findings, and culprits of each.
static constexpr size_t MostEntries = 1000, MostDoers = 2000;

// Makes room for one more: where there are too many, the lighter half goes, each after gone(it). So what is heavy
// stays, whenever it came.
template <typename Map, typename Weight, typename Gone>
static void makeRoom(Map& map, size_t most, const Weight& weight, const Gone& gone) {
    if (map.size() < most) return;
    std::vector<typename Map::iterator> all;
    for (auto at = map.begin(); at != map.end(); ++at) all.push_back(at);
    const auto half = static_cast<std::ptrdiff_t>(all.size() / 2);
    std::nth_element(all.begin(), all.begin() + half, all.end(),
                     [&](auto a, auto b) { return weight(a->second) < weight(b->second); });
    for (auto at = all.begin(); at != all.begin() + half; ++at) gone((*at)->second), map.erase(*at);
}

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
    const auto goes = [&](const Doer& doer) {
        entry.gone++, entry.goneAmount += doer.amount, entry.goneExact &= doer.exact;
    };
    if (!entry.doers.contains(id)) makeRoom(entry.doers, MostDoers, [](auto& doer) { return doer.amount; }, goes);
    auto& doer = entry.doers[id];
    if (doer.row.name.empty() || row.amount > doer.most) doer.row = row, doer.most = row.amount;
    doer.amount += static_cast<double>(row.amount);
    doer.exact &= row.mark == '=';
}

Span::Belonging::Belonging(const Interval& interval) : culprits(interval.who.rows), sufferers(interval.suffer.rows) {
    for (auto& group : interval.cgroups.rows) groups[group.path] = &group;
}

// Two findings of an interval can have one name, such as those of listeners of two network namespaces.
void Span::addFinding(const Interval& interval, const WhyRow& why, const Belonging& rows) {
    const std::pair<std::string, std::string> key(why.resource, why.object);
    if (!entries.contains(key))
        makeRoom(entries, MostEntries, [](auto& entry) { return entry.weight; }, [this](auto&) { left++; });
    auto& entry = entries[key];
    const bool first = entry.last == 0;
    if (first) entry.since = beginOf(interval);
    entry.until = interval.time;
    if (entry.last != count) {
        entry.intervals++;
        entry.lasted_us += static_cast<uint64_t>(std::max<int64_t>(interval.elapsed_us, 0));
    }
    entry.last = count;
    entry.total += static_cast<double>(why.total);
    entry.weight += why.severity * static_cast<double>(interval.elapsed_us) / 1e6;
    if (first || why.severity > entry.worst.severity) {
        entry.worst = why, entry.worstAt = interval.time;
        entry.sufferers.clear();
        for (auto* row : rows.sufferers.of(why)) entry.sufferers.push_back(*row);
    }
    for (auto* row : rows.culprits.of(why)) addDoer(*row, entry);
    const auto group = rows.groups.find(why.object);
    if (group != rows.groups.end()) entry.group = *group->second;
}

void Span::add(const Interval& interval) {
    count++;
    if (!interval.why.rows.empty()) {
        const Belonging rows(interval);
        for (auto& why : interval.why.rows) addFinding(interval, why, rows);
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

// What it did in all, before what it did in the interval in which it did most.
static void sumUp(WhoRow& row, std::string_view unit) {
    if (row.mark == '?' || row.role == "others") return;
    const auto then = row.evidence;
    row.evidence = amountText(static_cast<double>(row.amount), unit) + " in all";
    if (!then.empty()) row.evidence += (row.count > 1 ? "; at their peak, " : "; at its peak: ") + then;
}

void Span::result(Interval& interval) const {
    std::vector<const Entry*> order;
    for (auto& [key, entry] : entries) order.push_back(&entry);
    std::stable_sort(order.begin(), order.end(), [](auto* a, auto* b) { return a->weight > b->weight; });
    clearRows(interval);
    uint64_t rank = 0;
    for (auto* entry : order) {
        Finding finding;
        const bool single = entry->intervals == 1;
        auto& why = finding.why;
        why = entry->worst;
        why.rank = ++rank;
        why.intervals = entry->intervals, why.lasted_us = entry->lasted_us;
        why.since = textOf(entry->since), why.until = textOf(entry->until);
        if (!single) why.worst = textOf(entry->worstAt);
        finding.total = entry->total, finding.rest = entry->rest;
        for (auto& [id, doer] : entry->doers) {
            auto& culprit = finding.culprits.emplace_back();
            culprit.row = doer.row;
            culprit.row.mark = doer.exact ? '=' : '~';
            culprit.amount = culprit.order = doer.amount;
            if (doer.row.role == "others") culprit.order = 0; // they come last
        }
        if (entry->gone > 0) {
            auto& others = finding.culprits.emplace_back();
            others.row.role = "others", others.row.name = std::to_string(entry->gone);
            others.row.mark = entry->goneExact ? '=' : '~';
            others.amount = entry->goneAmount;
        }
        const size_t firstOf = interval.who.rows.size();
        share(finding, interval.who.rows);
        for (size_t i = firstOf; i < interval.who.rows.size(); i++) {
            auto& row = interval.who.rows[i];
            row.rank = rank;
            if (!single) sumUp(row, why.total_unit);
        }
        for (auto row : entry->sufferers) row.rank = rank, interval.suffer.rows.push_back(std::move(row));
        if (entry->group) interval.cgroups.rows.push_back(*entry->group);
        interval.why.rows.push_back(std::move(why));
    }
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
