#include "classic/monitor/port.h"

#include "classic/collect/settings.h"
#include "classic/monitor/options.h"
#include "classic/monitor/report.h"
#include "classic/monitor/reports.h"
#include "record/classic/port.h"

#include <algorithm>
#include <iterator>
#include <vector>

// --- Values

Text<32> getportstatus(int status, char tcpudptype, std::string_view st) {
    static constexpr const char* Names[] = {"",           "ESTABLISH", "SYN_SENT",  "SYN_RECV",
                                            "FIN_WAIT1",  "FIN_WAIT2", "TIME_WAIT", "CLOSE",
                                            "CLOSE_WAIT", "LAST_ACK",  "LISTEN",    "CLOSING"};
    const bool isTCP = tcpudptype == 'T';
    if (isTCP && status >= 1 && status < static_cast<int>(std::size(Names))) return Names[status];
    return Text<32>(isTCP ? "N/A(0x" : "UDP(0x").add(st).add(")");
}

static Text<40> dispaddrport(std::string_view addr, int port) { return Text<40>(addr).addf(":%d", port); }

namespace {
// A socket with the values that the table and the record show.
struct TPortRow {
    const TPortInfo& info;
    std::string_view ref; // its owners
    Text<40> local, remote;
    Text<32> state;
    const char* user;
    TPortRow(const TPortTable& table, const TPortInfo& row)
        : info(row), ref(table.ref(row)), local(dispaddrport(row.loc, row.loc_port)),
          remote(dispaddrport(row.rem, row.rem_port)), state(getportstatus(row.status, row.protocol, row.st)),
          user(getuser(row.uid)) {}
};
} // namespace

static const TPortInfo& info(const TPortRow& r) { return r.info; }
// Shown as 32 bits with a sign.
static TCell retransmits(const TPortRow& r) { return plain(static_cast<int>(r.info.retrnsmt)); }
static TCell protocol(const TPortRow& r) { return ValueText().addf("%c", r.info.protocol); }

template <auto Value> static TCell queueCell(const TPortRow& r) {
    constexpr int MostPlain = 100000; // a column of six holds this in full
    const int bytes = r.info.*Value;
    return bytes <= MostPlain ? plain(bytes) : GetValueStrNormal(bytes);
}

// --- Columns and records

static constexpr TColumn<TPortRow> PortColumns[] = {
    {"SL", 4, "", " ", numberCell<info, &TPortInfo::sl>},
    {"P", 1, "", " ", protocol},
    {"Local", -23, "", " ", textCell<&TPortRow::local>},
    {"Remote", -23, "", " ", textCell<&TPortRow::remote>},
    {"State", 10, "", " ", textCell<&TPortRow::state>},
    {"RX_Que", 6, "", " ", queueCell<&TPortInfo::rxq>},
    {"TX_Que", 6, "", " ", queueCell<&TPortInfo::txq>},
    {"RETRNSMT", 8, "", " ", retransmits},
    {"User", 8, "", " ", textCell<&TPortRow::user>},
    {"TimeOut", 7, "", " ", numberCell<info, &TPortInfo::timeout>},
    {"INODE", 9, "", "  ", numberCell<info, &TPortInfo::inode>},
    {"Process[PID/PPID]", 0, "", "", textCell<&TPortRow::ref>},
};

static constexpr auto PortRecord =
    recordOf<classic::PortKind, TPortRow, in<info, &TPortInfo::sl>, in<info, &TPortInfo::protocol>,
             in<info, &TPortInfo::loc>, in<info, &TPortInfo::loc_port>, in<info, &TPortInfo::rem>,
             in<info, &TPortInfo::rem_port>, in<info, &TPortInfo::st>, in<info, &TPortInfo::rxq>,
             in<info, &TPortInfo::txq>, in<info, &TPortInfo::retrnsmt>, &TPortRow::user, in<info, &TPortInfo::timeout>,
             in<info, &TPortInfo::inode>, &TPortRow::ref>;

// The states in the order of the table and the record, with their titles in the table.
static constexpr struct {
    const char* title;
    int status;
} States[] = {
    {"ESTAB",      1 },
    {"LISTEN",     10},
    {"SYN_S",      2 },
    {"SYN_R",      3 },
    {"F_WAIT1",    4 },
    {"F_WAIT2",    5 },
    {"TIME_WAIT",  6 },
    {"CLOSE",      7 },
    {"CLOSE_WAIT", 8 },
    {"LAST_ACK",   9 },
    {"CLOSING",    11},
    {"NA",         0 },
};
static int countIn(const TPortTable& table, size_t state) { return table.statuscount[States[state].status]; }
template <size_t State> static int sockets(const TPortTable& table) { return countIn(table, State); }

static constexpr auto StateRecord =
    recordOf<classic::StateKind, TPortTable, sockets<0>, sockets<1>, sockets<2>, sockets<3>, sockets<4>, sockets<5>,
             sockets<6>, sockets<7>, sockets<8>, sockets<9>, sockets<10>, sockets<11>>;

void dispPortHeaders() {
    dispHeader(classic::StateKind);
    dispHeader(classic::PortKind);
}

// --- The report

// The sum of both queues, in 32 bits.
static int queued(const TPortInfo& p) {
    return static_cast<int>(static_cast<unsigned>(p.txq) + static_cast<unsigned>(p.rxq));
}

// The fullest queues first, then TCP before UDP, then high local ports first. Equal rows keep the kernel's order.
static bool isBefore(const TPortInfo* a, const TPortInfo* b) {
    if (queued(*a) != queued(*b)) return queued(*a) > queued(*b);
    if (a->protocol != b->protocol) return a->protocol < b->protocol;
    if (a->loc_port != b->loc_port) return a->loc_port > b->loc_port;
    return a < b;
}

// The first `most` sockets in that order; with `filled` only those that have something in a queue.
static const std::vector<const TPortInfo*>& getRanking(const TPortTable& table, bool filled, size_t most) {
    static std::vector<const TPortInfo*> ranking;
    ranking.clear();
    for (auto& row : table.rows)
        if (!filled || queued(row) >= 1) ranking.push_back(&row);
    const auto count = static_cast<std::ptrdiff_t>(std::min(most, ranking.size()));
    std::partial_sort(ranking.begin(), ranking.begin() + count, ranking.end(), isBefore);
    ranking.resize(static_cast<size_t>(count));
    return ranking;
}

static void dispTable(const TPortTable& table) {
    sayText("\n  TCP - ");
    for (size_t i = 0; i < std::size(States); i++) say("%s%s:%d", i ? " / " : "", States[i].title, countIn(table, i));
    sayText("\n");
    dispTitles(PortColumns);
    sayText("\n");
    for (auto* row : getRanking(table, false, static_cast<size_t>(std::max(portrowcount, 0)))) {
        dispCells(PortColumns, TPortRow(table, *row));
        sayText("\n");
    }
}

// Quirk: records leave out sockets with empty queues and have no row limit; the table shows those sockets and has one.
// Seen by tests/worlds/port-queues-records and port-queues-limit.
static void dispRecords(const TPortTable& table) {
    dispRecord(StateRecord, table);
    for (auto* row : getRanking(table, true, table.rows.size())) dispRecord(PortRecord, {table, *row});
}

static TPortTable& ports() {
    static TPortTable table;
    return table;
}

const TPortTable& currentPorts() { return ports(); }

int dispport(int CallingIndex, int, int, TProcTable* processes, int PortRefLength) {
    auto& table = ports();
    const int count = getportinfo(CallingIndex, table, processes, FDMonitoring >= 1 ? PortRefLength : 0);
    if (count == 0) return 0;
    if (shooting) dispRecords(table);
    else dispTable(table);
    return count;
}
