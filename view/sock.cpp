#include "view/sock.h"

#include "view/filter.h"
#include "view/format.h"
#include "view/order.h"

#include <algorithm>
#include <vector>

// --- States

static std::string spaceName(const Interval& interval, uint64_t netns) {
    for (auto& row : interval.namespaces.rows)
        if (row.netns == netns) return row.own ? "" : row.name.empty() ? std::to_string(netns) : safeText(row.name);
    return std::to_string(netns);
}

static void showStates(const Interval& interval, Page& page) {
    static constexpr Column Columns[] = {
        {"SOCK",    5, 0, true },
        {"all",     6, 0, false},
        {"estab",   6, 0, false},
        {"syn-s",   5, 2, false},
        {"syn-r",   5, 2, false},
        {"fin1",    5, 4, false},
        {"fin2",    5, 4, false},
        {"clos-w",  6, 1, false},
        {"l-ack",   5, 5, false},
        {"closing", 7, 6, false},
        {"close",   5, 5, false},
        {"listen",  6, 1, false},
        {"queued",  6, 0, false},
        {"recv-q",  6, 0, false},
        {"send-q",  6, 0, false},
        {"network", 0, 0, true },
    };
    Table table(Columns);
    for (auto& row : interval.socketsTotal.rows) {
        const bool isUnix = row.family == 0, tcp = row.protocol == "tcp";
        table.cell(safeText(row.protocol) + (isUnix ? "" : std::to_string(row.family)));
        const auto number = [&](uint64_t count, bool known = true, Tone tone = Tone::Plain) {
            table.cell(known ? countText(static_cast<double>(count)) : "", tone);
        };
        number(row.sockets), number(row.established), number(row.syn_sent, tcp), number(row.syn_received, tcp);
        number(row.fin_wait1, tcp), number(row.fin_wait2, tcp), number(row.close_wait, tcp);
        number(row.last_ack, tcp), number(row.closing, tcp), number(row.closed, !tcp);
        number(row.listening, tcp || isUnix), number(row.queued, !isUnix);
        table.cell(isUnix ? "" : sizeText(static_cast<double>(row.receive_queue)));
        table.cell(isUnix ? "" : sizeText(static_cast<double>(row.send_queue)));
        table.cell(spaceName(interval, row.netns));
    }
    if (!table.empty()) table.show(page);
}

// --- What the namespaces count

static std::string countersText(const Interval& interval) {
    const double seconds = interval.namespaces.seconds();
    NetnsRow sum;
    uint64_t time_wait = 0, others = 0, unknown = 0, left_out = 0;
    for (auto& row : interval.namespaces.rows) {
        addAmounts(NetnsKind, row, sum);
        time_wait += row.time_wait.value_or(0);
        others += !row.own, unknown += !row.known, left_out += row.left_out.value_or(0);
    }
    const auto rate = [&](const std::optional<uint64_t>& amount, const char* what) {
        return rateText(amount, seconds) + what;
    };
    std::string text = rate(sum.segments_in, " segments/s in, ") + rate(sum.segments_out, " out");
    const double segments = valueOf(sum.segments_in) + valueOf(sum.segments_out) + valueOf(sum.retransmitted);
    if (segments > 0 && sum.explained)
        text += " (" + percentText(std::min(valueOf(sum.explained), segments), segments) + "% by sockets known here)";
    if (sum.received || sum.sent)
        text += ", " + speedText(sum.received, seconds) + " MB/s in, " + speedText(sum.sent, seconds) + " out";
    const auto some = [&](const std::optional<uint64_t>& amount, const char* what) {
        if (amount.value_or(0) > 0) text += ", " + rate(amount, what);
    };
    some(sum.retransmitted, " sent again/s"), some(sum.connects, " connects/s"), some(sum.accepts, " accepts/s");
    some(sum.failed, " failed/s"), some(sum.resets, " reset/s"), some(sum.drops, " not accepted/s");
    some(sum.cookies, " SYN cookies/s"), some(sum.udp_full, " datagrams without room/s");
    if (time_wait > 0) text += ", " + countText(static_cast<double>(time_wait)) + " in TIME_WAIT";
    if (const auto lost = sum.reports_lost.value_or(0); lost > 0)
        text += "; reports of ended sockets were lost " + std::to_string(lost) + (lost == 1 ? " time" : " times");
    if (others > 0) text += "; " + counted(others, "other network");
    if (left_out > 0) text += "; " + counted(left_out, "more network") + " not looked at";
    if (unknown > 0) text += "; sockets not known: wyrt check";
    return text;
}

// --- Ends

// "10.2.0.7:443", "[2001:db8::7]:https", "*:80"
static std::string endText(const std::string& address, uint64_t family, uint64_t port, const std::string& service,
                           bool names) {
    if (address.empty() && port == 0) return "*";
    std::string text = address.empty() ? "*" : safeText(address);
    if (family == 6 && !address.empty()) text = "[" + text + "]";
    return text + ":" + (names && !service.empty() ? safeText(service) : std::to_string(port));
}

// "gunicorn[911] x4"
static std::string ownerText(const SocketOwner& owner) {
    if (!owner.pid) return std::string(NoValue);
    auto text = safeText(owner.process.empty() ? "?" : owner.process) + "[" + std::to_string(*owner.pid) + "]";
    if (owner.owners > 1) text += " x" + std::to_string(owner.owners);
    return owner.mark == "~" ? "~" + text : text;
}

// --- Listeners

// Those with a queue that is half full, or that dropped something.
static std::vector<const ListenRow*> inTrouble(const Interval& interval, const ViewRow& asked, const Filter& filter) {
    const bool all = asked.state == "LISTEN" || !asked.port.empty() || filter.any();
    std::vector<const ListenRow*> rows;
    for (auto& row : interval.listeners.rows) {
        const bool trouble = valueOf(row.drops) > 0 || valueOf(row.backlog) * 2 >= std::max(valueOf(row.limit), 1.0);
        if ((trouble || all) && wantsSocket(asked, row.port, 0, row.address, "", "LISTEN") && filter.wants(row))
            rows.push_back(&row);
    }
    std::stable_sort(rows.begin(), rows.end(), [](auto* a, auto* b) {
        if (valueOf(a->drops) != valueOf(b->drops)) return valueOf(a->drops) > valueOf(b->drops);
        return valueOf(a->backlog) > valueOf(b->backlog);
    });
    return rows;
}

static void showListeners(const Interval& interval, const View& view, const Filter& filter, Page& page) {
    static constexpr Column Columns[] = {
        {"LISTEN", 22, 0, true},
        {"backlog", 7, 0, false},
        {"limit", 5, 0, false},
        {"drop/s", 6, 0, false},
        {"begin/s", 7, 3, false},
        {"cpu%", 5, 2, false},
        {"state", 7, 2, true},
        {"network", 0, 4, true},
        {"unit", 8, 3, true},
        {"process", 20, 0, true, true},
    };
    constexpr size_t Usual = 10;
    auto rows = inTrouble(interval, view.asked, filter);
    const size_t all = rows.size();
    rows.resize(std::min(all, view.rowsOr(Usual)));
    if (rows.empty()) return;
    const double seconds = interval.listeners.seconds();
    Table table(Columns);
    for (auto* row : rows) {
        const bool full = row->limit && valueOf(row->backlog) > valueOf(row->limit);
        table.cell(endText(row->address, row->family, row->port, row->service, view.asked.services));
        table.cell(orNone(row->backlog, countText), full ? Tone::Bad : Tone::Plain);
        table.cell(orNone(row->limit, countText));
        table.cell(rateText(row->drops, seconds), valueOf(row->drops) > 0 ? Tone::Bad : Tone::Plain);
        table.cell(rateText(row->accepted, seconds));
        table.cell(percentText(row->owners_cpu_us ? std::optional(valueOf(row->owners_cpu_us)) : std::nullopt,
                               static_cast<double>(interval.listeners.elapsed_us)));
        const bool asleep = row->asleep && *row->asleep == row->owners, stopped = valueOf(row->stopped) > 0;
        table.cell(!row->asleep ? std::string(NoValue)
                   : stopped    ? "stopped"
                   : asleep     ? "asleep"
                                : "awake",
                   stopped ? Tone::Bad : Tone::Plain);
        table.cell(spaceName(interval, row->netns));
        table.cell(safeText(row->unit));
        table.cell(ownerText(*row));
    }
    table.show(page);
    page.more(all - rows.size());
}

// --- Sockets

// clang-format off
static constexpr Order<SockRow> Orders[] = {
    {"queue",         [](const SockRow& r) { return valueOf(r.receive_queue) + valueOf(r.send_queue); }},
    {"bytes",         [](const SockRow& r) { return valueOf(r.received) + valueOf(r.sent); }},
    {"received",      [](const SockRow& r) { return valueOf(r.received); }},
    {"sent",          [](const SockRow& r) { return valueOf(r.sent); }},
    {"retransmitted", [](const SockRow& r) { return valueOf(r.retransmitted); }},
    {"drops",         [](const SockRow& r) { return valueOf(r.drops); }},
    {"rtt",           [](const SockRow& r) { return valueOf(r.rtt_us); }},
    {"unread",        [](const SockRow& r) { return valueOf(r.unread_us); }},
};
// clang-format on

std::span<const std::string_view> socketSorts() { return wordsOf<Orders>(); }

// Those that are equal in one figure go by the next.
static std::vector<const SockRow*> ordered(const Interval& interval, const ViewRow& asked, const Filter& filter) {
    std::vector<const SockRow*> rows;
    for (auto& row : interval.sockets.rows)
        if (wantsSocket(asked, row.port, row.peer_port, row.address, row.peer, row.state) && filter.wants(row))
            rows.push_back(&row);
    const auto of = orderOf(Orders, asked.sort).of;
    std::stable_sort(rows.begin(), rows.end(), [&](auto* a, auto* b) {
        for (const auto figure : {of, Orders[0].of, Orders[1].of, Orders[4].of})
            if (const double left = figure(*a), right = figure(*b); left != right) return left > right;
        return false;
    });
    return rows;
}

static void cells(const SockRow& row, const Interval& interval, bool services, Table& table) {
    const double seconds = interval.sockets.seconds();
    constexpr double Long = 10e6; // microseconds that nobody has read
    table.cell(safeText(row.protocol) + std::to_string(row.family));
    table.cell(safeText(row.state));
    table.cell(endText(row.address, row.family, row.port, row.service, services));
    table.cell(endText(row.peer, row.family, row.peer_port, row.peer_service, services));
    table.cell(orNone(row.receive_queue, sizeText)), table.cell(orNone(row.send_queue, sizeText));
    table.cell(row.unread_us ? spanText(valueOf(row.unread_us) / 1e6) : std::string(),
               valueOf(row.unread_us) >= Long ? Tone::Notice : Tone::Plain);
    table.cell(speedText(row.received, seconds)), table.cell(speedText(row.sent, seconds));
    table.cell(rateText(row.retransmitted, seconds), valueOf(row.retransmitted) > 0 ? Tone::Notice : Tone::Plain);
    table.cell(rateText(row.drops, seconds), valueOf(row.drops) > 0 ? Tone::Notice : Tone::Plain);
    table.cell(row.rtt_us && *row.rtt_us ? fixedText(valueOf(row.rtt_us) / 1000, 1) : std::string(NoValue));
    table.cell(row.window && *row.window ? countText(valueOf(row.window)) : std::string(NoValue));
    table.cell(spaceName(interval, row.netns));
    table.cell(safeText(row.unit));
    table.cell(ownerText(row));
}

static void showConnections(const Interval& interval, const View& view, const Filter& filter, Page& page) {
    static constexpr Column Columns[] = {
        {"CONN", 4, 0, true},
        {"state", 11, 3, true},
        {"here", 15, 0, true},
        {"there", 15, 0, true},
        {"recv-q", 6, 1, false},
        {"send-q", 6, 1, false},
        {"unread", 6, 4, false},
        {"rMB/s", 6, 1, false},
        {"wMB/s", 6, 1, false},
        {"again/s", 7, 2, false},
        {"drop/s", 6, 5, false},
        {"rtt_ms", 6, 4, false},
        {"cwnd", 5, 7, false},
        {"network", 0, 7, true},
        {"unit", 8, 6, true},
        {"process", 16, 0, true, true},
    };
    constexpr size_t Usual = 20;
    const auto rows = ordered(interval, view.asked, filter);
    const size_t shown = std::min(view.rowsOr(Usual), rows.size());
    if (shown == 0) return;
    Table table(Columns);
    for (size_t i = 0; i < shown; i++) cells(*rows[i], interval, view.asked.services, table);
    table.show(page);
    page.more(rows.size() - shown);
}

void showSockets(const Interval& interval, const View& view, Page& page) {
    if (interval.namespaces.rows.empty()) return;
    showStates(interval, page);
    page.clauses((interval.socketsTotal.rows.empty() ? "SOCK  " : "      ") + countersText(interval), Tone::Dim);
    const Filter filter(view.asked, interval);
    showListeners(interval, view, filter, page);
    showConnections(interval, view, filter, page);
}
