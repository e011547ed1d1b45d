#include "classic/collect/netif.h"

#include "base/order.h"
#include "classic/collect/settings.h"
#include "classic/monitor/options.h"
#include "classic/monitor/report.h"
#include "classic/monitor/reports.h"
#include "record/classic/net.h"

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
    {"Network Interface", 20, "", " ", textCell<name>     },
    {"Address",           20, "", " ", textCell<address>  },
    {"Netmask",           20, "", " ", textCell<netmask>  },
    {"Broadcast",         20, "", "",  textCell<broadcast>},
};

static constexpr auto AddressRecord = recordOf<classic::AddressKind, TAddressRow, name, address, netmask, broadcast>;
// Ends the list.
static constexpr auto EndRecord = recordOf<classic::AddressEndKind, TNothing>;

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

static constexpr TColumn<TNetif> NetifColumns[] = {
    {"I/F_name",  16, "", "   ", textCell<&TNetif::name>     },
    {"IPAddress", 16, "", " ",   textCell<&TNetif::ipstring> },
    {"RBytes",    6,  "", " ",   bytesCell<&TNetif::rbytes>  },
    {"WBytes",    6,  "", " ",   bytesCell<&TNetif::wbytes>  },
    {"RPkts",     6,  "", " ",   countCell<&TNetif::rpackets>},
    {"WPkts",     6,  "", " ",   countCell<&TNetif::wpackets>},
    {"RErr",      6,  "", " ",   countCell<&TNetif::rerrors> },
    {"WErr",      6,  "", " ",   countCell<&TNetif::werrors> },
    {"RDrop",     6,  "", " ",   countCell<&TNetif::rdrop>   },
    {"WDrop",     6,  "", " ",   countCell<&TNetif::wdrop>   },
    {"Coll",      6,  "", "",    countCell<&TNetif::colls>   },
};

// Quirk: records have the first address only; the table has all. Seen by tests/worlds/netif-seven-addresses-records.
static std::string_view firstAddress(const TNetif& netif) { return netif.ip[0]; }

static constexpr auto NetifRecord = recordOf<classic::NetifKind, TNetif, &TNetif::name, firstAddress, &TNetif::rbytes,
                                             &TNetif::wbytes, &TNetif::rpackets, &TNetif::wpackets, &TNetif::rerrors,
                                             &TNetif::werrors, &TNetif::rdrop, &TNetif::wdrop, &TNetif::colls>;

void dispNetifHeader() { dispHeader(classic::NetifKind); }

static bool moved(const TNetif& r) {
    return r.rbytes + r.wbytes + r.rpackets + r.wpackets + r.rerrors + r.werrors + r.rdrop + r.wdrop + r.colls > 0;
}

using TRanking = std::vector<const TNetif*>;

static void dispRates(const TRanking& rows) {
    sayText("\n"), dispTitles(NetifColumns), sayText("\n");
    // Quirk: the total counts against the row limit of -n. Seen by tests/worlds/netif-total-only.
    for (size_t i = 0; i < rows.size() && i != static_cast<size_t>(netifrowcount); i++) {
        dispCells(NetifColumns, *rows[i]);
        sayText("\n");
    }
}

static void dispRateRecords(const TRanking& rows) {
    for (auto* row : rows)
        if (moved(*row)) dispRecord(NetifRecord, *row);
}

// The busiest first, after the total, which stays where it is.
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
