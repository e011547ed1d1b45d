#include "wyrtlog/tally.h"

#include "view/format.h"

#include <algorithm>
#include <bit>
#include <cmath>

static constexpr uint32_t NoColumn = UINT32_MAX; // a record was there

// --- Histogram

size_t Histogram::add(double value) {
    const auto place = static_cast<uint32_t>(std::bit_cast<uint64_t>(value) >> Shift);
    const size_t before = counts.size();
    if (counts.empty()) first = place;
    if (place < first) {
        counts.insert(counts.begin(), first - place, 0);
        first = place;
    }
    if (place - first >= counts.size()) counts.resize(place - first + size_t{1});
    counts[place - first]++;
    return (counts.size() - before) * sizeof counts[0];
}

double Histogram::at(uint64_t rank) const {
    size_t i = 0;
    for (uint64_t passed = 0; i < counts.size() && (passed += counts[i]) < rank; i++) {
    }
    const uint64_t place = first + uint64_t{i};
    const auto low = std::bit_cast<double>(place << Shift), high = std::bit_cast<double>((place + 1) << Shift);
    return (low + high) / 2;
}

// --- Heads

bool isFigure(const SheetColumn& column) {
    const bool number = column.cast == Cast::Real || (column.cast == Cast::Whole && column.range != Range::Flag);
    return number && (column.role == Role::Amount || column.role == Role::Level);
}

void Tally::head(const Sheets& sheets, const std::function<bool(const Sheet&, const SheetColumn&)>& wanted) {
    kinds.resize(sheets.sheets().size());
    for (auto& sheet : sheets.sheets()) {
        auto& kind = kinds[sheet.number];
        kind.seen = false; // until a record shows that the area is in this log, too
        kind.tag = sheet.tag;
        for (size_t i = kind.columns.size(); i < sheet.columns.size(); i++) {
            const auto& column = sheet.columns[i];
            if (isFigure(column) && wanted(sheet, column)) kind.used.push_back(i);
        }
        kind.columns = sheet.columns;
        for (auto& thing : kind.things) thing.figures.resize(kind.columns.size());
    }
}

// --- Records

void Tally::begin(const Interval& interval) {
    pending.clear();
    seconds = static_cast<double>(interval.elapsed_us) / 1e6;
    for (auto& kind : kinds) kind.guess = 0;
}

// Things mostly come in the same order as before.
size_t Tally::thingOf(KindTally& kind, const Sheet& sheet, const Cells& cells) {
    key.clear();
    for (auto& column : sheet.columns)
        if (column.role == Role::Id) key.append(cells[column.place]).append(1, ',');
    if (kind.guess < kind.things.size() && kind.things[kind.guess].key == key) return kind.guess++;
    const auto found = kind.byKey.find(key);
    if (found != kind.byKey.end()) return kind.guess = found->second + 1, found->second;
    constexpr size_t Most = 1000;
    if (kind.things.size() >= Most) return NoCell;
    auto& thing = kind.things.emplace_back();
    thing.key = key;
    thing.since = kind.intervals;
    thing.figures.resize(kind.columns.size());
    for (auto& column : sheet.columns)
        if (column.role == Role::Id) {
            std::string text;
            appendText(cells[column.place], text);
            thing.name += (thing.name.empty() || text.empty() ? "" : " ") + safeText(text);
        }
    kind.byKey.emplace(thing.key, kind.things.size() - 1);
    kind.guess = kind.things.size();
    return kind.things.size() - 1;
}

bool Tally::line(const Sheet& sheet, const Cells& cells, int64_t elapsed_us) {
    auto& kind = kinds[sheet.number];
    kind.seen = true;
    bool ids = false, identified = false;
    for (auto& column : sheet.columns)
        if (column.role == Role::Id) ids = true, identified |= !cells[column.place].empty();
    if (ids && !identified) return true; // the sum of others is no thing
    const size_t thing = thingOf(kind, sheet, cells);
    if (thing == NoCell) return kind.left++, true;
    pending.push_back({static_cast<uint32_t>(sheet.number), static_cast<uint32_t>(thing), NoColumn, 0, 0, 0});
    const double own = static_cast<double>(elapsed_us) / 1e6;
    const double perSecond = elapsed_us > 0 ? 1e6 / static_cast<double>(elapsed_us) : 0;
    for (const size_t i : kind.used) {
        const auto& column = kind.columns[i];
        const auto cell = cells[sheet.columns[i].place];
        if (cell.empty()) continue;
        if (!fits(column, cell)) return false;
        const auto whole = column.cast == Cast::Whole ? signedOf(cell) : std::nullopt;
        const double amount = whole ? static_cast<double>(*whole) : *realOf(cell);
        const double value = column.role == Role::Amount ? amount * perSecond : amount;
        if (column.role == Role::Level || perSecond > 0)
            pending.push_back({static_cast<uint32_t>(sheet.number), static_cast<uint32_t>(thing),
                               static_cast<uint32_t>(i), amount, value, own});
    }
    return true;
}

void Tally::take(const Pending& one, Moment time) {
    constexpr size_t MostBytes = size_t{16} << 20;
    auto& thing = kinds[one.kind].things[one.thing];
    if (one.column == NoColumn) return void(thing.records++);
    auto& figure = thing.figures[one.column];
    figure.count++;
    figure.sum += one.amount, figure.seconds += one.seconds;
    if (one.value < figure.least) figure.least = one.value;
    if (one.value > figure.most) figure.most = one.value, figure.when = time;
    if (one.value < 0) figure.negative = true;
    if (one.value <= 0) return;
    if (bytes < MostBytes) figure.positive++, bytes += figure.histogram.add(one.value);
    else figure.negative = true; // no percentile
}

void Tally::end(bool keep, Moment time) {
    if (!keep) return;
    for (auto& one : pending) take(one, time);
    for (auto& kind : kinds)
        if (kind.seen) kind.intervals++, kind.seconds += seconds;
}

// --- What is shown

// A thing without a record did nothing: its amounts were 0 then, and its levels are not known. An empty cell of a
// record is no value.
std::optional<Summary> Tally::summaryOf(const KindTally& kind, const Thing& thing, size_t column) {
    const auto& figure = thing.figures[column];
    if (figure.count == 0) return {};
    const bool amount = kind.columns[column].role == Role::Amount;
    const uint64_t present = kind.intervals - std::min(kind.intervals, thing.since);
    const uint64_t idle = amount ? present - std::min(present, thing.records) : 0, all = figure.count + idle;
    Summary summary;
    summary.least = idle ? std::min(0.0, figure.least) : figure.least;
    summary.most = figure.most, summary.when = figure.when;
    const double each = kind.intervals ? kind.seconds / static_cast<double>(kind.intervals) : 0;
    const double time = figure.seconds + each * static_cast<double>(idle);
    if (!amount) summary.mean = figure.sum / static_cast<double>(all);
    else if (time > 0) summary.mean = figure.sum / time;
    if (figure.negative) return summary;
    const auto rank = static_cast<uint64_t>(std::ceil(static_cast<double>(all) * 0.95));
    const uint64_t zeros = all - std::min(all, figure.positive);
    summary.p95 = rank <= zeros ? 0 : std::clamp(figure.histogram.at(rank - zeros), summary.least, summary.most);
    return summary;
}
