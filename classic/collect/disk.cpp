#include "classic/collect/disk.h"

#include "base/door.h"
#include "base/output.h"
#include "base/words.h"
#include "classic/collect/messages.h"

static constexpr size_t LineLimit = 1024;
static constexpr double SectorBytes = 512; // the kernel's unit, whatever the sector size of the device

const TLabels& TDisk::labels() const {
    static const TLabels None;
    return map ? *map : None;
}

// --- /proc/diskstats

// "   8       0 sda 4971 13522 400532 3474 919 22511 481893 1820 0 2616 5367"; partitions of old kernels have four
// counters: "   8       1 sda1 1047 159408 383 188098".
// Quirk: lines with another number of words are not taken for devices, so kernels that count discards and flushes show
// no disks. A newline after a blank is a word. Seen by tests/worlds/disk-capture-20-columns, disk-odd-lines.
bool getDiskLine(std::string_view line, TDisk& disk) {
    constexpr int MostWords = 31, PartitionWords = 7, DiskWords = 14;
    std::string_view words[MostWords];
    const int count = splitWords(line, words);
    if (count != PartitionWords && count != DiskWords) return false;
    const auto counter = [&](int number) { return static_cast<double>(toLong(words[number - 1])); };
    const bool full = count == DiskWords;
    const double reads = counter(4), writes = counter(full ? 8 : 6);
    if (!(reads + writes > 0)) return false;
    disk.name = word(words[2].substr(0, 63));
    disk.major = toInt(words[0]);
    disk.minor = toInt(words[1]);
    disk.rxfers = reads;
    disk.wxfers = writes;
    disk.rbytes = counter(full ? 6 : 5) * SectorBytes;
    disk.wbytes = counter(full ? 10 : 7) * SectorBytes;
    disk.rtime = full ? counter(7) : 0;
    disk.wtime = full ? counter(11) : 0;
    disk.curq = full ? counter(12) : 0;
    disk.time = full ? counter(13) : 0;
    disk.avgq = full ? counter(14) : 0;
    return true;
}

// The rows of this sample; false when there is no memory for them.
// Quirk: labels belong to a position in the slot. They stay until the map is built again or until they are copied from
// the previous sample, so disks that change places show each other's labels. Seen by tests/worlds/disk-swapped.
static bool getDisks(std::vector<TDisk>& disks) {
    static Contents text;
    size_t index = 0;
    Lines lines(readFile("/proc/diskstats", text) ? text.view() : std::string_view{}, LineLimit);
    for (std::string_view line; lines.next(line);) {
        if (index == disks.size() && !addRow(disks)) {
            sayNoMemory("disk");
            return false;
        }
        if (getDiskLine(line, disks[index])) index++;
    }
    disks.resize(index);
    return true;
}

// --- Rates

static TDiskPerf getDiskRate(const TDisk& now, const TDisk& before, double seconds) {
    TDiskPerf rate;
    rate.time = std::min((now.time - before.time) / seconds / 10.0, 100.0);
    rate.rbytes = (now.rbytes - before.rbytes) / seconds;
    rate.wbytes = (now.wbytes - before.wbytes) / seconds;
    rate.rxfers = (now.rxfers - before.rxfers) / seconds;
    rate.wxfers = (now.wxfers - before.wxfers) / seconds;
    const double reading = now.rtime - before.rtime, writing = now.wtime - before.wtime;
    const double xfers = rate.rxfers + rate.wxfers;
    if (rate.rxfers > 0) rate.rtime = reading / rate.rxfers / seconds;
    if (rate.wxfers > 0) rate.wtime = writing / rate.wxfers / seconds;
    if (xfers > 0) rate.await = (reading + writing) / xfers / seconds;
    if (xfers > 0) rate.svctm = rate.time * 10.0 / xfers;
    rate.avgq = (now.avgq - before.avgq) / seconds / 1000.0;
    return rate;
}

static bool isActive(const TDiskPerf& rate) {
    return rate.time > 0 || rate.rbytes + rate.wbytes > 0 || rate.rxfers + rate.wxfers > 0 ||
           rate.rtime + rate.wtime > 0;
}

// A whole disk rather than a partition.
// Quirk: device-mapper, RAID and NVMe disks end in a digit too and are never in the total. Seen by
// tests/worlds/disk-total.
static bool isWhole(std::string_view name) { return !name.empty() && static_cast<signed char>(name.back()) > '9'; }

static constexpr double TDiskPerf::* Sums[] = {&TDiskPerf::rbytes, &TDiskPerf::wbytes, &TDiskPerf::rxfers,
                                               &TDiskPerf::wxfers};
static constexpr double TDiskPerf::* Means[] = {&TDiskPerf::time,  &TDiskPerf::rtime, &TDiskPerf::wtime,
                                                &TDiskPerf::await, &TDiskPerf::svctm, &TDiskPerf::avgq};

static void add(TDiskPerf& total, const TDiskPerf& rate) {
    for (auto field : Sums) total.*field += rate.*field;
    for (auto field : Means) total.*field += rate.*field;
    total.count++;
}

static void divide(TDiskPerf& total) {
    if (total.count > 0)
        for (auto field : Means) total.*field /= total.count;
}

// --- Volumes

template <typename Row> static void clearPerf(std::vector<Row>& rows) {
    for (auto& row : rows) row.perf = {};
}

template <typename Row> static void addTo(std::vector<Row>& rows, int link, const TDiskPerf& rate) {
    if (link == NoLink) return;
    auto& perf = rows[static_cast<size_t>(link)].perf;
    add(perf, rate);
    // Quirk: the write wait is that of the last disk added, and a group divides it by the number of disks. Seen by
    // tests/worlds/disk-volumes-wawait.
    perf.wtime = rate.wtime;
}

static void addToVolumes(const TLabels& labels, const TDiskPerf& rate) {
    if (labels.map != mapNumber) return; // these links lead into an older map: tests/worlds/disk-old-labels
    addTo(vglist, labels.vg, rate);
    addTo(lvlist, labels.lv, rate);
    addTo(pvlist, labels.pv, rate);
    addTo(mountlist, labels.mount, rate);
}

// --- The result

// False when there is no memory for the rows. Devices are matched by position; one whose name has changed has no rates
// in this interval.
static bool getDiskRates(std::vector<TDisk>& now, const std::vector<TDisk>& before, double seconds,
                         std::vector<TDiskRate>& rates) {
    static const TLabels None;
    if (!makeRoom(rates, now.size() + 1)) {
        sayNoMemory("topdisk");
        return false;
    }
    TDiskPerf total;
    rates.resize(1);
    for (size_t i = 0; i < now.size(); i++) {
        auto& disk = now[i];
        if (!(disk.name == before[i].name)) continue;
        disk.map = before[i].map;
        const auto rate = getDiskRate(disk, before[i], seconds);
        if (!isActive(rate)) continue;
        rates.push_back({disk.name, &disk.labels(), disk.major, disk.minor, rate});
        if (isWhole(disk.name)) add(total, rate);
        addToVolumes(disk.labels(), rate);
    }
    for (auto& group : vglist) divide(group.perf);
    divide(total);
    rates[0] = {"Total", &None, total.count, total.count, total};
    return true;
}

// Samples of different devices, or without time between them, have no rates.
static bool areComparable(const std::vector<TDisk>& now, const std::vector<TDisk>& before, double seconds) {
    constexpr double LeastSeconds = 1e-9;
    return now.size() == before.size() && !(seconds < LeastSeconds);
}

TDiskSample getDiskSample(int CallingIndex, int icur, int ipre, double seconds, TDiskSlots& slots) {
    if (CallingIndex == 0) slots = {};
    auto& now = slots.sample[icur];
    const auto& before = slots.sample[ipre];
    slots.result.clear();
    if (!getDisks(now)) return {};
    if (CallingIndex == 0) return {true, mapdisk(now)};
    if (areComparable(now, before, seconds)) return {true, std::nullopt};
    // Quirk: without time between the samples the map is built again as well, and the message, which appears among
    // records too, gives equal numbers. Seen by tests/worlds/disk-no-time, disk-no-time-records.
    say("Previous disk count : %d / Current disk count : %d / TimeDiff : %f\n", static_cast<int>(before.size()),
        static_cast<int>(now.size()), seconds);
    return {true, mapdisk(now)};
}

int getdisk(int icur, int ipre, double seconds, TDiskSlots& slots) {
    auto& now = slots.sample[icur];
    const auto& before = slots.sample[ipre];
    clearPerf(vglist), clearPerf(lvlist), clearPerf(pvlist), clearPerf(mountlist);
    if (!areComparable(now, before, seconds)) return 0;
    return getDiskRates(now, before, seconds, slots.result) ? static_cast<int>(slots.result.size()) : 0;
}
