#include "wyrtlog/serve/scrape.h"

#include "wyrtlog/openmetrics.h"

#include <algorithm>

static constexpr int64_t Kept = 2 * 3600 * 1000; // ms: a recorder's files, one an hour, begin with all that there is

void ScrapeFormat::addLabel(std::string& labels, std::string_view name, std::string_view value) const {
    addQuotedLabel(labels, name, value);
}

// --- Intervals

bool ScrapeFormat::head(const LogHead& head, const Sheets& sheets) {
    next.name.clear();
    appendValid(head.host, next.name);
    return SeriesFormat::head(head, sheets);
}

bool ScrapeFormat::begin(const Interval& interval) {
    next.end_ms = interval.time.epoch_ms;
    next.elapsed_ms = interval.elapsed_us / 1000;
    return SeriesFormat::begin(interval);
}

bool ScrapeFormat::end(bool keep) {
    if (const size_t number = hostNumber(); keep && number != None) {
        if (states.size() <= number) states.resize(number + 1);
        states[number] = next;
    }
    return SeriesFormat::end(keep);
}

// Notes which levels the last record of a thing had.
bool ScrapeFormat::point(const Group& group, Thing& thing, int64_t, const std::vector<char>& which) {
    for (size_t i = 0; thing.touched && !thing.info && i < which.size(); i++)
        if (!group.metrics[i].counter) thing.series[i] = which[i] ? 1 : None;
    return true;
}

// --- What is shown

bool ScrapeFormat::isFresh(const HostState& state, int64_t now_ms) const {
    constexpr int64_t Slack = 15000; // ms: a recorder may be late
    return state.end_ms != Never && now_ms - state.end_ms <= 3 * state.elapsed_ms + Slack;
}

bool ScrapeFormat::isShown(const Group& group, const Thing& thing) const {
    if (!thing.alive) return false;
    const bool passes = group.kind->summed || group.kind->passing; // it may come again at any time
    return passes || thing.host >= states.size() || thing.seen_ms >= states[thing.host].end_ms - Kept;
}

bool ScrapeFormat::hasValue(const Family& family, const Thing& thing, int64_t now_ms) const {
    if (thing.info != (family.metric == None) || !isShown(family.group, thing)) return false;
    if (thing.info) return true;
    if (family.group.metrics[family.metric].counter) return thing.begun[family.metric] != 0;
    if (thing.series[family.metric] == None || thing.host >= states.size()) return false;
    const auto& state = states[thing.host];
    return isFresh(state, now_ms) && (!family.group.kind->passing || thing.seen_ms == state.end_ms);
}

void ScrapeFormat::addValue(const Family& family, const Thing& thing, std::string& text) const {
    if (thing.info) return text.push_back('1');
    const auto& metric = family.group.metrics[family.metric];
    if (metric.counter) return appendCounter(thing.totals[family.metric], metric.micro, text);
    // A disk without a record has no request under way.
    const bool idle = thing.seen_ms != states[thing.host].end_ms && metric.name.ends_with("_in_flight");
    appendLevel(idle ? 0 : thing.levels[family.metric], text);
}

// --- Text

static void addTitle(std::string_view name, std::string_view type, std::string_view unit, std::string_view help,
                     std::string& text) {
    text.append("# HELP ").append(name).append(" ").append(help).append("\n");
    text.append("# TYPE ").append(name).append(" ").append(type).append("\n");
    if (!unit.empty()) text.append("# UNIT ").append(name).append(" ").append(unit).append("\n");
}

// The two forms differ in the name that a title has, and in what they know of units and infos.
void ScrapeFormat::addFamily(const Family& family, Exposition exposition, int64_t now_ms, std::string& text) const {
    const bool open = exposition == Exposition::OpenMetrics, info = family.metric == None;
    const auto* metric = info ? nullptr : &family.group.metrics[family.metric];
    const std::string base = info ? "wyrt_" + std::string(family.group.kind->prefix) : metric->name;
    const std::string name = base + (info ? "_info" : metric->counter ? "_total" : "");
    bool begun = false;
    for (auto& [id, thing] : family.group.things) {
        if (!hasValue(family, thing, now_ms)) continue;
        if (!begun)
            addTitle(open ? base : name,
                     info              ? (open ? "info" : "gauge")
                     : metric->counter ? "counter"
                                       : "gauge",
                     open && metric ? metric->unit : "", "of the records " + std::string(family.group.kind->tag), text);
        begun = true;
        text.append(name).append("{").append(thing.labels).append("} ");
        addValue(family, thing, text);
        text += '\n';
    }
}

void ScrapeFormat::addHosts(std::string& text) const {
    const auto add = [&](std::string_view name, std::string_view help, auto value) {
        addTitle(name, "gauge", "", help, text);
        for (auto& state : states) {
            if (state.end_ms == Never) continue;
            text.append(name).append("{");
            addLabel(text, "host", state.name);
            text.append("} ");
            appendLevel(static_cast<double>(value(state)) / 1000, text);
            text += '\n';
        }
    };
    add("wyrt_interval_end_timestamp_seconds", "when the last interval ended", [](auto& s) { return s.end_ms; });
    add("wyrt_interval_length_seconds", "how long the last interval was", [](auto& s) { return s.elapsed_ms; });
}

std::string ScrapeFormat::text(Exposition exposition, int64_t now_ms) const {
    std::string text;
    addHosts(text);
    for (auto& group : groups) {
        addFamily({group, None}, exposition, now_ms, text);
        for (size_t i = 0; i < group.metrics.size(); i++) addFamily({group, i}, exposition, now_ms, text);
    }
    if (exposition == Exposition::OpenMetrics) text += "# EOF\n";
    return text;
}

std::optional<ScrapeFormat::Age> ScrapeFormat::age(int64_t now_ms) const {
    const auto newest =
        std::max_element(states.begin(), states.end(), [](auto& a, auto& b) { return a.end_ms < b.end_ms; });
    if (newest == states.end() || newest->end_ms == Never) return {};
    return Age{newest->end_ms, now_ms - newest->end_ms, isFresh(*newest, now_ms)};
}
