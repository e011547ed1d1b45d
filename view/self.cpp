#include "view/self.h"

#include "record/moment.h"
#include "view/format.h"

#include <algorithm>
#include <vector>

// "2026-11-21 14:05:10 +01:00"
static std::string clockText(Moment time) {
    std::string text;
    appendMoment(text, time);
    text[10] = ' ';
    return text.substr(0, 19) + " " + text.substr(23);
}

// The share of one CPU that wyrt took.
static std::string costText(const Rows<SelfRow>& self) {
    const auto* row = self.one();
    if (!row || !row->cpu_us || self.elapsed_us <= 0) return {};
    return "wyrt " + fixedText(static_cast<double>(*row->cpu_us) * 100 / static_cast<double>(self.elapsed_us), 1) +
           "% of a CPU";
}

static std::string lateText(const SelfRow& row) {
    constexpr uint64_t Late = 10000; // microseconds that nobody would notice
    if (row.skipped || row.unwritten)
        return countText(static_cast<double>(row.skipped + row.unwritten)) + " left out before this one";
    return row.late_us > Late ? fixedText(static_cast<double>(row.late_us) / 1000, 0) + " ms late" : "on time";
}

namespace {
// One of the facts in the first line. Those with the highest rank go first where there is no room.
struct Fact {
    std::string text;
    int rank;
};
} // namespace

static void keepFitting(std::vector<Fact>& facts, size_t width, size_t used) {
    const auto needed = [&] {
        size_t sum = used;
        for (auto& fact : facts) sum += 2 + textWidth(fact.text);
        return sum;
    };
    while (width && !facts.empty() && needed() > width)
        facts.erase(std::max_element(facts.begin(), facts.end(), [](auto& a, auto& b) { return a.rank < b.rank; }));
}

void showTop(const Interval& interval, const View& view, Page& page) {
    const auto* host = interval.host.one();
    const auto* self = interval.self.one();
    std::string line = safeText(view.head.host) + "  " + clockText(interval.time) + "  #" +
                       std::to_string(interval.number) + "  " +
                       fixedText(static_cast<double>(interval.elapsed_us) / 1e6, 3) + " s";
    if (interval.damaged) line += "  DAMAGED: its bytes have changed";
    std::vector<Fact> facts;
    if (host && host->cpus) facts.push_back({counted(*host->cpus, "CPU"), 1});
    if (host && host->memory) facts.push_back({sizeText(static_cast<double>(*host->memory)), 2});
    if (host) facts.push_back({"Linux " + safeText(host->kernel), 5});
    if (host && host->uptime_s) facts.push_back({"up " + spanText(static_cast<double>(*host->uptime_s)), 4});
    const auto cost = costText(interval.self);
    if (self) facts.push_back({cost.empty() ? lateText(*self) : cost + ", " + lateText(*self), 3});
    keepFitting(facts, page.width(), textWidth(line));
    for (auto& fact : facts) line += "  " + fact.text;
    page.line(line, interval.damaged ? Tone::Bad : Tone::Title);
}

void showSelf(const Interval& interval, const View&, Page& page) {
    static constexpr Column Columns[] = {
        {"SELF",      8, 0, true },
        {"cpu%",      5, 0, false},
        {"sample_ms", 9, 1, false},
        {"rss",       6, 0, false},
        {"late_ms",   7, 0, false},
        {"skipped",   7, 1, false},
        {"unwritten", 9, 2, false},
        {"stuck",     5, 1, false},
        {"denied",    6, 1, false},
        {"TCP%",      5, 1, false},
    };
    const auto* row = interval.self.one();
    if (!row) return;
    Table table(Columns);
    const auto cpu = row->cpu_us ? std::optional(static_cast<double>(*row->cpu_us)) : std::nullopt;
    table.cell("");
    table.cell(percentText(cpu, static_cast<double>(interval.self.elapsed_us)));
    table.cell(orNone(row->sample_us, [](double v) { return fixedText(v / 1000, 2); }));
    table.cell(orNone(row->memory, sizeText));
    table.cell(fixedText(static_cast<double>(row->late_us) / 1000, 1));
    for (const uint64_t figure : {row->skipped, row->unwritten, row->helpers_stuck, row->not_allowed})
        table.cell(countText(static_cast<double>(figure)));
    // Of the segments, those that a socket counted.
    table.cell(percentText(row->tcp_explained, valueOf(row->tcp_segments)));
    table.show(page);
}
