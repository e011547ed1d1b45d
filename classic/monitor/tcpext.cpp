#include "classic/collect/tcpext.h"

#include "classic/collect/settings.h"
#include "classic/monitor/options.h"
#include "classic/monitor/report.h"
#include "classic/monitor/reports.h"
#include "record/classic/net.h"

namespace {
// A counter with the group that it belongs to.
struct TCounter {
    std::string_view group;
    const TNetstat& netstat;
};
} // namespace

static const TNetstat& netstat(const TCounter& c) { return c.netstat; }

// All digits: the values since boot.
template <auto Value> static TCell total(const TCounter& c) { return ValueText().addf("%.0f", c.netstat.*Value); }

static constexpr TColumn<TCounter> Columns[] = {
    {"Name", 32, "", " ", textCell<netstat, &TNetstat::name>},
    {"Type", 6, "", " ", textCell<&TCounter::group>},
    {"Delta", 6, "", " ", countCell<netstat, &TNetstat::delta>},
    {"Prev", 10, "", " ", total<&TNetstat::prevalue>},
    {"Curr", 10, "", "", total<&TNetstat::curvalue>},
};

// The values of the counters when the run begins.
static constexpr auto StartRecord = recordOf<classic::CounterKind, TCounter, &TCounter::group,
                                             in<netstat, &TNetstat::name>, in<netstat, &TNetstat::curvalue>>;
static constexpr auto DeltaRecord = recordOf<classic::CounterRateKind, TCounter, &TCounter::group,
                                             in<netstat, &TNetstat::name>, in<netstat, &TNetstat::delta>>;

void dispProtocolHeaders() {
    dispHeader(classic::CounterKind);
    dispHeader(classic::CounterRateKind);
}

static void dispStart(const TNetstatSlots& snmp, int icur) {
    for (size_t group = 0; group < snmp.size(); group++)
        for (auto& row : snmp[group].sample[icur])
            if (row.curvalue > 0) dispRecord(StartRecord, {NetstatNames[group], row});
}

static void dispChange(const TCounter& counter) {
    if (shooting) return dispRecord(DeltaRecord, counter);
    dispCells(Columns, counter);
    sayText("\n");
}

// Quirk: the titles are printed even if no counter grew. Seen by tests/worlds/tcpext-nothing-moved.
static void dispTitlesOnce() {
    sayText("\n"), sayCell("NETWORK STATISTIC", Columns[0].width), sayText("\n");
    dispTitles(Columns), sayText("\n");
}

int disptcpext(int CallingIndex, int icur, int ipre) {
    static TNetstatSlots snmp;
    gettcpext(CallingIndex, icur, ipre, timediff, snmp);
    if (CallingIndex == 0) {
        if (shooting) dispStart(snmp, icur);
        return 0;
    }
    if (!shooting) dispTitlesOnce();
    size_t total = 0;
    for (size_t group = 0; group < snmp.size(); group++) {
        for (auto& row : snmp[group].result)
            if (row.delta > 0) dispChange({NetstatNames[group], row});
        total += snmp[group].result.size();
    }
    return static_cast<int>(total);
}
