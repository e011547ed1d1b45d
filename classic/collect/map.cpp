// Builds the volume map and labels the disks with it.
#include "base/door.h"
#include "classic/collect/disk.h"
#include "classic/collect/flushed.h"
#include "classic/collect/volumes.h"

#include <unordered_map>

std::vector<TVGData> vglist;
std::vector<TLVData> lvlist;
std::vector<TPVData> pvlist;
std::vector<TMultipath> pathlist;
std::vector<TMount> mountlist;
unsigned mapNumber = 0;

// --- Joins. Where several entries have the same key, the first of the list counts.

namespace {
using TIndex = std::unordered_map<std::string_view, int>;

struct TPathOf {
    int device;
    const TMemberDisk* member; // null: it is the multipath device itself
};

class TJoins {
    TIndex groups, volumes, mounts;
    std::unordered_map<std::string_view, TPathOf> paths;
    std::unordered_map<uint64_t, int> numbers; // logical volumes by major and minor

    void setPath(const TDisk& disk, TLabels& labels) const;
    void setMount(const TDisk& disk, TLabels& labels) const;

public:
    TJoins();
    void label(TDisk& disk) const;
};
} // namespace

template <typename Row, size_t N> static TIndex getIndex(const std::vector<Row>& rows, Text<N> Row::* key) {
    TIndex index;
    index.reserve(rows.size());
    for (size_t i = 0; i < rows.size(); i++) index.emplace(rows[i].*key, static_cast<int>(i));
    return index;
}

template <typename Map, typename Key> static int find(const Map& index, const Key& key) {
    const auto found = index.find(key);
    return found == index.end() ? NoLink : found->second;
}

static uint64_t deviceNumber(int major, int minor) {
    return static_cast<uint64_t>(static_cast<uint32_t>(major)) << 32 | static_cast<uint32_t>(minor);
}

TJoins::TJoins()
    : groups(getIndex(vglist, &TVGData::name)), volumes(getIndex(pvlist, &TPVData::lastname)),
      mounts(getIndex(mountlist, &TMount::lastfsname)) {
    for (size_t i = 0; i < lvlist.size(); i++)
        numbers.emplace(deviceNumber(lvlist[i].major, lvlist[i].minor), static_cast<int>(i));
    for (size_t i = 0; i < pathlist.size(); i++) { // a device before its members
        paths.emplace(pathlist[i].name, TPathOf{static_cast<int>(i), nullptr});
        for (auto& member : pathlist[i].disk) paths.emplace(member.name, TPathOf{static_cast<int>(i), &member});
    }
}

void TJoins::setPath(const TDisk& disk, TLabels& labels) const {
    const auto found = paths.find(disk.name);
    if (found == paths.end()) return;
    const auto [link, member] = found->second;
    const auto* device = at(pathlist, link);
    labels.path = link;
    labels.pv = device->pv;
    if (member) labels.ext.addf("%s [Path%d]", device->name.c_str(), member->pathindex);
    else labels.ext = device->name.view();
}

// Finds the mount of the disk: as a logical volume, or by the disk's own name.
// Quirk: a volume that is not active has no device number and counts as device 0:0. Seen by
// tests/worlds/disk-map-joins.
void TJoins::setMount(const TDisk& disk, TLabels& labels) const {
    labels.lv = find(numbers, deviceNumber(disk.major, disk.minor));
    if (const auto* lv = at(lvlist, labels.lv)) {
        labels.lvname.add(lv->vgname).add("/").add(lv->name);
        labels.mount = lv->mount;
    } else {
        labels.mount = find(mounts, disk.name.view());
        if (const auto* mount = at(mountlist, labels.mount)) labels.lvname = mount->fsname.view();
    }
    if (const auto* mount = at(mountlist, labels.mount)) labels.fsname = mount->dir.view();
}

void TJoins::label(TDisk& disk) const {
    auto labels = std::make_shared<TLabels>();
    labels->map = mapNumber;
    setPath(disk, *labels);
    if (labels->pv == NoLink) labels->pv = find(volumes, disk.name.view());
    if (const auto* pv = at(pvlist, labels->pv)) labels->vgname = pv->vgname.view();
    setMount(disk, *labels);
    if (!labels->vgname.empty()) labels->vg = find(groups, labels->vgname.view());
    disk.map = labels;
}

void labelDisks(std::span<TDisk> disks) {
    const TJoins joins;
    for (auto& disk : disks) joins.label(disk);
}

// --- The map

static void readReport(const char* command, void (*get)(std::string_view report)) {
    Contents text;
    if (runCommand(command, text)) get(text.view());
}

double mapdisk(std::span<TDisk> disks) {
    const double start = getClock().value();
    mapNumber++;
    vglist.clear(), lvlist.clear(), pvlist.clear(), pathlist.clear(), mountlist.clear();
    readReport("vgdisplay 2>/dev/null", getVolumeGroups);
    readReport("lvdisplay -m 2>/dev/null", getLogicalVolumes);
    readReport("pvdisplay -m 2>/dev/null", getPhysicalVolumes);
    readReport("multipath -ll 2>/dev/null", getMultipaths);
    getMounts();
    labelDisks(disks);
    return start;
}
