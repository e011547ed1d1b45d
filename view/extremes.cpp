#include "view/extremes.h"

#include "view/cpu.h"
#include "view/disk.h"
#include "view/format.h"
#include "view/memory.h"
#include "view/net.h"

#include <algorithm>

static std::string oneDecimal(double value) { return fixedText(value, 1); }

CellValue decimalFigure(const std::optional<double>& value) { return {value, oneDecimal}; }

CellValue levelFigure(const std::optional<uint64_t>& level, std::string (*text)(double)) {
    return {level ? std::optional(valueOf(level)) : std::nullopt, text};
}

CellValue rateFigure(const std::optional<uint64_t>& amount, double seconds) {
    return {amount && seconds > 0 ? std::optional(valueOf(amount) / seconds) : std::nullopt, countText};
}

CellValue speedFigure(const std::optional<uint64_t>& bytes, double seconds) {
    constexpr double MB = 1048576;
    return decimalFigure(bytes && seconds > 0 ? std::optional(valueOf(bytes) / MB / seconds) : std::nullopt);
}

CellValue percentFigure(const std::optional<double>& part, double whole) {
    return decimalFigure(part && whole > 0 ? std::optional(*part * 100 / whole) : std::nullopt);
}

void figureCells(std::span<const CellValue> figures, Table& table) {
    for (auto& figure : figures)
        table.cell(orNone(figure.value, figure.text), valueOf(figure.value) > 0 ? figure.aboveZero : Tone::Plain);
}

// --- Of many intervals

namespace {
struct Ranged {
    std::string_view title;
    CellValues (*of)(const Interval& interval); // empty: the interval has none
};
} // namespace

static constexpr Ranged Tables[] = {
    {"CPU",  cpuFigures   },
    {"MEM",  memoryFigures},
    {"DISK", diskFigures  },
    {"NET",  netFigures   },
};

template <typename Choose> static void widen(const CellValues& figures, CellValues& range, const Choose& choose) {
    if (range.empty()) range = figures;
    for (size_t i = 0; i < std::min(figures.size(), range.size()); i++) {
        auto& value = range[i].value;
        if (figures[i].value) value = value ? choose(*value, *figures[i].value) : *figures[i].value;
    }
}

void TableExtremes::add(const Interval& interval) {
    ranges.resize(std::size(Tables));
    for (size_t i = 0; i < ranges.size(); i++) {
        const auto figures = Tables[i].of(interval);
        widen(figures, ranges[i].least, [](double a, double b) { return std::min(a, b); });
        widen(figures, ranges[i].most, [](double a, double b) { return std::max(a, b); });
    }
    count++;
}

void TableExtremes::clear() {
    ranges.clear();
    count = 0;
}

void TableExtremes::rows(std::string_view title, Table& table, size_t emptyCells) const {
    if (count < 2) return;
    for (size_t i = 0; i < ranges.size(); i++) {
        if (Tables[i].title != title) continue;
        for (const auto& [name, figures] : {std::pair("min", &ranges[i].least), std::pair("max", &ranges[i].most)}) {
            table.cell(name);
            figureCells(*figures, table);
            for (size_t empty = 0; empty < emptyCells; empty++) table.cell("");
        }
    }
}
