// The activity of disks, volume groups and logical volumes.
#include "classic/collect/disk.h"

#include "base/door.h"
#include "base/order.h"
#include "classic/monitor/options.h"
#include "classic/monitor/report.h"
#include "classic/monitor/reports.h"
#include "classic/monitor/volumes.h"
#include "record/classic/disk.h"

namespace {
// A row of the table: a disk, or a volume with its index in its list.
struct TDiskLine {
    std::string_view name;
    const TDiskPerf& perf;
    const TDiskRate* disk; // null: a volume
    int index;
    std::string_view vgname, lvname, fsname;
};
} // namespace

// --- Columns and records

static const TDiskPerf& perf(const TDiskLine& line) { return line.perf; }

static constexpr TColumn<TDiskLine> DiskColumns[] = {
    {"Name", 12, "", " ", textCell<&TDiskLine::name>},
    {"Busy", 6, "", " ", countCell<perf, &TDiskPerf::time>},
    {"RBytes", 6, "", " ", bytesCell<perf, &TDiskPerf::rbytes>},
    {"WBytes", 6, "", " ", bytesCell<perf, &TDiskPerf::wbytes>},
    {"Rxfers", 6, "", " ", countCell<perf, &TDiskPerf::rxfers>},
    {"Wxfers", 6, "", " ", countCell<perf, &TDiskPerf::wxfers>},
    {"Rawait", 6, "", " ", countCell<perf, &TDiskPerf::rtime>},
    {"Wawait", 6, "", " ", countCell<perf, &TDiskPerf::wtime>},
    {"Await", 6, "", " ", countCell<perf, &TDiskPerf::await>},
    {"SVC-tm", 6, "", " ", countCell<perf, &TDiskPerf::svctm>},
    {"AVG-Q", 6, "", "  ", countCell<perf, &TDiskPerf::avgq>},
};

// Disks and volumes have the same figures. The fields before and after them differ.
template <const Kind& kind, auto First, auto... Place>
static constexpr auto activityRecord =
    recordOf<kind, TDiskLine, First, in<perf, &TDiskPerf::time>, in<perf, &TDiskPerf::rbytes>,
             in<perf, &TDiskPerf::wbytes>, in<perf, &TDiskPerf::rxfers>, in<perf, &TDiskPerf::wxfers>,
             in<perf, &TDiskPerf::rtime>, in<perf, &TDiskPerf::wtime>, in<perf, &TDiskPerf::await>,
             in<perf, &TDiskPerf::svctm>, in<perf, &TDiskPerf::avgq>, Place...>;

static constexpr auto DiskRecord =
    activityRecord<classic::DiskKind, &TDiskLine::name, in<&TDiskLine::disk, &TDiskRate::major>,
                   in<&TDiskLine::disk, &TDiskRate::minor>, &TDiskLine::vgname, &TDiskLine::fsname, &TDiskLine::lvname,
                   in<&TDiskLine::disk, &TDiskRate::labels, &TLabels::ext>>;

template <const Kind& kind>
static constexpr auto volumeRecord =
    activityRecord<kind, &TDiskLine::index, &TDiskLine::vgname, &TDiskLine::lvname, &TDiskLine::fsname>;
static constexpr auto GroupRecord = volumeRecord<classic::GroupActivityKind>;
static constexpr auto VolumeRecord = volumeRecord<classic::VolumeActivityKind>;

void dispDiskHeader() { dispHeader(classic::DiskKind); }

// --- Disks

// The busiest first; among equally busy disks the one with more bytes first. Equal rows keep their order.
static int compdisk(const TDiskRate& a, const TDiskRate& b) {
    const double bytesOfA = a.perf.rbytes + a.perf.wbytes, bytesOfB = b.perf.rbytes + b.perf.wbytes;
    if (b.perf.time > a.perf.time) return 1;
    if (a.perf.time > b.perf.time) return -1;
    if (bytesOfB > bytesOfA) return 1;
    if (bytesOfA > bytesOfB) return -1;
    return 0;
}

static TDiskLine lineOf(const TDiskRate& disk) {
    return {disk.name, disk.perf, &disk, 0, disk.labels->vgname, disk.labels->lvname, disk.labels->fsname};
}

static void dispDiskTable(const std::vector<TDiskRate>& disks) {
    sayText("\n");
    dispTitles(DiskColumns);
    sayText("[VG][LV][FS]\n");
    // Quirk: the total counts against the row limit. Seen by tests/worlds/disk-rows-3.
    for (size_t i = 0; i < disks.size() && i != static_cast<size_t>(diskrowcount); i++) {
        const auto line = lineOf(disks[i]);
        dispCells(DiskColumns, line);
        if (i > 0)
            sayText("["), sayText(line.vgname), sayText("]["), sayText(line.lvname), sayText("]["),
                sayText(line.fsname), sayText("]");
        sayText("\n");
    }
}

// Quirk: a disk that only waited has a row in the table, but no record. Seen by tests/worlds/disk-wrapped-records.
static void dispDiskRecords(const std::vector<TDiskRate>& disks) {
    for (auto& disk : disks) {
        const auto& perf = disk.perf;
        if (perf.time + perf.rbytes + perf.wbytes + perf.rxfers + perf.wxfers > 0) dispRecord(DiskRecord, lineOf(disk));
    }
}

// --- Volumes

static bool isActive(const TDiskPerf& perf) {
    return perf.time > 0 || perf.rbytes + perf.wbytes > 0 || perf.rxfers + perf.wxfers > 0;
}

static void dispVolumeRow(const TDiskLine& line, bool isGroup) {
    dispCells(DiskColumns, line);
    if (isGroup) sayText(line.vgname);
    else
        sayText("["), sayText(line.vgname), sayText("] ["), sayText(line.lvname), sayText("] ["), sayText(line.fsname),
            sayText("]");
    sayText("\n");
}

static TDiskLine lineOf(const TVGData& vg, int index) { return {"VG", vg.perf, nullptr, index, vg.name, {}, {}}; }

static TDiskLine lineOf(const TLVData& lv, int index) {
    const auto* mount = at(mountlist, lv.mount);
    return {"LV", lv.perf, nullptr, index, lv.vgname, lv.name, mount ? mount->dir.view() : std::string_view()};
}

// `rows`: how many volumes of both kinds were printed so far.
// Quirk: disks are one count and groups and volumes another, and each may reach the limit of -d. So -d 4 gives up to
// three disks (the total is the fourth row) and four volumes. Seen by tests/worlds/disk-volumes-rows-4.
template <typename Volume> static void dispVolumeKind(const std::vector<Volume>& volumes, int& rows) {
    constexpr bool isGroup = std::is_same_v<Volume, TVGData>;
    for (size_t i = 0; i < volumes.size(); i++) {
        if (!isActive(volumes[i].perf)) continue;
        const auto line = lineOf(volumes[i], static_cast<int>(i));
        if (shooting) {
            dispRecord(isGroup ? GroupRecord : VolumeRecord, line);
            continue;
        }
        if (rows == diskrowcount) return;
        rows++;
        dispVolumeRow(line, isGroup);
    }
}

int dispdisk(int CallingIndex, int icur, int ipre) {
    static TDiskSlots slots;
    static std::vector<TDiskRate> spare;
    const auto sample = getDiskSample(CallingIndex, icur, ipre, timediff, slots);
    if (sample.mapStart) {
        dispVolumes(slots.sample[icur]);
        time4mapping = getClock().value() - *sample.mapStart;
    }
    const int count = sample.read ? getdisk(icur, ipre, timediff, slots) : 0;
    if (count == 0) return 0;
    auto& disks = slots.result;
    mergeSort(disks.data() + 1, disks.size() - 1, spare, compdisk); // the total stays first
    if (shooting) dispDiskRecords(disks);
    else dispDiskTable(disks);
    int rows = 0;
    dispVolumeKind(vglist, rows);
    dispVolumeKind(lvlist, rows);
    return count;
}
