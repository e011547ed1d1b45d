#include "wyrtlog/statstables.h"

#include "view/format.h"

#include <algorithm>
#include <cstdint>

// --- Figures

static std::string valueText(const SheetColumn& column, double value) {
    const bool rate = column.role == Role::Amount;
    const auto end = [&](std::string text) { return rate ? text + "/s" : text; };
    if (column.unit == "us") return rate ? fixedText(value / 1e4, 1) + "%" : fixedText(value / 1e3, 1) + "ms";
    if (column.unit == "B") return end(sizeText(value));
    if (column.unit == "B/s") return sizeText(value) + "/s";
    if (column.unit == "bit/s") return bitsText(value);
    if (column.unit == "%") return fixedText(value, 1) + "%";
    if (column.unit == "s") return spanText(value);
    return end(countText(value));
}

// The day only where the span has several.
static std::string timeText(Moment moment, bool withDay) {
    constexpr size_t Day = 10, Second = 19;
    std::string text;
    appendMoment(text, moment);
    return withDay ? text.substr(0, Day) + " " + text.substr(Day + 1, Second - Day - 1)
                   : text.substr(Day + 1, Second - Day - 1);
}

bool needDays(Moment from, Moment to) { return timeText(from, true).substr(0, 10) != timeText(to, true).substr(0, 10); }

// The things with the largest shares of all, and how many more there are.
static std::vector<size_t> largest(const Tally::KindTally& kind, size_t most) {
    std::vector<double> all(kind.columns.size()), score(kind.things.size());
    for (auto& thing : kind.things)
        for (const size_t i : kind.used)
            if (kind.columns[i].role == Role::Amount) all[i] += std::max(thing.figures[i].sum, 0.0);
    std::vector<size_t> order(kind.things.size());
    for (size_t t = 0; t < order.size(); t++) {
        order[t] = t;
        for (const size_t i : kind.used)
            if (all[i] > 0) score[t] += std::max(kind.things[t].figures[i].sum, 0.0) / all[i];
    }
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return score[a] > score[b]; });
    if (order.size() > most) order.resize(most);
    return order;
}

// How wide the names of things may be, so that the figures find room beside them.
static size_t nameWidth(size_t page) {
    constexpr size_t Least = 20, Share = 4; // of the page
    return page ? std::max(Least, page / Share) : SIZE_MAX;
}

Seen showKind(const Tally::KindTally& kind, size_t most, bool withDay, Page& page) {
    const Column columns[] = {
        {kind.tag, 12, 0, true }, // the thing
        {"figure", 14, 0, true },
        {"mean",   9,  0, false},
        {"min",    9,  2, false},
        {"p95",    9,  1, false},
        {"max",    9,  0, false},
        {"at",     8,  0, true },
    };
    Table table(columns);
    size_t still = 0;
    const auto order = largest(kind, most);
    for (const size_t t : order) {
        auto& thing = kind.things[t];
        for (const size_t i : kind.used) {
            const auto summary = Tally::summaryOf(kind, thing, i);
            if (!summary) continue;
            if (summary->least == 0 && summary->most == 0) {
                still++;
                continue;
            }
            const auto& column = kind.columns[i];
            table.cell(endOf(thing.name, nameWidth(page.width())));
            table.cell(column.name);
            for (const double value : {summary->mean, summary->least}) table.cell(valueText(column, value));
            table.cell(summary->p95 ? valueText(column, *summary->p95) : std::string(NoValue));
            table.cell(valueText(column, summary->most));
            table.cell(timeText(summary->when, withDay));
        }
    }
    if (table.empty()) return still > 0 ? Seen::Zeros : Seen::Nothing;
    std::string note;
    const auto add = [&](size_t count, std::string_view what) {
        if (count > 0) note += (note.empty() ? "" : ", ") + std::to_string(count) + std::string(what);
    };
    add(kind.things.size() - order.size(), " more (-n)");
    add(still, " figures 0 throughout");
    table.show(page, note.empty() ? "" : "(" + note + ")");
    page.line("");
    return Seen::Table;
}

// --- Who used what

static uint64_t sumOf(const Consumer& consumer, const Usage& usage) {
    uint64_t sum = 0;
    for (const auto what : usage.what) sum += consumer.of(what);
    return sum;
}

void showUsage(const Consumers& consumers, const Usage& usage, std::string_view by, size_t most, double seconds,
               Page& page) {
    std::vector<const Consumer*> order;
    uint64_t all = sumOf(consumers.rest(), usage);
    const uint64_t rest = all;
    for (auto& consumer : consumers.all()) {
        all += sumOf(consumer, usage);
        if (sumOf(consumer, usage) > 0) order.push_back(&consumer);
    }
    if (all == 0) return;
    std::stable_sort(order.begin(), order.end(), [&](auto* a, auto* b) { return sumOf(*a, usage) > sumOf(*b, usage); });
    // Where the log has only the sum of some, each of those that are shown may have a part of it.
    std::vector<Column> columns{
        {usage.title, 9, 0, false},
        {"mean",      9, 1, false},
        {"share",     6, 0, false}
    };
    if (rest) columns.push_back({"at_most", 7, 0, false});
    columns.push_back({by, 12, 0, true});
    Table table(columns);
    const auto row = [&](const std::string& name, uint64_t sum, bool bounded) {
        const auto value = static_cast<double>(sum);
        table.cell(usage.time ? fixedText(value / 1e6, 1) + "s" : sizeText(value));
        table.cell(usage.time ? percentText(value, seconds * 1e6) + "%"
                              : sizeText(seconds > 0 ? value / seconds : 0) + "/s");
        table.cell(percentText(value, static_cast<double>(all)) + "%");
        if (rest)
            table.cell(bounded ? percentText(static_cast<double>(sum + rest), static_cast<double>(all)) + "%"
                               : std::string(NoValue));
        table.cell(name);
    };
    uint64_t others = 0;
    for (size_t i = 0; i < order.size(); i++) {
        if (i < most)
            row(order[i]->name.empty() ? std::string(NoValue) : safeText(order[i]->name), sumOf(*order[i], usage),
                true);
        else others += sumOf(*order[i], usage);
    }
    if (order.size() > most) row("(" + std::to_string(order.size() - most) + " others)", others, true);
    if (rest) row("(without a record of their own)", rest, false);
    table.show(page);
    page.line("");
}
