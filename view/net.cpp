#include "view/net.h"

#include "view/format.h"
#include "view/order.h"

#include <algorithm>
#include <iterator>
#include <vector>

static std::optional<uint64_t> both(const std::optional<uint64_t>& a, const std::optional<uint64_t>& b) {
    return a || b ? std::optional(a.value_or(0) + b.value_or(0)) : std::nullopt;
}

static CellValues trafficFigures(const LinkTraffic& link, double seconds) {
    const auto speed = [&](const auto& bytes) { return speedFigure(bytes, seconds); };
    const auto rate = [&](const auto& amount) { return rateFigure(amount, seconds); };
    const auto trouble = [&](const auto& amount) {
        auto figure = rate(amount);
        figure.aboveZero = Tone::Notice;
        return figure;
    };
    return {speed(link.rx_bytes),
            speed(link.tx_bytes),
            rate(link.rx_packets),
            rate(link.tx_packets),
            trouble(both(link.rx_errors, link.tx_errors)),
            trouble(both(link.rx_dropped, link.tx_dropped))};
}

CellValues netFigures(const Interval& interval) {
    const auto* all = interval.linksTotal.one();
    return all ? trafficFigures(*all, interval.linksTotal.seconds()) : CellValues();
}

// The busier direction as a share of the speed.
static void useCell(const LinkRow& link, double seconds, Table& table) {
    constexpr double Near = 70, Saturated = 90; // percent
    if (!link.speed || *link.speed == 0 || !link.rx_bytes || !link.tx_bytes || seconds <= 0)
        return table.cell(std::string(NoValue));
    const double bits = static_cast<double>(std::max(*link.rx_bytes, *link.tx_bytes)) * 8 / seconds;
    const double use = bits * 100 / static_cast<double>(*link.speed);
    table.cell(fixedText(use, 1), use >= Saturated ? Tone::Bad : use >= Near ? Tone::Notice : Tone::Plain);
}

static constexpr Order<LinkRow> Orders[] = {
    {"bytes",   [](const LinkRow& r) { return valueOf(r.rx_bytes) + valueOf(r.tx_bytes); }    },
    {"read",    [](const LinkRow& r) { return valueOf(r.rx_bytes); }                          },
    {"write",   [](const LinkRow& r) { return valueOf(r.tx_bytes); }                          },
    {"packets", [](const LinkRow& r) { return valueOf(r.rx_packets) + valueOf(r.tx_packets); }},
    {"errors",
     [](const LinkRow& r) {
         return valueOf(r.rx_errors) + valueOf(r.tx_errors) + valueOf(r.rx_dropped) + valueOf(r.tx_dropped);
     }                                                                                        },
};

std::span<const std::string_view> netSorts() { return wordsOf<Orders>(); }

static std::vector<const LinkRow*> ordered(const Interval& interval, std::string_view sort) {
    std::vector<const LinkRow*> rows;
    for (auto& row : interval.links.rows)
        if (isActive(row)) rows.push_back(&row);
    const auto of = orderOf(Orders, sort).of;
    std::sort(rows.begin(), rows.end(), [&](const LinkRow* a, const LinkRow* b) {
        const double left = of(*a), right = of(*b);
        return left != right ? left > right : a->name < b->name;
    });
    return rows;
}

// The addresses that find room; one at the least.
static std::string addressText(std::string_view addresses, size_t width) {
    constexpr size_t Others = 70, Least = 15; // columns of the terminal: all before the address; an IPv4 address
    if (width == 0 || addresses.empty()) return safeText(addresses);
    const size_t room = std::max(width, Others + Least) - Others;
    if (addresses.size() <= room) return safeText(addresses);
    const auto end = addresses.rfind(' ', room);
    addresses = addresses.substr(0, end == addresses.npos ? addresses.find(' ') : end);
    return safeText(addresses);
}

// Those of other network namespaces, with most traffic first.
static std::vector<const SpaceLinkRow*> othersOf(const Interval& interval) {
    std::vector<const SpaceLinkRow*> rows;
    for (auto& row : interval.spaceLinks.rows)
        if (isActive(row) && row.name != "lo") rows.push_back(&row);
    std::stable_sort(rows.begin(), rows.end(), [](auto* a, auto* b) {
        return valueOf(a->rx_bytes) + valueOf(a->tx_bytes) > valueOf(b->rx_bytes) + valueOf(b->tx_bytes);
    });
    return rows;
}

// A namespace is not read in each sample, so its traffic has a time of its own.
static void otherCells(const SpaceLinkRow& row, Table& table) {
    table.cell(safeText(row.name));
    figureCells(trafficFigures(row, valueOf(row.span_us) / 1e6), table);
    table.cell(""), table.cell(""), table.cell("");
    table.cell("in " + (row.space.empty() ? "network " + std::to_string(row.netns) : safeText(row.space)));
}

void showNet(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"NET",     10, 0, true },
        {"rMB/s",   6,  0, false},
        {"wMB/s",   6,  0, false},
        {"rpkt/s",  6,  3, false},
        {"wpkt/s",  6,  3, false},
        {"err/s",   5,  0, false},
        {"drop/s",  6,  0, false},
        {"speed",   5,  2, false},
        {"use%",    5,  1, false},
        {"state",   5,  4, true },
        {"address", 7,  0, true },
    };
    const auto* all = interval.linksTotal.one();
    if (!all) return;
    const auto others = othersOf(interval);
    if (all->idle == all->links && others.empty()) {
        size_t used = 0;
        page.piece("NET", used, Tone::Title);
        page.piece("  " + counted(all->links, "interface") + ", idle", used);
        return page.newline();
    }
    const double seconds = interval.links.seconds();
    constexpr size_t Most = 12;
    Table table(Columns);
    size_t left = view.rowsOr(Most);
    const auto rows = ordered(interval, view.asked.sort);
    for (const auto* row : rows) {
        if (left-- == 0) break;
        table.cell(safeText(row->name));
        figureCells(trafficFigures(*row, seconds), table);
        table.cell(orNone(row->speed, bitsText));
        useCell(*row, seconds, table);
        table.cell(safeText(row->state)), table.cell(addressText(row->addresses, page.width()));
    }
    constexpr size_t SpeedToAddress = 4; // columns
    if (all->links > 1) {
        table.cell("all " + std::to_string(all->counted));
        figureCells(netFigures(interval), table);
        table.cell(""), table.cell(""), table.cell("");
        const uint64_t shown = std::min<uint64_t>(rows.size(), view.rowsOr(Most)), active = all->links - all->idle;
        std::string note = all->idle ? std::to_string(all->idle) + " idle" : std::string();
        if (active > shown) note += (note.empty() ? "" : ", ") + std::to_string(active - shown) + " not shown";
        table.cell(note);
        if (view.extremes) view.extremes->rows("NET", table, SpeedToAddress);
    }
    const size_t elsewhere = std::min(others.size(), view.rowsOr(Most));
    for (size_t i = 0; i < elsewhere; i++) otherCells(*others[i], table);
    table.show(page);
    page.more(others.size() - elsewhere);
}
