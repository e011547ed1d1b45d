#include "classic/collect/fs.h"

#include "classic/collect/settings.h"
#include "classic/collect/voltext.h"
#include "classic/monitor/options.h"
#include "classic/monitor/report.h"
#include "classic/monitor/reports.h"
#include "record/classic/fs.h"

#include <cmath>
#include <limits>

namespace {
// A filesystem with its changes since the previous sample.
struct TChange {
    const TFS& now;
    const TSizes& delta;
};
} // namespace

// --- Values

// Percent of the whole that is not left.
// Quirk: 0 of 0 is not a number, with the sign that x86-64 gives it. So a filesystem that does not count inodes shows
// " -nan". Seen by tests/worlds/fs-without-inodes.
static double used(double left, double whole) {
    if (left == 0 && whole == 0) return -std::numeric_limits<double>::quiet_NaN();
    return 100 - left / whole * 100;
}

static double use(const TFS& fs) { return used(fs.freesize, fs.totalsize); }
static double availUse(const TFS& fs) { return used(fs.availsize, fs.totalsize); }
static double inodeUse(const TFS& fs) { return used(fs.freeinode, fs.totalinode); }

static const TFS& now(const TChange& change) { return change.now; }
static const TSizes& delta(const TChange& change) { return change.delta; }
static std::string_view device(const TChange& change) { return getnameonly(change.now.dev); }

template <auto Value> static TCell deltaBytes(const TChange& change) { return GetValueStrForFS(change.delta.*Value); }

// --- Columns and records

static constexpr TColumn<TChange> UsageColumns[] = {
    {"Device", 20, "", " ", textCell<device>},
    {"Total", 6, "", " ", bytesCell<now, &TFS::totalsize>},
    {"Use%", 6, "", " ", bytesCell<now, use>},
    {"Use%-2", 6, "", " ", bytesCell<now, availUse>},
    {"Total-inode", 12, "", " ", bytesCell<now, &TFS::totalinode>},
    {"inode-use%", 10, "", "", bytesCell<now, inodeUse>},
};

static constexpr TColumn<TChange> DeltaColumns[] = {
    {"Total",       7,  "", " ", deltaBytes<&TSizes::totalsize> },
    {"Free",        7,  "", " ", deltaBytes<&TSizes::freesize>  },
    {"Avail",       7,  "", " ", deltaBytes<&TSizes::availsize> },
    {"Total-inode", 12, "", " ", deltaBytes<&TSizes::totalinode>},
    {"free-inode",  10, "", "",  deltaBytes<&TSizes::freeinode> },
};

static constexpr TColumn<TChange> MountColumns[] = {
    {"mount", 0, "", "", textCell<now, &TFS::dir>},
};

// Both kinds begin with the present sizes and end with the mount point; `Changes` are between them.
template <const Kind& kind, auto... Changes>
static constexpr auto fsRecord = recordOf<kind, TChange, in<now, &TFS::dev>, in<now, &TFS::totalsize>,
                                          in<now, &TFS::freesize>, in<now, &TFS::availsize>, in<now, &TFS::totalinode>,
                                          in<now, &TFS::freeinode>, Changes..., in<now, &TFS::dir>>;

static constexpr auto UsageRecord = fsRecord<classic::FSUsageKind>;
static constexpr auto DeltaRecord =
    fsRecord<classic::FSDeltaKind, in<delta, &TSizes::totalsize>, in<delta, &TSizes::freesize>,
             in<delta, &TSizes::availsize>, in<delta, &TSizes::totalinode>, in<delta, &TSizes::freeinode>,
             in<now, &TFS::type>>;

// --- The report

static void dispUsageTitles() {
    sayText("\n"), dispTitles(UsageColumns), sayText("  "), dispTitles(MountColumns), sayText("\n");
}

static void dispUsage(const TChange& row) {
    if (shooting) return dispRecord(UsageRecord, row);
    dispCells(UsageColumns, row), sayText("  "), dispCells(MountColumns, row), sayText("\n");
}

static void dispDeltaTitles() {
    sayText("\n"), dispTitles(UsageColumns), sayText(" / Delta : ");
    dispTitles(DeltaColumns), sayText("  "), dispTitles(MountColumns), sayText("\n");
}

static void dispDelta(const TChange& row) {
    if (shooting) return dispRecord(DeltaRecord, row);
    dispCells(UsageColumns, row), sayText(" / Delta : ");
    dispCells(DeltaColumns, row), sayText("  "), dispCells(MountColumns, row), sayText("\n");
}

// What is mounted when the run begins.
// Quirk: a filesystem that does not count inodes is not listed here, but later its changes are. Seen by
// tests/worlds/fs-without-inodes.
static void dispStart(const std::vector<TFS>& sample) {
    static const TSizes none;
    if (!shooting) dispUsageTitles();
    for (auto& fs : sample)
        if (fs.totalsize > 0 && fs.totalinode > 0) dispUsage({fs, none});
    if (!shooting) sayText("      * Use%-2 is calculated by available size rather than free size.\n");
}

static bool moved(const TSizes& delta) {
    return delta.totalsize != 0 || delta.freesize != 0 || delta.availsize != 0 || delta.totalinode != 0 ||
           delta.freeinode != 0;
}

static void dispChanges(const std::vector<TFS>& sample, const std::vector<TSizes>& changes) {
    bool titled = shooting != 0;
    for (size_t i = 0; i < changes.size(); i++) {
        if (!moved(changes[i])) continue;
        if (!titled) dispDeltaTitles();
        titled = true;
        dispDelta({sample[i], changes[i]});
    }
}

void dispfs(int CallingIndex, int icur, int ipre) {
    static TFSSlots fs;
    getfs(CallingIndex, icur, ipre, timediff, fs);
    if (CallingIndex == 0) dispStart(fs.sample[icur]);
    else dispChanges(fs.sample[icur], fs.result);
}
