#include "wyrtlog/series.h"

#include <algorithm>

static constexpr size_t NoGroup = static_cast<size_t>(-1);
static constexpr int64_t Heartbeat = 60000; // ms: what stands still is repeated then, because stores forget what is old

// --- Heads

bool SeriesFormat::head(const LogHead& head, const Sheets& sheets) {
    std::string name;
    appendValid(head.host, name);
    auto& of = hosts[name];
    if (of.name.empty() || of.run != head.run) {
        if (of.name.empty()) of.number = hosts.size();
        of.name = name, of.run = head.run;
        for (auto& group : groups)
            for (auto& [labels, thing] : group.things)
                if (thing.host == of.number) thing.alive = false; // until the new run shows it
        of.volumes.clear();
    }
    host = &of;
    groupOf.assign(sheets.sheets().size(), NoGroup);
    columns.assign(sheets.sheets().size(), {});
    for (auto& sheet : sheets.sheets()) {
        const auto* kind = metricKind(sheet.tag);
        if (!kind) continue;
        auto group = std::find_if(groups.begin(), groups.end(), [&](auto& g) { return g.kind == kind; });
        if (group == groups.end()) {
            group = groups.emplace(groups.end());
            group->kind = kind;
            for (auto& column : sheet.columns)
                if (auto metric = metricOf(*kind, column)) group->metrics.push_back(std::move(*metric));
        }
        groupOf[sheet.number] = static_cast<size_t>(group - groups.begin());
        for (size_t i = 0; i < sheet.columns.size(); i++) {
            const auto metric = metricOf(*kind, sheet.columns[i]);
            for (size_t m = 0; metric && m < group->metrics.size(); m++)
                if (group->metrics[m].name == metric->name) columns[sheet.number].emplace_back(i, m);
        }
    }
    return true;
}

bool SeriesFormat::begin(const Interval& interval) {
    end_ms = interval.time.epoch_ms;
    start_ms = end_ms - interval.elapsed_us / 1000;
    touched.clear();
    return true;
}

// --- Records

// Valid until the next call; empty, too, where the cell is damaged.
std::string_view SeriesFormat::textOf(const Sheet& sheet, const Cells& cells, std::string_view field) {
    text.clear();
    for (auto& column : sheet.columns)
        if (column.name == field && !appendText(cells[column.place], text)) text.clear();
    return cutLabel(text);
}

void SeriesFormat::touch(Thing& thing) {
    if (!thing.touched) touched.push_back(&thing);
    thing.touched = true;
}

static SeriesFormat::Thing made(std::string labels, size_t host, size_t metrics) {
    SeriesFormat::Thing thing;
    thing.labels = std::move(labels);
    thing.host = host;
    thing.totals.resize(metrics), thing.added.resize(metrics), thing.levels.resize(metrics);
    thing.begun.resize(metrics), thing.given.resize(metrics), thing.series.resize(metrics, static_cast<size_t>(-1));
    return thing;
}

// Null: there are too many things of the kind.
SeriesFormat::Thing* SeriesFormat::thingOf(Group& group, const Sheet& sheet, const Cells& cells, bool rest) {
    key.clear();
    addLabel(key, "host", host->name);
    const auto hostOnly = key.size();
    for (auto& [field, label] : group.kind->labels) {
        if (label.empty()) break;
        const auto value = rest ? Others : textOf(sheet, cells, field);
        if (!value.empty()) addLabel(key, label, value);
        if (rest) break;
    }
    auto found = group.things.find(key);
    if (found == group.things.end() && group.count >= group.kind->most) {
        if (!group.kind->summed) return dropped++, nullptr;
        key.resize(hostOnly);
        addLabel(key, group.kind->labels[0].label, Others);
        found = group.things.find(key);
    }
    if (found != group.things.end()) return &found->second;
    group.count++;
    auto thing = made(key, host->number, group.metrics.size());
    if (group.kind->tag == "DISK" && textOf(sheet, cells, "name").starts_with("dm-"))
        thing.volume = textOf(sheet, cells, "dev");
    return &group.things.emplace(key, std::move(thing)).first->second;
}

// A series with the value 1, whose labels are what may change of the thing.
void SeriesFormat::takeInfo(Group& group, const Sheet& sheet, const Cells& cells, const std::string& labels) {
    if (group.kind->details[0].empty()) return;
    std::string all = labels;
    for (auto field : group.kind->details) {
        if (field.empty()) break;
        if (const auto value = textOf(sheet, cells, field); !value.empty()) addLabel(all, field, value);
    }
    const auto name = "info " + all;
    auto found = group.things.find(name);
    if (found == group.things.end()) {
        if (group.infos >= group.kind->most) return;
        group.infos++;
        found = group.things.emplace(name, made(std::move(all), host->number, 0)).first;
        found->second.info = true;
        found->second.series.resize(1, static_cast<size_t>(-1));
    }
    touch(found->second);
}

void SeriesFormat::takeVolume(const Sheet& sheet, const Cells& cells) {
    constexpr size_t Most = 10000;
    const std::string device(textOf(sheet, cells, "dev"));
    const auto label = textOf(sheet, cells, "label");
    if (!label.empty() && host->volumes.size() < Most) host->volumes[device] = label;
}

bool SeriesFormat::line(const Sheet& sheet, const Cells& cells, std::string_view) {
    if (groupOf[sheet.number] == NoGroup) return true;
    auto& group = groups[groupOf[sheet.number]];
    if (group.kind->tag == "VOLUME") takeVolume(sheet, cells);
    bool ids = false, identified = false;
    for (auto& column : sheet.columns)
        if (column.role == Role::Id) ids = true, identified |= !cells[column.place].empty();
    const bool rest = ids && !identified;
    auto* thing = thingOf(group, sheet, cells, rest);
    if (!thing) return true;
    touch(*thing);
    for (auto& [at, metric] : columns[sheet.number]) {
        const auto cell = cells[sheet.columns[at].place];
        if (cell.empty()) continue;
        if (group.metrics[metric].counter) {
            const auto amount = wholeOf(cell);
            if (!amount) return false;
            thing->added[metric] += *amount;
        } else {
            const auto level = realOf(cell);
            if (!level) return false;
            if (rest) continue;
            thing->levels[metric] = *level * group.metrics[metric].factor;
        }
        thing->given[metric] = 1;
    }
    if (!rest && !group.kind->summed) takeInfo(group, sheet, cells, thing->labels);
    return true;
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

void SeriesFormat::flush(Group& group, Thing& thing) {
    if (!thing.volume.empty()) {
        if (const auto volume = host->volumes.find(thing.volume); volume != host->volumes.end())
            addLabel(thing.labels, "volume", cutLabel(volume->second));
        thing.volume.clear();
    }
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
    for (auto& group : groups)
        for (auto& [labels, thing] : group.things) {
            if (keep && thing.touched) flush(group, thing);
            else if (keep && thing.alive && thing.host == host->number && end_ms - thing.last_ms >= Heartbeat &&
                     !thing.info)
                give(group, thing, end_ms, false);
            std::fill(thing.added.begin(), thing.added.end(), 0);
            std::fill(thing.given.begin(), thing.given.end(), 0);
            thing.touched = false;
        }
    return !failed;
}

std::string SeriesFormat::note() const {
    if (dropped == 0) return {};
    return std::to_string(dropped) + " records are left out: there are too many things of their kinds to be series";
}
