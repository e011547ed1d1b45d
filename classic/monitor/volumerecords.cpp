// The volume map as records.
#include "classic/collect/disk.h"
#include "classic/collect/voltext.h"
#include "classic/monitor/records.h"
#include "classic/monitor/volumes.h"

// --- Entries of the lists

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

static constexpr TField<TCount> CountFields[] = {
    {{"count", Form::Int, ""}, [](const int& n) -> TValue { return n; }}
};

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
    {{"index", Form::Int, ""},              index<TPVData>                                                      },
    {{"name", Form::Text, ""},              pv<&TPVData::name>                                                  },
    {{"lastname", Form::Text, ""},          pv<&TPVData::lastname>                                              },
    {{"vgname", Form::Text, ""},            pv<&TPVData::vgname>                                                },
    {{"pvsize", Form::Text, ""},            pv<&TPVData::pvsize>                                                },
    {{"notusable", Form::Text, ""},         pv<&TPVData::notusable>                                             },
    {{"allocatable", Form::Text, ""},       pv<&TPVData::allocatable>                                           },
    {{"pesize", Form::Text, ""},            pv<&TPVData::pesize>                                                },
    {{"totalpe", Form::Int, "extents"},     pv<&TPVData::totalpe>                                               },
    {{"freepe", Form::Int, "extents"},      pv<&TPVData::freepe>                                                },
    {{"allocatedpe", Form::Int, "extents"}, pv<&TPVData::allocatedpe>                                           },
    {{"uuid", Form::Text, ""},              pv<&TPVData::uuid>                                                  },
    {{"segcount", Form::Int, ""},           [](const TEntry<TPVData>& e) -> TValue { return e.item.seg.size(); }},
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
    {{"index", Form::Int, ""},   index<const TDisk>                                                       },
    {{"name", Form::Text, ""},   [](const TEntry<const TDisk>& e) -> TValue { return e.item.name.view(); }},
    {{"ext", Form::Text, ""},    label<&TLabels::ext>                                                     },
    {{"vgname", Form::Text, ""}, label<&TLabels::vgname>                                                  },
    {{"lvname", Form::Text, ""}, label<&TLabels::lvname>                                                  },
    {{"fsname", Form::Text, ""}, label<&TLabels::fsname>                                                  },
};

// --- The records

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

void dispVolumeRecords(std::span<const TDisk> disks) {
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
