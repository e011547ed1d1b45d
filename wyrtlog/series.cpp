#include "wyrtlog/series.h"

#include "record/moment.h"

#include <algorithm>

static constexpr size_t NoGroup = static_cast<size_t>(-1);
static constexpr int64_t Heartbeat = 60000; // ms: what stands still is repeated then, because stores forget what is old
static constexpr int64_t Forgotten =
    2 * 3600 * 1000; // ms: a recorder's files, one an hour, begin with all that there is
static constexpr size_t MostHosts = 1000;

// --- Heads

// Null: there are too many.
SeriesFormat::Host* SeriesFormat::hostOf(const std::string& name) {
    if (const auto found = hosts.find(name); found != hosts.end()) return &found->second;
    if (hosts.size() == MostHosts) return nullptr;
    auto& made = hosts[name];
    made.name = name;
    made.number = hosts.size() - 1;
    return &made;
}

SeriesFormat::Group& SeriesFormat::groupOfKind(const MetricKind& kind, const std::vector<SheetColumn>& sheetColumns) {
    const auto found = std::find_if(groups.begin(), groups.end(), [&](auto& g) { return g.kind == &kind; });
    if (found != groups.end()) return *found;
    auto& group = groups.emplace_back();
    group.kind = &kind;
    group.ranks.fill(None);
    for (auto& column : sheetColumns) {
        auto metric = metricOf(kind, column);
        if (!metric) continue;
        const auto rank =
            column.name.empty() ? kind.ranks.end() : std::find(kind.ranks.begin(), kind.ranks.end(), column.name);
        if (rank != kind.ranks.end())
            group.ranks[static_cast<size_t>(rank - kind.ranks.begin())] = group.metrics.size();
        group.metrics.push_back(std::move(*metric));
    }
    return group;
}

bool SeriesFormat::head(const LogHead& head, const Sheets& sheets) {
    std::string name;
    appendValid(head.host, name);
    host = hostOf(name);
    if (host && host->run != head.run) {
        host->run = head.run;
        for (auto& group : groups)
            for (auto& [labels, thing] : group.things)
                if (thing.host == host->number) thing.alive = false; // until the new run shows it
    }
    groupOf.assign(sheets.sheets().size(), NoGroup);
    columns.assign(sheets.sheets().size(), {});
    for (auto& sheet : sheets.sheets()) {
        const auto* kind = metricKind(sheet.tag, wanted);
        if (!kind) continue;
        const auto& group = groupOfKind(*kind, sheet.columns);
        groupOf[sheet.number] = static_cast<size_t>(&group - groups.data());
        for (size_t i = 0; i < sheet.columns.size(); i++) {
            const auto metric = metricOf(*kind, sheet.columns[i]);
            for (size_t m = 0; metric && m < group.metrics.size(); m++)
                if (group.metrics[m].name == metric->name) columns[sheet.number].emplace_back(i, m);
        }
    }
    return true;
}

// Whether the totals have it already.
bool SeriesFormat::isCounted(const Interval& interval) const {
    const bool same = host->run == host->lastRun;
    if (same) return interval.number <= host->last && interval.time.epoch_ms <= host->last_ms;
    return host->loaded && interval.time.epoch_ms <= host->last_ms;
}

bool SeriesFormat::begin(const Interval& interval) {
    end_ms = interval.time.epoch_ms;
    start_ms = end_ms - interval.elapsed_us / 1000;
    intervalNumber = interval.number;
    return !host || !isCounted(interval);
}

// --- Records

// systemd's names of units tell what they are; those of containers and pods do not.
static bool isUnit(std::string_view name) {
    for (const char* end :
         {".service", ".scope", ".slice", ".socket", ".mount", ".automount", ".swap", ".timer", ".path"})
        if (name.ends_with(end)) return true;
    return false;
}

// Valid until the next call; empty, too, where the cell is damaged.
std::string_view SeriesFormat::textOf(const Sheet& sheet, const Cells& cells, std::string_view field) {
    text.clear();
    for (auto& column : sheet.columns)
        if (column.name == field && !appendText(cells[column.place], text)) text.clear();
    return cutLabel(text);
}

static SeriesFormat::Thing made(std::string labels, size_t host, size_t metrics) {
    SeriesFormat::Thing thing;
    thing.labels = std::move(labels);
    thing.host = host;
    thing.totals.resize(metrics), thing.added.resize(metrics), thing.levels.resize(metrics);
    thing.begun.resize(metrics), thing.given.resize(metrics), thing.series.resize(metrics, SeriesFormat::None);
    return thing;
}

static size_t& countOf(std::vector<size_t>& counts, size_t host) {
    if (counts.size() <= host) counts.resize(host + 1);
    return counts[host];
}

// Whether the host may have one more thing of the kind, for which one that was not seen for long may be forgotten.
bool SeriesFormat::makeRoom(Group& group, bool info) {
    auto& count = countOf(info ? group.infos : group.counts, host->number);
    if (count < group.kind->most) return count++, true;
    if (!wanted.endless) return false;
    const int64_t patience_ms = group.kind->passing ? 0 : Forgotten;
    auto oldest = group.things.end();
    for (auto at = group.things.begin(); at != group.things.end(); ++at) {
        const auto& thing = at->second;
        if (thing.host == host->number && thing.info == info && !thing.touched && thing.seen_ms != Never &&
            (oldest == group.things.end() || thing.seen_ms < oldest->second.seen_ms))
            oldest = at;
    }
    if (oldest == group.things.end() || end_ms - oldest->second.seen_ms <= patience_ms) return false;
    group.things.erase(oldest);
    return true;
}

std::string SeriesFormat::othersKey(const Group& group, std::string_view hostName) const {
    std::string labels;
    addLabel(labels, "host", hostName);
    addLabel(labels, group.kind->labels[0].label, Others);
    return labels;
}

// What has no series of its own, all together.
SeriesFormat::Thing& SeriesFormat::othersOf(Group& group) {
    const auto labels = othersKey(group, host->name);
    const auto found = group.things.find(labels);
    if (found != group.things.end()) return found->second;
    return group.things.emplace(labels, made(labels, host->number, group.metrics.size())).first->second;
}

void SeriesFormat::makeKey(const Group& group, const Sheet& sheet, const Cells& cells, bool rest) {
    key.clear();
    addLabel(key, "host", host->name);
    for (auto& [field, label] : group.kind->labels) {
        if (label.empty() || rest) break;
        const auto value = textOf(sheet, cells, field);
        if (!value.empty() && (label != "container" || !isUnit(value))) addLabel(key, label, value);
    }
}

// Null: there are too many things of the kind.
SeriesFormat::Thing* SeriesFormat::thingOf(Group& group, const Sheet& sheet, const Cells& cells, bool rest) {
    constexpr size_t MostCandidates = 10000;
    if (rest) return &othersOf(group);
    makeKey(group, sheet, cells, rest);
    if (const auto found = group.things.find(key); found != group.things.end()) return &found->second;
    const bool summed = group.kind->summed;
    if (const auto found = group.candidates.find(key); summed && found != group.candidates.end()) return &found->second;
    if (summed && group.candidates.size() == MostCandidates) return &othersOf(group);
    if (!summed && !makeRoom(group, false)) return dropped++, nullptr;
    auto thing = made(key, host->number, group.metrics.size());
    return &(summed ? group.candidates : group.things).emplace(key, std::move(thing)).first->second;
}

// A series with the value 1, whose labels are what may change of the thing.
void SeriesFormat::takeInfo(Group& group, const Sheet& sheet, const Cells& cells, Thing& thing) {
    if (group.kind->details[0].empty()) return;
    std::string all = thing.labels;
    for (auto field : group.kind->details) {
        if (field.empty()) break;
        if (const auto value = textOf(sheet, cells, field); !value.empty()) addLabel(all, field, value);
    }
    const auto name = "info " + all;
    auto found = group.things.find(name);
    if (found == group.things.end()) {
        if (!makeRoom(group, true)) return;
        found = group.things.emplace(name, made(std::move(all), host->number, 0)).first;
        found->second.info = true;
        found->second.series.resize(1, None);
    }
    found->second.touched = true;
    if (thing.details == name) return;
    if (const auto old = group.things.find(thing.details); old != group.things.end()) old->second.alive = false;
    thing.details = name;
}

// False: a cell does not fit its field.
bool SeriesFormat::takeFigures(const Group& group, const Sheet& sheet, const Cells& cells, bool rest, Thing& thing) {
    for (auto& [at, metric] : columns[sheet.number]) {
        const auto& column = sheet.columns[at];
        const auto cell = cells[column.place];
        if (cell.empty()) continue;
        if (column.cast == Cast::Seconds) {
            const auto elapsed = parseSeconds(cell);
            if (!elapsed || *elapsed < 0) return false;
            thing.added[metric] += static_cast<uint64_t>(*elapsed);
        } else if (group.metrics[metric].counter) {
            const auto amount = wholeOf(cell);
            if (!amount) return false;
            thing.added[metric] += *amount;
        } else {
            const auto level = realOf(cell);
            if (!level) return false;
            if (rest) continue;
            const bool adds = group.kind->passing && thing.given[metric]; // of several processes with one name
            thing.levels[metric] = (adds ? thing.levels[metric] : 0) + *level * group.metrics[metric].factor;
        }
        thing.given[metric] = 1;
    }
    return true;
}

bool SeriesFormat::line(const Sheet& sheet, const Cells& cells, std::string_view) {
    if (groupOf[sheet.number] == NoGroup) return true;
    if (!host) return dropped++, true;
    auto& group = groups[groupOf[sheet.number]];
    bool ids = false, identified = false;
    for (auto& column : sheet.columns)
        if (column.role == Role::Id) ids = true, identified |= !cells[column.place].empty();
    const bool rest = ids && !identified;
    auto* thing = thingOf(group, sheet, cells, rest);
    if (!thing) return true;
    thing->touched = true;
    if (!takeFigures(group, sheet, cells, rest, *thing)) return false;
    if (!rest && !group.kind->summed) takeInfo(group, sheet, cells, *thing);
    return true;
}

// --- The largest

// Of an interval's things without series those that are among the largest get series; the rest are added to the others.
void SeriesFormat::admit(Group& group) {
    struct Rank {
        uint64_t amount;
        const std::string* name;
        bool isNew;
    };
    const auto rest = othersKey(group, host->name);
    std::vector<std::string> admitted;
    std::vector<Rank> ranks;
    for (const size_t metric : group.ranks) {
        if (metric == None) continue;
        ranks.clear();
        for (auto& [name, thing] : group.things)
            if (thing.touched && thing.host == host->number && name != rest)
                ranks.push_back({thing.added[metric], &name, false});
        for (auto& [name, thing] : group.candidates) ranks.push_back({thing.added[metric], &name, true});
        const size_t first = std::min(wanted.top, ranks.size());
        std::partial_sort(
            ranks.begin(), ranks.begin() + static_cast<std::ptrdiff_t>(first), ranks.end(),
            [](auto& a, auto& b) { return a.amount != b.amount ? a.amount > b.amount : *a.name < *b.name; });
        for (size_t i = 0; i < first; i++)
            if (ranks[i].isNew && ranks[i].amount > 0) admitted.push_back(*ranks[i].name);
    }
    for (auto& name : admitted) {
        auto found = group.candidates.find(name);
        if (found == group.candidates.end() || !makeRoom(group, false)) continue; // admitted before; or no room
        group.things.insert(group.candidates.extract(found));
    }
    if (group.candidates.empty()) return;
    auto& others = othersOf(group);
    others.touched = true;
    for (auto& [name, thing] : group.candidates)
        for (size_t i = 0; i < thing.added.size(); i++)
            others.added[i] += thing.added[i], others.given[i] = others.given[i] || thing.given[i];
    group.candidates.clear();
}

// --- Points

// What it has at this time: all counters that have begun, and the levels of this interval where they are wanted.
void SeriesFormat::give(Group& group, Thing& thing, int64_t at_ms, bool levels) {
    if (at_ms <= thing.last_ms) return; // the clock was set back: the next point has it all
    chosen.assign(group.metrics.size(), 0);
    bool any = thing.info;
    for (size_t i = 0; i < thing.totals.size(); i++) {
        chosen[i] = group.metrics[i].counter ? thing.begun[i] : levels && thing.given[i];
        any |= chosen[i] != 0;
    }
    if (!any) return;
    thing.last_ms = at_ms;
    if (!point(group, thing, at_ms, chosen)) failed = true;
}

void SeriesFormat::giveAll(Group& group, Thing& thing) {
    if (thing.info) {
        if (!thing.alive || thing.last_ms == Never || end_ms - thing.last_ms >= Heartbeat) {
            thing.alive = true;
            give(group, thing, end_ms, true);
        }
        return;
    }
    thing.alive = true;
    // Where it stood when the interval began, unless that was the end of the last one.
    bool fresh = false;
    for (size_t i = 0; i < thing.totals.size(); i++)
        if (group.metrics[i].counter && thing.given[i] && !thing.begun[i]) fresh = true, thing.begun[i] = 1;
    if (fresh || thing.last_ms < start_ms - (end_ms - start_ms) / 2) give(group, thing, start_ms, false);
    for (size_t i = 0; i < thing.totals.size(); i++) thing.totals[i] += thing.added[i];
    give(group, thing, end_ms, true);
}

bool SeriesFormat::end(bool keep) {
    keep = keep && host;
    if (keep) host->lastRun = host->run, host->last = intervalNumber, host->last_ms = end_ms, host->loaded = false;
    for (auto& group : groups) {
        if (keep && !group.candidates.empty()) admit(group);
        group.candidates.clear();
        for (auto& [labels, thing] : group.things) {
            if (keep && thing.touched) thing.seen_ms = end_ms, giveAll(group, thing);
            else if (keep && thing.alive && thing.host == host->number && end_ms - thing.last_ms >= Heartbeat &&
                     !thing.info)
                give(group, thing, end_ms, false);
            std::fill(thing.added.begin(), thing.added.end(), 0);
            std::fill(thing.given.begin(), thing.given.end(), 0);
            thing.touched = false;
        }
    }
    return !failed;
}

std::string SeriesFormat::note() const {
    if (dropped == 0) return {};
    return std::to_string(dropped) + " records are left out: there are too many things of their kinds to be series";
}

// --- Totals

Totals SeriesFormat::totals() const {
    Totals all;
    all.of = word + " " + wanted.by + (wanted.rows ? " rows" : "");
    all.hosts.resize(hosts.size());
    for (auto& [name, one] : hosts) all.hosts[one.number] = {name, one.lastRun, one.last, one.last_ms};
    for (auto& group : groups)
        for (auto& [name, thing] : group.things) {
            SavedThing saved{
                std::string(group.kind->tag), thing.host, thing.info, thing.last_ms, thing.seen_ms, name, {}, {}};
            if (thing.labels != name) saved.labels = thing.labels;
            for (size_t i = 0; i < thing.totals.size(); i++)
                if (thing.begun[i])
                    saved.totals.emplace_back(group.metrics[i].name.substr(group.metrics[i].ownName), thing.totals[i]);
            if (thing.info || !saved.totals.empty()) all.things.push_back(std::move(saved));
        }
    return all;
}

bool SeriesFormat::take(const Totals& saved) {
    if (saved.of != totals().of || saved.hosts.size() > MostHosts) return false;
    std::vector<const Host*> numbers;
    for (auto& one : saved.hosts) {
        auto* to = hostOf(one.name);
        to->run = to->lastRun = one.run, to->last = one.number, to->last_ms = one.time_ms, to->loaded = true;
        numbers.push_back(to);
    }
    for (auto& one : saved.things) {
        const auto* kind = metricKind(one.tag, wanted);
        if (!kind) continue;
        auto& group = groupOfKind(*kind, columnsOf(one.tag));
        auto& count = countOf(one.info ? group.infos : group.counts, numbers[one.host]->number);
        const bool others = one.key == othersKey(group, numbers[one.host]->name);
        if (!others && count >= kind->most) continue;
        auto thing = made(one.labels.empty() ? one.key : one.labels, numbers[one.host]->number,
                          one.info ? 0 : group.metrics.size());
        thing.info = one.info;
        if (one.info) thing.series.resize(1, None);
        thing.last_ms = one.last_ms, thing.seen_ms = one.seen_ms;
        for (auto& [name, total] : one.totals)
            for (size_t i = 0; i < thing.totals.size(); i++)
                if (std::string_view(group.metrics[i].name).substr(group.metrics[i].ownName) == name)
                    thing.totals[i] = total, thing.begun[i] = 1;
        if (group.things.emplace(one.key, std::move(thing)).second && !others) count++;
    }
    return true;
}
