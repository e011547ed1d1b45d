#include "classic/monitor/port.h"

#include "classic/collect/settings.h"
#include "classic/monitor/options.h"
#include "classic/monitor/records.h"
#include "classic/monitor/reports.h"

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
// A socket as both forms show it.
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

template <auto Value> static TCell info(const TPortRow& r) { return plain(r.info.*Value); }
// Shown as 32 bits with a sign.
static TCell retransmits(const TPortRow& r) { return plain(static_cast<int>(r.info.retrnsmt)); }
static TCell protocol(const TPortRow& r) { return ValueText().addf("%c", r.info.protocol); }

template <auto Value> static TCell queue(const TPortRow& r) {
    constexpr int MostPlain = 100000; // what a column of six still holds in full
    const int bytes = r.info.*Value;
    return bytes <= MostPlain ? plain(bytes) : GetValueStrNormal(bytes);
}

// --- Columns and fields

static constexpr TColumn<TPortRow> PortColumns[] = {
    {"SL", 4, "", " ", info<&TPortInfo::sl>},
    {"P", 1, "", " ", protocol},
    {"Local", -23, "", " ", text<TPortRow, &TPortRow::local>},
    {"Remote", -23, "", " ", text<TPortRow, &TPortRow::remote>},
    {"State", 10, "", " ", text<TPortRow, &TPortRow::state>},
    {"RX_Que", 6, "", " ", queue<&TPortInfo::rxq>},
    {"TX_Que", 6, "", " ", queue<&TPortInfo::txq>},
    {"RETRNSMT", 8, "", " ", retransmits},
    {"User", 8, "", " ", text<TPortRow, &TPortRow::user>},
    {"TimeOut", 7, "", " ", info<&TPortInfo::timeout>},
    {"INODE", 9, "", "  ", info<&TPortInfo::inode>},
    {"Process[PID/PPID]", 0, "", "", text<TPortRow, &TPortRow::ref>},
};

template <auto Value> static TValue field(const TPortRow& r) {
    if constexpr (requires { (r.info.*Value).view(); }) return (r.info.*Value).view();
    else return r.info.*Value;
}

static constexpr TField<TPortRow> PortFields[] = {
    {{"slot", Form::Int, ""}, field<&TPortInfo::sl>},
    {{"protocol", Form::Letter, ""}, field<&TPortInfo::protocol>},
    {{"localadd", Form::Text, ""}, field<&TPortInfo::loc>},
    {{"localport", Form::Int, ""}, field<&TPortInfo::loc_port>},
    {{"remoteadd", Form::Text, ""}, field<&TPortInfo::rem>},
    {{"remoteport", Form::Int, ""}, field<&TPortInfo::rem_port>},
    {{"status", Form::Text, ""}, field<&TPortInfo::st>},
    {{"rxq", Form::Int, "bytes"}, field<&TPortInfo::rxq>},
    {{"txq", Form::Int, "bytes"}, field<&TPortInfo::txq>},
    {{"retrnsmt", Form::Int, ""}, field<&TPortInfo::retrnsmt>},
    // Quirk: the account's name in spite of the key. Seen by tests/worlds/port-users-records.
    {{"uid", Form::Text, ""}, words<TPortRow, &TPortRow::user>},
    {{"timeout", Form::Int, ""}, field<&TPortInfo::timeout>},
    {{"inode", Form::Long, ""}, field<&TPortInfo::inode>},
    {{"ref", Form::Text, ""}, words<TPortRow, &TPortRow::ref>},
};

template <int Status> static TValue sockets(const TPortTable& table) { return table.statuscount[Status]; }

static constexpr TField<TPortTable> StateFields[] = {
    {{"established", Form::Int, "sockets"}, sockets<1> },
    {{"listen", Form::Int, "sockets"},      sockets<10>},
    {{"syn_sent", Form::Int, "sockets"},    sockets<2> },
    {{"syn_recv", Form::Int, "sockets"},    sockets<3> },
    {{"fin_wait1", Form::Int, "sockets"},   sockets<4> },
    {{"fin_wait2", Form::Int, "sockets"},   sockets<5> },
    // Quirk: TIME_WAIT under a name that is none of TCP's; readers of old logs know it. Seen by
    // tests/worlds/port-states-records.
    {{"fin_wait", Form::Int, "sockets"},    sockets<6> },
    {{"close", Form::Int, "sockets"},       sockets<7> },
    {{"close_wait", Form::Int, "sockets"},  sockets<8> },
    {{"last_ack", Form::Int, "sockets"},    sockets<9> },
    {{"closing", Form::Int, "sockets"},     sockets<11>},
    {{"na", Form::Int, "sockets"},          sockets<0> },
};
// What the table form calls them.
static constexpr const char* StateTitles[] = {"ESTAB",     "LISTEN", "SYN_S",      "SYN_R",    "F_WAIT1", "F_WAIT2",
                                              "TIME_WAIT", "CLOSE",  "CLOSE_WAIT", "LAST_ACK", "CLOSING", "NA"};
static_assert(std::size(StateTitles) == std::size(StateFields));

static constexpr TRecord<TPortTable> StateRecord = {"TCP", StateFields, std::size(StateFields)};
static constexpr TRecord<TPortRow> PortRecord = {"PORT", PortFields, std::size(PortFields)};

void dispPortHeaders() {
    dispHeader(StateRecord);
    dispHeader(PortRecord);
}

void tellPortRecords(TRecordList& list) {
    tellRecord(StateRecord, list);
    tellRecord(PortRecord, list);
}

// --- The report

// Both queues together, in 32 bits.
static int queued(const TPortInfo& p) {
    return static_cast<int>(static_cast<unsigned>(p.txq) + static_cast<unsigned>(p.rxq));
}

// The fullest queues first, TCP before UDP, high local ports first; what is still equal stays in the kernel's order.
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
    for (size_t i = 0; i < std::size(StateFields); i++) {
        say("%s%s:", i ? " / " : "", StateTitles[i]);
        StateFields[i].value(table).say(Form::Int);
    }
    sayText("\n");
    dispTitles(PortColumns);
    sayText("\n");
    for (auto* row : getRanking(table, false, static_cast<size_t>(std::max(portrowcount, 0)))) {
        dispCells(PortColumns, TPortRow(table, *row));
        sayText("\n");
    }
}

// Quirk: records leave out the sockets with empty queues and have no limit; the table has neither rule. Seen by
// tests/worlds/port-queues-records and port-queues-limit.
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
