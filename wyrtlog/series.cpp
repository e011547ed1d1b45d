#include "wyrtlog/series.h"

#include "record/moment.h"

#include <algorithm>

static constexpr size_t NoGroup = static_cast<size_t>(-1);
static constexpr int64_t Heartbeat = 60000; // ms: what stands still is repeated then, because stores forget what is old
static constexpr size_t MostHosts = 1000;

// --- Heads

// Null: there are too many.
SeriesFormat::Host* SeriesFormat::hostOf(const std::string& name) {
    if (const auto found = hosts.find(name); found != hosts.end()) return &found->second;
    if (hosts.size() == MostHosts) return nullptr;
    auto& made = hosts[name];
    made.name = name;
    made.number = hosts.size() - 1;
    made.over_ms = made.forgotten_ms = since_ms;
    return &made;
}

SeriesFormat::Group& SeriesFormat::groupOfKind(const MetricKind& kind, const std::vector<SheetColumn>& sheetColumns) {
    const auto found = std::find_if(groups.begin(), groups.end(), [&](auto& g) { return g.kind == &kind; });
    if (found != groups.end()) return *found;
    return groups.emplace_back(kind, sheetColumns);
}

bool SeriesFormat::head(const LogHead& head, const Sheets& sheets) {
    std::string name;
    appendValid(head.host, name);
    host = hostOf(name);
    if (host) host->run = head.run;
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

// --- What was counted

// Of the run at hand. Null: nothing of it was counted.
const SeenRun* SeriesFormat::Host::seenRun() const {
    const auto found = std::find_if(runs.rbegin(), runs.rend(), [&](auto& one) { return one.run == run; });
    return found == runs.rend() ? nullptr : &*found;
}

void SeriesFormat::Host::count(uint64_t interval, int64_t now_ms) {
    last_ms = now_ms;
    if (!isOfLastRun()) {
        const auto found = std::find_if(runs.begin(), runs.end(), [&](auto& one) { return one.run == run; });
        if (found != runs.end()) std::rotate(found, found + 1, runs.end());
        else runs.push_back({run, now_ms, {}});
    }
    runs.back().add(interval, now_ms);
    if (runs.size() <= MostRuns) return;
    forgotten_ms = std::max(forgotten_ms, runs.front().newest_ms);
    runs.erase(runs.begin());
}

// Whether the totals have it already.
bool SeriesFormat::isCounted(const Interval& interval) const {
    const auto* seen = host->seenRun();
    const auto time_ms = interval.time.epoch_ms;
    if (seen && seen->has(interval.number, time_ms)) return true;
    return time_ms <= host->over_ms && (!seen || interval.number < seen->numbers.front().first);
}

bool SeriesFormat::begin(const Interval& interval) {
    end_ms = interval.time.epoch_ms;
    start_ms = end_ms - interval.elapsed_us / 1000;
    intervalNumber = interval.number;
    if (!host) return true;
    if (isCounted(interval)) return false;
    if (!host->isOfLastRun())
        for (auto& group : groups) group.beginRun(host->number);
    return true;
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

std::string SeriesFormat::othersKey(const Group& group, std::string_view hostName) const {
    std::string labels;
    addLabel(labels, "host", hostName);
    addLabel(labels, group.kind->labels[0].label, Others);
    return labels;
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

// Null: there are too many things of the kind. What is no candidate is touched.
SeriesFormat::Thing* SeriesFormat::thingOf(Group& group, const Sheet& sheet, const Cells& cells, bool rest) {
    constexpr size_t MostCandidates = 10000;
    const auto others = [&] { return &group.othersOf(othersKey(group, host->name), host->number); };
    if (rest) return others();
    makeKey(group, sheet, cells, rest);
    if (const auto found = group.things.find(key); found != group.things.end()) return &group.touch(*found);
    if (group.kind->summed) {
        if (const auto found = group.candidates.find(key); found != group.candidates.end()) return &found->second;
        if (group.candidates.size() == MostCandidates) return others();
        return &group.candidates.try_emplace(key, key, host->number, group.metrics.size()).first->second;
    }
    if (!group.makeRoom(host->number, false, end_ms, wanted)) return dropped++, nullptr;
    return &group.touch(*group.things.try_emplace(key, key, host->number, group.metrics.size()).first);
}

// A series with the value 1, whose labels are what may change of the thing.
void SeriesFormat::takeInfo(Group& group, const Sheet& sheet, const Cells& cells, Thing& thing) {
    if (group.kind->details[0].empty()) return;
    std::string all = thing.labels;
    for (auto field : group.kind->details) {
        if (field.empty()) break;
        if (const auto value = textOf(sheet, cells, field); !value.empty()) addLabel(all, field, value);
    }
    const auto name = std::string(InfoKey) + all;
    auto found = group.things.find(name);
    if (found == group.things.end()) {
        if (!group.makeRoom(host->number, true, end_ms, wanted)) return;
        found = group.things.emplace(name, Thing::infoOf(std::move(all), host->number, thing.labels)).first;
    }
    group.touch(*found);
    if (thing.details == name) return;
    const auto old = group.things.find(thing.details);
    if (old != group.things.end() && old->second.info) old->second.alive = false;
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
            if (!fits(column, cell)) return false;
            const auto level = realOf(cell);
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
    if (!takeFigures(group, sheet, cells, rest, *thing)) return false;
    if (!rest && !group.kind->summed) takeInfo(group, sheet, cells, *thing);
    return true;
}

// --- Points

// What it has at this time: all counters that have begun, and the levels of this interval where they are wanted.
void SeriesFormat::give(Group& group, Thing& thing, int64_t at_ms, bool levels) {
    if (at_ms <= thing.last_ms && !onlyLast) return; // the clock was set back: the next point has it all
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

void SeriesFormat::giveInterval(Group& group, Thing& thing) {
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

void SeriesFormat::giveAll(Group& group) {
    if (!group.candidates.empty()) group.admit(othersKey(group, host->name), host->number, end_ms, wanted);
    for (auto* entry : group.due(host->number, end_ms - Heartbeat)) {
        auto& thing = entry->second;
        if (thing.touched) thing.seen_ms = end_ms, giveInterval(group, thing);
        else give(group, thing, end_ms, false);
        if (thing.last_ms > end_ms - Heartbeat) group.queue(*entry); // else there is nothing to repeat
    }
}

bool SeriesFormat::end(bool keep) {
    keep = keep && host;
    if (keep) host->count(intervalNumber, end_ms);
    for (auto& group : groups) {
        if (keep) giveAll(group);
        group.clear();
    }
    return !failed;
}

std::string SeriesFormat::note() const {
    if (dropped == 0) return {};
    return std::to_string(dropped) + " records are left out: there are too many things of their kinds to be series";
}

// --- Totals

std::vector<SavedHost> SeriesFormat::savedHosts() const {
    std::vector<SavedHost> saved(hosts.size());
    for (auto& [name, one] : hosts) saved[one.number] = {name, one.last_ms, one.forgotten_ms, one.runs};
    return saved;
}

Totals SeriesFormat::totals() const {
    Totals all{identity(), savedHosts(), {}};
    for (auto& group : groups) group.save([&](const SavedThing& thing) { all.things.push_back(thing); });
    return all;
}

std::string SeriesFormat::savedText() const {
    TotalsText all(identity());
    for (auto& one : savedHosts()) all.add(one);
    for (auto& group : groups) group.save([&](const SavedThing& thing) { all.add(thing); });
    return all.finish();
}

bool SeriesFormat::take(const Totals& saved) {
    if (saved.of != identity() || saved.hosts.size() > MostHosts) return false;
    std::vector<const Host*> numbers;
    for (auto& one : saved.hosts) {
        auto* to = hostOf(one.name);
        to->runs = one.runs, to->last_ms = one.time_ms, to->over_ms = to->forgotten_ms = one.over_ms;
        numbers.push_back(to);
    }
    for (auto& one : saved.things) {
        const auto* kind = metricKind(one.tag, wanted);
        if (!kind || one.info != one.key.starts_with(InfoKey)) continue;
        auto& group = groupOfKind(*kind, columnsOf(one.tag));
        const auto& of = *numbers[one.host];
        group.load(one, of.number, one.key == othersKey(group, of.name));
    }
    return true;
}
