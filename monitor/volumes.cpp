#include "monitor/volumes.h"

#include "collect/disk.h"
#include "collect/voltext.h"
#include "monitor/options.h"
#include "monitor/records.h"

// --- Shares of a mount

static double share(const TMount* mount, double TMount::*left, double TMount::*total) {
    return mount && mount->set > 0 ? 100 - mount->*left * 100 / mount->*total : 0;
}
static double useByFree(const TMount* m) { return share(m, &TMount::freesize, &TMount::totalsize); }
static double useByAvail(const TMount* m) { return share(m, &TMount::availsize, &TMount::totalsize); }
static double useOfInodes(const TMount* m) { return share(m, &TMount::freeinode, &TMount::totalinode); }

template <typename Row> static const Row* at(const std::vector<Row>& rows, int link) {
    return link == NoLink ? nullptr : &rows[static_cast<size_t>(link)];
}

// --- The listing

template <typename Row> static int countOf(const Row& rows) { return static_cast<int>(rows.size()); }

static void listGroups() {
    say("\nVG Count : %d [Name(Format) [Access] [Status] [Max LV/Cur LV/Open LV] [Max PV/Cur PV/Act PV] [VG Size] "
        "[PE Size/Total PE(Alloc PE/Alloc Size)/(Free PE/Free Size)]] (UUID)\n",
        countOf(vglist));
    int index = 0;
    for (auto& v : vglist)
        say("VG#%d %s(%s) [%s] [%s] [%d/%d/%d] [%d/%d/%d] [%s] [%s/%d(%d/%s)/(%d/%s)] (%s)\n", index++, v.name.c_str(),
            v.format.c_str(), v.access.c_str(), v.status.c_str(), v.maxlv, v.curlv, v.openlv, v.maxpv, v.curpv, v.actpv,
            v.vgsize.c_str(), v.pesize.c_str(), v.totalpe, v.allocpe, v.allocsize.c_str(), v.freepe, v.freesize.c_str(),
            v.uuid.c_str());
}

static void listMounts() {
    constexpr double Giga = 1073741824.0;
    say("\nMOUNT Count : %d [Dir(Name) [Type] [Total/Usage by freesize/Usage by avail/Usage of inode]]\n",
        countOf(mountlist));
    int index = 0;
    for (auto& m : mountlist) {
        say("MOUNT#%d %s(%s) [%s] [%.1fG/%.1f%%/%.1f%%/%.1f%%]\n", index++, m.dir.c_str(), m.fsname.c_str(),
            m.type.c_str(), m.totalsize / Giga, useByFree(&m), useByAvail(&m), useOfInodes(&m));
        if (const auto* lv = at(lvlist, m.lv)) say("        LV -> %s[%s]\n", lv->name.c_str(), lv->path.c_str());
    }
}

static void listLogicalVolumes() {
    say("\nLV Count : %d [Name(VG Name) [Mount:Usage by free/Usage of inode] (UUID) [Access] [Status] "
        "[#open/Size/LE/#Segments/Allocation] [RHS:Current] [major:minor]\n",
        countOf(lvlist));
    int index = 0;
    for (auto& v : lvlist) {
        const auto* mount = at(mountlist, v.mount);
        // Quirk: one bracket too many at the end. Seen by tests/worlds/disk-capture-lvm.
        say("LV#%d %s(%s) [%s:%.1f%%/%.1f%%] (%s) [%s] [%s] [#%d/%s/LE %d/%d/%s] [%s:%s] [%d:%d]]\n", index++,
            v.name.c_str(), v.vgname.c_str(), mount ? mount->dir.c_str() : "None", useByFree(mount), useOfInodes(mount),
            v.uuid.c_str(), v.waccess.c_str(), v.status.c_str(), v.open, v.lvsize.c_str(), v.curle, v.segments,
            v.allocation.c_str(), v.RHS.c_str(), v.curRHS.c_str(), v.major, v.minor);
        for (auto& seg : v.seg)
            say("        %s(%s)(L ext:%d - %d)/(P ext:%d - %d)\n", seg.name.c_str(), seg.type.c_str(), seg.lext[0],
                seg.lext[1], seg.pext[0], seg.pext[1]);
    }
}

static void listPhysicalVolumes() {
    say("\nPV Count : %d [Name(VG Name) [PV Size/not usable] [Allocatable]  [PE Size(Total PE/Free PE/Allocated PE)] "
        "(UUID) # of Segments]\n",
        countOf(pvlist));
    int index = 0;
    for (auto& v : pvlist) {
        say("PV#%d %s(%s) [%s/%s] [%s] [%s(%d/%d/%d)] (%s) %d\n", index++, v.name.c_str(), v.vgname.c_str(),
            v.pvsize.c_str(), v.notusable.c_str(), v.allocatable.c_str(), v.pesize.c_str(), v.totalpe, v.freepe,
            v.allocatedpe, v.uuid.c_str(), countOf(v.seg));
        for (auto& seg : v.seg)
            say("        %s(P ext:%d - %d)/(L ext:%d - %d)\n", seg.name.c_str(), seg.pext[0], seg.pext[1], seg.lext[0],
                seg.lext[1]);
    }
}

static void listPaths() {
    say("\nMultipath Count : %d [Name(Alias) (WWID) [Size] [Desc] # of members]\n", countOf(pathlist));
    int index = 0;
    for (auto& p : pathlist) {
        say("PATH#%d %s(%s) (%s) [%s] [%s] %d\n", index++, p.name.c_str(), p.alias.c_str(), p.wwid.c_str(),
            p.size.c_str(), p.desc.c_str(), countOf(p.disk));
        for (auto& member : p.disk)
            say("        %s [%s] [PATH#%d/%s]\n", member.name.c_str(), member.property.c_str(), member.pathindex,
                member.pathstate.c_str());
    }
}

static void listDisks(std::span<const TDisk> disks) {
    say("\nDISK MAPPING - Count : %d [Name [MULTIPATH] [VG Name] [LV Name] [Filesystem]]\n", countOf(disks));
    int index = 0;
    for (auto& disk : disks) {
        auto& labels = disk.labels();
        say("DISK#%d %s [%s] [%s] [%s] [%s]\n", index++, disk.name.c_str(), labels.ext.c_str(), labels.vgname.c_str(),
            labels.lvname.c_str(), labels.fsname.c_str());
    }
}

// --- The records

namespace {
// An entry of a list with its index there, and that of the volume or device it belongs to.
template <typename T> struct TEntry {
    int owner, index;
    T& item;
};
using TCount = int;
} // namespace

template <typename T> static TValue owner(const TEntry<T>& e) { return e.owner; }
template <typename T> static TValue index(const TEntry<T>& e) { return e.index; }

// A text or a number of the entry; of a pair of extents one.
template <typename T, auto Field> static TValue value(const TEntry<T>& e) {
    if constexpr (std::is_same_v<decltype(e.item.*Field), int&>) return e.item.*Field;
    else return (e.item.*Field).view();
}
template <auto Pair, int Which> static TValue extent(const TEntry<TSegment>& e) { return (e.item.*Pair)[Which]; }
// Free text, whose commas are replaced for good.
template <typename T, auto Field> static TValue freeText(const TEntry<T>& e) {
    return checkcomma(e.item.*Field).view();
}

static constexpr TField<TCount> CountFields[] = {{{"count", Form::Int, ""}, [](const int& n) -> TValue { return n; }}};

template <auto Field> static constexpr auto vg = value<TVGData, Field>;
static constexpr TField<TEntry<TVGData>> GroupFields[] = {
    {{"index", Form::Int, ""}, index<TVGData>},
    {{"name", Form::Text, ""}, vg<&TVGData::name>},
    {{"format", Form::Text, ""}, vg<&TVGData::format>},
    {{"access", Form::Text, ""}, freeText<TVGData, &TVGData::access>},
    {{"status", Form::Text, ""}, freeText<TVGData, &TVGData::status>},
    {{"maxlv", Form::Int, ""}, vg<&TVGData::maxlv>},
    {{"curlv", Form::Int, ""}, vg<&TVGData::curlv>},
    {{"openlv", Form::Int, ""}, vg<&TVGData::openlv>},
    {{"maxpv", Form::Int, ""}, vg<&TVGData::maxpv>},
    {{"curpv", Form::Int, ""}, vg<&TVGData::curpv>},
    {{"actpv", Form::Int, ""}, vg<&TVGData::actpv>},
    {{"vgsize", Form::Text, ""}, vg<&TVGData::vgsize>},
    {{"pesize", Form::Text, ""}, vg<&TVGData::pesize>},
    {{"totalpe", Form::Int, "extents"}, vg<&TVGData::totalpe>},
    {{"allocpe", Form::Int, "extents"}, vg<&TVGData::allocpe>},
    {{"allocsize", Form::Text, ""}, vg<&TVGData::allocsize>},
    {{"freepe", Form::Int, "extents"}, vg<&TVGData::freepe>},
    {{"freesize", Form::Text, ""}, vg<&TVGData::freesize>},
    {{"uuid", Form::Text, ""}, vg<&TVGData::uuid>},
};

template <auto Field> static constexpr auto lv = value<TLVData, Field>;
static constexpr TField<TEntry<TLVData>> LogicalFields[] = {
    {{"index", Form::Int, ""}, index<TLVData>},
    {{"name", Form::Text, ""}, lv<&TLVData::name>},
    {{"path", Form::Text, ""}, lv<&TLVData::path>},
    {{"vgname", Form::Text, ""}, lv<&TLVData::vgname>},
    {{"uuid", Form::Text, ""}, lv<&TLVData::uuid>},
    {{"waccess", Form::Text, ""}, freeText<TLVData, &TLVData::waccess>},
    {{"status", Form::Text, ""}, freeText<TLVData, &TLVData::status>},
    {{"open", Form::Int, ""}, lv<&TLVData::open>},
    {{"lvsize", Form::Text, ""}, lv<&TLVData::lvsize>},
    {{"curle", Form::Int, "extents"}, lv<&TLVData::curle>},
    {{"segments", Form::Int, ""}, lv<&TLVData::segments>},
    {{"allocation", Form::Text, ""}, lv<&TLVData::allocation>},
    {{"RHS", Form::Text, "sectors"}, lv<&TLVData::RHS>},
    {{"curRHS", Form::Text, "sectors"}, lv<&TLVData::curRHS>},
    {{"major", Form::Int, ""}, lv<&TLVData::major>},
    {{"minor", Form::Int, ""}, lv<&TLVData::minor>},
    {{"mount", Form::Text, ""},
     [](const TEntry<TLVData>& e) -> TValue {
         const auto* mount = at(mountlist, e.item.mount);
         return mount ? mount->fsname.view() : std::string_view();
     }},
};

static constexpr TField<TEntry<TSegment>> LogicalSegmentFields[] = {
    {{"volume", Form::Int, ""}, owner<TSegment>},
    {{"index", Form::Int, ""}, index<TSegment>},
    {{"name", Form::Text, ""}, value<TSegment, &TSegment::name>},
    {{"type", Form::Text, ""}, value<TSegment, &TSegment::type>},
    {{"lext0", Form::Int, "extents"}, extent<&TSegment::lext, 0>},
    {{"lext1", Form::Int, "extents"}, extent<&TSegment::lext, 1>},
    {{"pext0", Form::Int, "extents"}, extent<&TSegment::pext, 0>},
    {{"pext1", Form::Int, "extents"}, extent<&TSegment::pext, 1>},
};

static constexpr TField<TEntry<TSegment>> PhysicalSegmentFields[] = {
    {{"volume", Form::Int, ""}, owner<TSegment>},
    {{"index", Form::Int, ""}, index<TSegment>},
    {{"name", Form::Text, ""}, value<TSegment, &TSegment::name>},
    {{"pext0", Form::Int, "extents"}, extent<&TSegment::pext, 0>},
    {{"pext1", Form::Int, "extents"}, extent<&TSegment::pext, 1>},
    {{"lext0", Form::Int, "extents"}, extent<&TSegment::lext, 0>},
    {{"lext1", Form::Int, "extents"}, extent<&TSegment::lext, 1>},
};

template <auto Field> static TValue megabytes(const TEntry<TMount>& e) {
    return e.item.set > 0 ? e.item.*Field / 1048576.0 : 0.0;
}
// A text of the volume that is mounted.
template <auto Field> static TValue volumeText(const TEntry<TMount>& e) {
    const auto* volume = at(lvlist, e.item.lv);
    return volume ? (volume->*Field).view() : std::string_view();
}
static constexpr TField<TEntry<TMount>> MountFields[] = {
    {{"index", Form::Int, ""}, index<TMount>},
    {{"dir", Form::Text, ""}, value<TMount, &TMount::dir>},
    {{"fsname", Form::Text, ""}, value<TMount, &TMount::fsname>},
    {{"type", Form::Text, ""}, value<TMount, &TMount::type>},
    {{"total", Form::Real1, "MB"}, megabytes<&TMount::totalsize>},
    {{"free", Form::Real1, "MB"}, megabytes<&TMount::freesize>},
    {{"avail", Form::Real1, "MB"}, megabytes<&TMount::availsize>},
    {{"inodes", Form::Real1, "%"}, [](const TEntry<TMount>& e) -> TValue { return useOfInodes(&e.item); }},
    {{"lv", Form::Text, ""}, volumeText<&TLVData::name>},
    {{"path", Form::Text, ""}, volumeText<&TLVData::path>},
};

template <auto Field> static constexpr auto pv = value<TPVData, Field>;
static constexpr TField<TEntry<TPVData>> PhysicalFields[] = {
    {{"index", Form::Int, ""}, index<TPVData>},
    {{"name", Form::Text, ""}, pv<&TPVData::name>},
    {{"lastname", Form::Text, ""}, pv<&TPVData::lastname>},
    {{"vgname", Form::Text, ""}, pv<&TPVData::vgname>},
    {{"pvsize", Form::Text, ""}, pv<&TPVData::pvsize>},
    {{"notusable", Form::Text, ""}, pv<&TPVData::notusable>},
    {{"allocatable", Form::Text, ""}, pv<&TPVData::allocatable>},
    {{"pesize", Form::Text, ""}, pv<&TPVData::pesize>},
    {{"totalpe", Form::Int, "extents"}, pv<&TPVData::totalpe>},
    {{"freepe", Form::Int, "extents"}, pv<&TPVData::freepe>},
    {{"allocatedpe", Form::Int, "extents"}, pv<&TPVData::allocatedpe>},
    {{"uuid", Form::Text, ""}, pv<&TPVData::uuid>},
    {{"segcount", Form::Int, ""}, [](const TEntry<TPVData>& e) -> TValue { return e.item.seg.size(); }},
};

static constexpr TField<TEntry<TMultipath>> PathFields[] = {
    {{"index", Form::Int, ""}, index<TMultipath>},
    {{"name", Form::Text, ""}, value<TMultipath, &TMultipath::name>},
    {{"alias", Form::Text, ""}, value<TMultipath, &TMultipath::alias>},
    {{"wwid", Form::Text, ""}, value<TMultipath, &TMultipath::wwid>},
    {{"size", Form::Text, ""}, value<TMultipath, &TMultipath::size>},
    {{"desc", Form::Text, ""}, freeText<TMultipath, &TMultipath::desc>},
    {{"diskcount", Form::Int, ""}, [](const TEntry<TMultipath>& e) -> TValue { return e.item.disk.size(); }},
};

static constexpr TField<TEntry<TMemberDisk>> MemberFields[] = {
    {{"device", Form::Int, ""}, owner<TMemberDisk>},
    {{"index", Form::Int, ""}, index<TMemberDisk>},
    {{"name", Form::Text, ""}, value<TMemberDisk, &TMemberDisk::name>},
    {{"property", Form::Text, ""}, freeText<TMemberDisk, &TMemberDisk::property>},
    {{"pathindex", Form::Int, ""}, value<TMemberDisk, &TMemberDisk::pathindex>},
    {{"pathstate", Form::Text, ""}, freeText<TMemberDisk, &TMemberDisk::pathstate>},
};

template <auto Field> static TValue label(const TEntry<const TDisk>& e) { return (e.item.labels().*Field).view(); }
static constexpr TField<TEntry<const TDisk>> DiskMapFields[] = {
    {{"index", Form::Int, ""}, index<const TDisk>},
    {{"name", Form::Text, ""}, [](const TEntry<const TDisk>& e) -> TValue { return e.item.name.view(); }},
    {{"ext", Form::Text, ""}, label<&TLabels::ext>},
    {{"vgname", Form::Text, ""}, label<&TLabels::vgname>},
    {{"lvname", Form::Text, ""}, label<&TLabels::lvname>},
    {{"fsname", Form::Text, ""}, label<&TLabels::fsname>},
};

static constexpr TRecord<TCount> GroupCount = {"vgcount", CountFields};
static constexpr TRecord<TEntry<TVGData>> GroupRecord = {"vg", GroupFields};
static constexpr TRecord<TCount> LogicalCount = {"lvcount", CountFields};
static constexpr TRecord<TEntry<TLVData>> LogicalRecord = {"lv", LogicalFields};
static constexpr TRecord<TEntry<TSegment>> LogicalSegmentRecord = {"lvseg", LogicalSegmentFields};
static constexpr TRecord<TCount> MountCount = {"mountcount", CountFields};
static constexpr TRecord<TEntry<TMount>> MountRecord = {"mount", MountFields};
static constexpr TRecord<TCount> PhysicalCount = {"pvcount", CountFields};
static constexpr TRecord<TEntry<TPVData>> PhysicalRecord = {"pv", PhysicalFields};
static constexpr TRecord<TEntry<TSegment>> PhysicalSegmentRecord = {"pvseg", PhysicalSegmentFields};
static constexpr TRecord<TCount> PathCount = {"pathcount", CountFields};
static constexpr TRecord<TEntry<TMultipath>> PathRecord = {"path", PathFields};
static constexpr TRecord<TEntry<TMemberDisk>> MemberRecord = {"pathmembers", MemberFields};
static constexpr TRecord<TEntry<const TDisk>> DiskMapRecord = {"diskmap", DiskMapFields};
static constexpr TRecord<TNothing> CompleteRecord = {"lvm,mapping,complete", {}};

void tellVolumeRecords(TRecordList& list) {
    const auto tell = [&](const auto&... records) { (tellRecord(records, list), ...); };
    tell(GroupCount, GroupRecord, LogicalCount, LogicalRecord, LogicalSegmentRecord, MountCount, MountRecord,
         PhysicalCount, PhysicalRecord, PhysicalSegmentRecord, PathCount, PathRecord, MemberRecord, DiskMapRecord,
         CompleteRecord);
}

// A record for each row; `inner` prints what belongs to it.
template <typename List, typename T, typename Inner>
static void recordAll(const TRecord<TEntry<T>>& record, List& rows, int owner, const Inner& inner) {
    for (size_t i = 0; i < rows.size(); i++) {
        const int index = static_cast<int>(i);
        dispRecord(record, {owner, index, rows[i]});
        inner(rows[i], index);
    }
}

static void dispRecords(std::span<const TDisk> disks) {
    const auto nothing = [](auto&, int) {};
    dispRecord(GroupCount, countOf(vglist));
    recordAll(GroupRecord, vglist, 0, nothing);
    dispRecord(LogicalCount, countOf(lvlist));
    recordAll(LogicalRecord, lvlist, 0, [&](TLVData& v, int i) { recordAll(LogicalSegmentRecord, v.seg, i, nothing); });
    dispRecord(MountCount, countOf(mountlist));
    recordAll(MountRecord, mountlist, 0, nothing);
    dispRecord(PhysicalCount, countOf(pvlist));
    recordAll(PhysicalRecord, pvlist, 0,
              [&](TPVData& v, int i) { recordAll(PhysicalSegmentRecord, v.seg, i, nothing); });
    dispRecord(PathCount, countOf(pathlist));
    recordAll(PathRecord, pathlist, 0, [&](TMultipath& p, int i) { recordAll(MemberRecord, p.disk, i, nothing); });
    recordAll(DiskMapRecord, disks, 0, nothing);
    dispRecord(CompleteRecord, {});
}

void dispVolumes(std::span<const TDisk> disks) {
    if (ShowDiskInfo == 2) return dispRecords(disks);
    if (ShowDiskInfo != 1) return;
    listGroups();
    listMounts();
    listLogicalVolumes();
    listPhysicalVolumes();
    listPaths();
    listDisks(disks);
}
