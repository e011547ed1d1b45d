#include "wyrtlog/seriesgroup.h"

#include <algorithm>
#include <cstdlib>

// --- Things

SeriesThing::SeriesThing(std::string name, size_t ofHost, size_t metrics)
    : labels(std::move(name)), host(ofHost), totals(metrics), added(metrics), levels(metrics), begun(metrics),
      given(metrics), series(metrics, None) {}

SeriesThing SeriesThing::infoOf(std::string name, size_t ofHost, std::string of) {
    SeriesThing thing(std::move(name), ofHost, 0);
    thing.info = true;
    thing.details = std::move(of);
    thing.series.resize(1, None);
    return thing;
}

SeriesGroup::SeriesGroup(const MetricKind& ofKind, const std::vector<SheetColumn>& columns) : kind(&ofKind) {
    ranks.fill(SeriesThing::None);
    for (auto& column : columns) {
        auto metric = metricOf(ofKind, column);
        if (!metric) continue;
        for (size_t i = 0; i < ranks.size(); i++)
            if (!column.name.empty() && ofKind.ranks[i] == column.name) ranks[i] = metrics.size();
        metrics.push_back(std::move(*metric));
    }
}

SeriesGroup::OfHost& SeriesGroup::of(size_t host) {
    if (hosts.size() <= host) hosts.resize(host + 1);
    return hosts[host];
}

SeriesThing& SeriesGroup::touch(Entry& entry) {
    auto& thing = entry.second;
    if (!thing.touched) moved.push_back(&entry);
    thing.touched = true;
    return thing;
}

SeriesThing& SeriesGroup::othersOf(const std::string& labels, size_t host) {
    const auto [at, made] = things.try_emplace(labels, labels, host, metrics.size());
    at->second.others = true;
    return touch(*at);
}

// --- Room

void SeriesGroup::findForgettable(size_t host, bool info, int64_t now_ms, std::vector<Entry*>& old) {
    constexpr int64_t Patience = 2 * 3600 * 1000; // ms: a recorder's files, one an hour, begin with all that there is
    const int64_t patience_ms = kind->passing ? 0 : Patience;
    for (auto& entry : things) {
        const auto& thing = entry.second;
        const bool known = thing.seen_ms != SeriesThing::Never;
        if (thing.host != host || thing.info != info || thing.others || !known) continue;
        // What was seen long after now was so before the clock was set back.
        if (std::abs(now_ms - thing.seen_ms) > patience_ms) old.push_back(&entry);
    }
    std::sort(old.begin(), old.end(), [](auto* a, auto* b) {
        return a->second.seen_ms != b->second.seen_ms ? a->second.seen_ms > b->second.seen_ms : a->first > b->first;
    });
}

// They are looked for once in an interval, not for each of its new things.
bool SeriesGroup::forgetOne(size_t host, bool info, int64_t now_ms) {
    auto& old = info ? oldInfos : oldThings;
    if (!old.known) findForgettable(host, info, now_ms, old.entries);
    old.known = true;
    while (!old.entries.empty()) {
        auto* entry = old.entries.back();
        old.entries.pop_back();
        if (entry->second.touched) continue;
        of(host).turns.erase({entry->second.turn_ms, entry});
        things.erase(things.find(entry->first));
        return true;
    }
    return false;
}

bool SeriesGroup::makeRoom(size_t host, bool info, int64_t now_ms, const SeriesChoice& choice) {
    auto& count = info ? of(host).infos : of(host).things;
    if (count < kind->most) return count++, true;
    return choice.endless && forgetOne(host, info, now_ms);
}

// --- The largest

// Names of candidates that are among the largest of the interval.
void SeriesGroup::addLargest(size_t metric, size_t most, std::vector<std::string>& names) const {
    struct Rank {
        uint64_t amount;
        const std::string* name;
        bool isNew;
    };
    std::vector<Rank> all;
    for (const auto* entry : moved)
        if (!entry->second.others) all.push_back({entry->second.added[metric], &entry->first, false});
    for (auto& [name, thing] : candidates) all.push_back({thing.added[metric], &name, true});
    const size_t first = std::min(most, all.size());
    std::partial_sort(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(first), all.end(),
                      [](auto& a, auto& b) { return a.amount != b.amount ? a.amount > b.amount : *a.name < *b.name; });
    for (size_t i = 0; i < first; i++)
        if (all[i].isNew && all[i].amount > 0) names.push_back(*all[i].name);
}

void SeriesGroup::admit(const std::string& others, size_t host, int64_t now_ms, const SeriesChoice& choice) {
    std::vector<std::string> names;
    for (const size_t metric : ranks)
        if (metric != SeriesThing::None) addLargest(metric, choice.top, names);
    for (auto& name : names) {
        const auto found = candidates.find(name);
        if (found == candidates.end() || !makeRoom(host, false, now_ms, choice)) continue; // it has one; or no room
        touch(*things.insert(candidates.extract(found)).position);
    }
    if (candidates.empty()) return;
    auto& all = othersOf(others, host);
    for (auto& [name, thing] : candidates)
        for (size_t i = 0; i < thing.added.size(); i++)
            all.added[i] += thing.added[i], all.given[i] = all.given[i] || thing.given[i];
}

// --- Those that get points

const std::vector<SeriesGroup::Entry*>& SeriesGroup::due(size_t host, int64_t before_ms) {
    auto& turns = of(host).turns;
    while (!turns.empty() && turns.begin()->first <= before_ms) {
        auto* entry = turns.begin()->second;
        auto& thing = entry->second;
        turns.erase(turns.begin());
        thing.turn_ms = SeriesThing::Never;
        if (thing.touched || !thing.alive) continue;
        if (thing.last_ms > before_ms) queue(*entry);
        else moved.push_back(entry);
    }
    std::sort(moved.begin(), moved.end(), [](auto* a, auto* b) { return a->first < b->first; });
    return moved;
}

void SeriesGroup::queue(Entry& entry) {
    auto& thing = entry.second;
    if (thing.turn_ms != SeriesThing::Never || thing.info) return;
    thing.turn_ms = thing.last_ms;
    of(thing.host).turns.emplace(thing.turn_ms, &entry);
}

void SeriesGroup::clear() {
    for (auto* entry : moved) {
        auto& thing = entry->second;
        std::fill(thing.added.begin(), thing.added.end(), 0);
        std::fill(thing.given.begin(), thing.given.end(), 0);
        thing.touched = false;
    }
    moved.clear(), candidates.clear();
    oldThings = {}, oldInfos = {};
}

void SeriesGroup::beginRun(size_t host) {
    for (auto& [name, thing] : things)
        if (thing.host == host) thing.alive = false;
}

// --- What is saved

// A metric's name without that of its kind.
static std::string_view ownName(const Metric& metric) { return std::string_view(metric.name).substr(metric.ownName); }

bool SeriesGroup::hasInfo(const SeriesThing& thing) const {
    const auto info = things.find(thing.details);
    return info != things.end() && info->second.info && info->second.alive;
}

// Things come before the infos about them. An info whose place another one has taken is over.
void SeriesGroup::save(const std::function<void(const SavedThing&)>& take) const {
    SavedThing saved;
    saved.tag = kind->tag;
    for (const bool info : {false, true})
        for (auto& [name, thing] : things) {
            if (thing.info != info) continue;
            saved.host = thing.host, saved.info = info, saved.alive = thing.alive;
            saved.last_ms = thing.last_ms, saved.seen_ms = thing.seen_ms;
            saved.key = name;
            saved.of = info ? thing.details : std::string();
            saved.totals.clear();
            for (size_t i = 0; i < thing.totals.size(); i++)
                if (thing.begun[i]) saved.totals.emplace_back(ownName(metrics[i]), thing.totals[i]);
            if (info ? thing.alive : !saved.totals.empty() || hasInfo(thing)) take(saved);
        }
}

void SeriesGroup::load(const SavedThing& saved, size_t host, bool others) {
    auto& count = saved.info ? of(host).infos : of(host).things;
    if (!others && count >= kind->most) return;
    const auto [at, isNew] =
        things.emplace(saved.key, saved.info ? SeriesThing::infoOf(saved.key.substr(InfoKey.size()), host, saved.of)
                                             : SeriesThing(saved.key, host, metrics.size()));
    if (!isNew) return;
    if (!others) count++;
    auto& thing = at->second;
    thing.others = others, thing.alive = saved.alive;
    thing.last_ms = saved.last_ms, thing.seen_ms = saved.seen_ms;
    for (auto& [name, total] : saved.totals)
        for (size_t i = 0; i < thing.totals.size(); i++)
            if (ownName(metrics[i]) == name) thing.totals[i] = total, thing.begun[i] = 1;
    if (const auto its = saved.info ? things.find(saved.of) : things.end(); its != things.end() && !its->second.info)
        its->second.details = saved.key;
    if (thing.last_ms != SeriesThing::Never) queue(*at);
}
