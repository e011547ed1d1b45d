#include "view/churn.h"

#include "view/filter.h"
#include "view/format.h"
#include "view/order.h"

#include <algorithm>
#include <span>
#include <vector>

// --- Whose children

static constexpr Order<ChurnRow> Orders[] = {
    {"ended",  [](const ChurnRow& r) { return valueOf(r.ended); }  },
    {"cpu",    [](const ChurnRow& r) { return valueOf(r.cpu_us); } },
    {"failed", [](const ChurnRow& r) { return valueOf(r.failed); } },
    {"killed", [](const ChurnRow& r) { return valueOf(r.killed); } },
    {"life",   [](const ChurnRow& r) { return valueOf(r.life_us); }},
};

std::span<const std::string_view> churnSorts() { return wordsOf<Orders>(); }

static std::vector<const ChurnRow*> ordered(const Interval& interval, const Filter& filter, std::string_view sort) {
    std::vector<const ChurnRow*> rows;
    for (auto& row : interval.churn.rows)
        if (filter.wants(row)) rows.push_back(&row);
    const auto of = orderOf(Orders, sort).of;
    std::stable_sort(rows.begin(), rows.end(), [&](auto* a, auto* b) {
        const double left = of(*a), right = of(*b);
        return left != right ? left > right : valueOf(a->cpu_us) > valueOf(b->cpu_us);
    });
    return rows;
}

static void showParents(std::span<const ChurnRow* const> rows, double elapsed_us, Page& page) {
    static constexpr Column Columns[] = {
        {"CHURN", 15, 0, true},
        {"ppid", 7, 0, false},
        {"ended/s", 7, 0, false},
        {"fail/s", 6, 1, false},
        {"kill/s", 6, 2, false},
        {"cpu%", 5, 0, false},
        {"life_ms", 7, 2, false},
        {"unit", 8, 3, true},
        {"command", 15, 0, true, true},
    };
    Table table(Columns);
    const double seconds = elapsed_us / 1e6;
    for (auto* row : rows) {
        const auto rate = [&](const auto& amount) { return rateText(amount, seconds); };
        table.cell(safeText(row->parent_name.empty() ? NoValue : row->parent_name));
        table.cell(std::to_string(row->parent));
        table.cell(rate(row->ended));
        table.cell(rate(row->failed));
        table.cell(rate(row->killed), valueOf(row->killed) > 0 ? Tone::Notice : Tone::Plain);
        table.cell(percentText(row->cpu_us, elapsed_us));
        table.cell(row->life_us && valueOf(row->ended) > 0
                       ? fixedText(valueOf(row->life_us) / 1000 / valueOf(row->ended), 1)
                       : std::string(NoValue));
        table.cell(safeText(row->unit));
        table.cell(safeText(row->command.empty() ? NoValue : row->command));
    }
    table.show(page);
}

// --- How those ended that a sample saw

// "signal 9 KILL" or "code 3".
static std::string endText(const ExitRow& row) {
    if (row.signal.value_or(0) == 0) return "code " + std::to_string(row.code.value_or(0));
    std::string text = "signal " + std::to_string(*row.signal);
    static constexpr struct {
        uint64_t number;
        const char* name;
    } Names[] = {
        {1,  "HUP" },
        {2,  "INT" },
        {3,  "QUIT"},
        {4,  "ILL" },
        {5,  "TRAP"},
        {6,  "ABRT"},
        {7,  "BUS" },
        {8,  "FPE" },
        {9,  "KILL"},
        {11, "SEGV"},
        {13, "PIPE"},
        {14, "ALRM"},
        {15, "TERM"},
        {24, "XCPU"},
        {25, "XFSZ"},
        {31, "SYS" },
    };
    for (auto& known : Names)
        if (known.number == *row.signal) text.append(" ").append(known.name);
    return text;
}

// Those that were killed or failed; the others are only counted.
static std::vector<const ExitRow*> notable(const Interval& interval) {
    std::vector<const ExitRow*> rows;
    for (auto& row : interval.exits.rows)
        if (row.signal.value_or(0) > 0 || row.code.value_or(0) > 0) rows.push_back(&row);
    std::stable_sort(rows.begin(), rows.end(),
                     [](auto* a, auto* b) { return a->signal.value_or(0) > 0 && b->signal.value_or(0) == 0; });
    return rows;
}

static void showExits(std::span<const ExitRow* const> rows, Page& page) {
    static constexpr Column Columns[] = {
        {"EXIT", 15, 0, true },
        {"pid",  7,  0, false},
        {"ppid", 7,  1, false},
        {"life", 7,  1, false},
        {"end",  14, 0, true },
    };
    Table table(Columns);
    for (auto* row : rows) {
        table.cell(safeText(row->name));
        table.cell(std::to_string(row->pid));
        table.cell(std::to_string(row->parent));
        table.cell(orNone(row->life_us, [](double us) { return spanText(us / 1e6); }));
        table.cell(endText(*row), row->signal.value_or(0) > 0 ? Tone::Bad : Tone::Plain);
    }
    table.show(page);
}

// --- All together

static std::string summary(const Interval& interval, const ChurnsRow& all, double seconds) {
    const auto rate = [&](const auto& amount) { return rateText(amount, seconds); };
    std::string text = rate(all.forks) + " forks/s";
    if (all.ended) text += ", " + rate(all.ended) + " ends/s";
    if (const auto* seen = interval.processesTotal.one(); seen && seen->started && seen->ended)
        text += "; " + std::to_string(*seen->started) + " started, " + std::to_string(*seen->ended) + " ended";
    if (all.unseen) text += ", " + std::to_string(*all.unseen) + " lived and died in between";
    else text += "; what ends in between is not reported: wyrt check";
    if (all.lost > 0) text += "; reports were lost " + counted(all.lost, "time");
    return text;
}

void showChurn(const Interval& interval, const View& view, Page& page) {
    constexpr size_t MostRows = 10, MostExits = 5;
    const auto* all = interval.churnTotal.one();
    if (!all) return;
    const auto elapsed_us = static_cast<double>(interval.churnTotal.elapsed_us);
    const Filter filter(view.asked, interval);
    auto rows = ordered(interval, filter, view.asked.sort);
    const size_t commands = rows.size();
    rows.resize(std::min(commands, view.rowsOr(MostRows)));
    const auto text = summary(interval, *all, elapsed_us / 1e6);
    if (rows.empty()) page.clauses("CHURN  " + text);
    else showParents(rows, elapsed_us, page), page.more(commands - rows.size()), page.clauses(text, Tone::Dim);
    if (filter.any()) return; // how others ended does not belong to them
    auto exits = notable(interval);
    const size_t ended = exits.size();
    exits.resize(std::min(ended, view.rowsOr(MostExits)));
    if (exits.empty()) return;
    showExits(exits, page);
    page.more(ended - exits.size());
}
