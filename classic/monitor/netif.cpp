#include "classic/collect/netif.h"

#include "base/order.h"
#include "classic/collect/settings.h"
#include "classic/monitor/options.h"
#include "classic/monitor/records.h"
#include "classic/monitor/reports.h"

namespace {
// One address of an interface.
struct TAddressRow {
    const TNetif& netif;
    int index;
};
} // namespace

// --- The list of addresses

static std::string_view name(const TAddressRow& row) { return row.netif.name; }
template <auto Texts> static std::string_view entry(const TAddressRow& row) { return (row.netif.*Texts)[row.index]; }
static constexpr auto address = entry<&TNetif::ip>;
static constexpr auto netmask = entry<&TNetif::netmask>;
static constexpr auto broadcast = entry<&TNetif::broadcast>;

static constexpr TColumn<TAddressRow> AddressColumns[] = {
    {"Network Interface", 20, "", " ", text<TAddressRow, name>     },
    {"Address",           20, "", " ", text<TAddressRow, address>  },
    {"Netmask",           20, "", " ", text<TAddressRow, netmask>  },
    {"Broadcast",         20, "", "",  text<TAddressRow, broadcast>},
};

static constexpr TField<TAddressRow> AddressFields[] = {
    {{"name", Form::Text, ""},      words<TAddressRow, name>     },
    {{"address", Form::Text, ""},   words<TAddressRow, address>  },
    {{"netmask", Form::Text, ""},   words<TAddressRow, netmask>  },
    {{"broadcast", Form::Text, ""}, words<TAddressRow, broadcast>},
};

static constexpr TRecord<TAddressRow> AddressRecord = {"info,nif", AddressFields};
// Closes the list.
static constexpr TRecord<TNothing> EndRecord = {"info,end", {}};

static void dispAddress(const TAddressRow& row) {
    if (shooting) return dispRecord(AddressRecord, row);
    dispCells(AddressColumns, row);
    sayText("\n");
}

static void dispAddresses(const std::vector<TNetif>& netif) {
    if (!shooting && netif.size() > 1) sayText("\n"), dispTitles(AddressColumns), sayText("\n");
    for (auto& row : netif)
        for (int i = 0; i < row.ipcount; i++) dispAddress({row, i});
    if (shooting) dispRecord(EndRecord, {});
}

// --- Rates

template <auto Value> static constexpr auto rate = count<TNetif, Value>;

static constexpr TColumn<TNetif> NetifColumns[] = {
    {"I/F_name", 16, "", "   ", text<TNetif, &TNetif::name>},
    {"IPAddress", 16, "", " ", text<TNetif, &TNetif::ipstring>},
    {"RBytes", 6, "", " ", bytes<TNetif, &TNetif::rbytes>},
    {"WBytes", 6, "", " ", bytes<TNetif, &TNetif::wbytes>},
    {"RPkts", 6, "", " ", rate<&TNetif::rpackets>},
    {"WPkts", 6, "", " ", rate<&TNetif::wpackets>},
    {"RErr", 6, "", " ", rate<&TNetif::rerrors>},
    {"WErr", 6, "", " ", rate<&TNetif::werrors>},
    {"RDrop", 6, "", " ", rate<&TNetif::rdrop>},
    {"WDrop", 6, "", " ", rate<&TNetif::wdrop>},
    {"Coll", 6, "", "", rate<&TNetif::colls>},
};

// Quirk: the first address only, where the table joins them all. Seen by tests/worlds/netif-seven-addresses-records.
static std::string_view firstAddress(const TNetif& netif) { return netif.ip[0]; }

template <auto Value> static constexpr auto netifReal = real<TNetif, Value>;

static constexpr TField<TNetif> NetifFields[] = {
    {{"name", Form::Text, ""}, words<TNetif, &TNetif::name>},
    {{"ip", Form::Text, ""}, words<TNetif, firstAddress>},
    {{"rbytes", Form::Real2, "bytes/s"}, netifReal<&TNetif::rbytes>},
    {{"wbytes", Form::Real2, "bytes/s"}, netifReal<&TNetif::wbytes>},
    {{"rpackets", Form::Real2, "/s"}, netifReal<&TNetif::rpackets>},
    {{"wpackets", Form::Real2, "/s"}, netifReal<&TNetif::wpackets>},
    {{"rerrors", Form::Real2, "/s"}, netifReal<&TNetif::rerrors>},
    {{"werrors", Form::Real2, "/s"}, netifReal<&TNetif::werrors>},
    {{"rdrop", Form::Real2, "/s"}, netifReal<&TNetif::rdrop>},
    {{"wdrop", Form::Real2, "/s"}, netifReal<&TNetif::wdrop>},
    {{"colls", Form::Real2, "/s"}, netifReal<&TNetif::colls>},
};

static constexpr TRecord<TNetif> NetifRecord = {"NETIF", NetifFields, std::size(NetifFields)};

void dispNetifHeader() { dispHeader(NetifRecord); }

void tellNetifRecords(TRecordList& list) {
    tellRecord(AddressRecord, list);
    tellRecord(EndRecord, list);
    tellRecord(NetifRecord, list);
}

static bool moved(const TNetif& r) {
    return r.rbytes + r.wbytes + r.rpackets + r.wpackets + r.rerrors + r.werrors + r.rdrop + r.wdrop + r.colls > 0;
}

using TRanking = std::vector<const TNetif*>;

static void dispRates(const TRanking& rows) {
    sayText("\n"), dispTitles(NetifColumns), sayText("\n");
    // Quirk: the total is one of the rows that -n asks for. Seen by tests/worlds/netif-total-only.
    for (size_t i = 0; i < rows.size() && i != static_cast<size_t>(netifrowcount); i++) {
        dispCells(NetifColumns, *rows[i]);
        sayText("\n");
    }
}

static void dispRateRecords(const TRanking& rows) {
    for (auto* row : rows)
        if (moved(*row)) dispRecord(NetifRecord, *row);
}

// The busiest first, behind the total, which stays where it is.
static void rank(const std::vector<TNetif>& rates, TRanking& rows) {
    static TRanking spare;
    rows.clear();
    for (auto& row : rates) rows.push_back(&row);
    mergeSort(rows.data() + 1, rows.size() - 1, spare,
              [](const TNetif* a, const TNetif* b) { return compnetif(*a, *b); });
}

int dispnetif(int CallingIndex, int icur, int ipre) {
    static TNetifSlots netif;
    static TRanking rows;
    const int count = getnetif(CallingIndex, icur, ipre, timediff, netif);
    if (CallingIndex == 0) dispAddresses(netif.sample[icur]);
    if (count <= 1) return count;
    rank(netif.result, rows);
    if (shooting) dispRateRecords(rows);
    else dispRates(rows);
    return count;
}
