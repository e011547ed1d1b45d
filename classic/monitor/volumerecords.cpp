// The volume map as records.
#include "classic/collect/disk.h"
#include "classic/collect/voltext.h"
#include "classic/monitor/report.h"
#include "classic/monitor/volumes.h"
#include "record/classic/volumes.h"

// --- Entries of the lists

namespace {
// An entry of a list, its index in the list, and the index of the volume or device that it belongs to.
template <typename T> struct TEntry {
    int owner, index;
    T& item;
};
struct TCount {
    int count;
};
} // namespace

template <typename T> static const T& item(const TEntry<T>& e) { return e.item; }
// A text of the volume tools. Its commas would look like ends of fields, so they are replaced.
// Quirk: not all such texts lose their commas. Seen by tests/worlds/disk-map-commas-records.
template <typename T, auto Field> static auto freeText(const TEntry<T>& e) { return checkcomma(e.item.*Field); }

// --- The records

template <const Kind& kind> static constexpr auto countRecord = recordOf<kind, TCount, &TCount::count>;
static constexpr auto GroupCount = countRecord<classic::GroupCountKind>;
static constexpr auto LogicalCount = countRecord<classic::LogicalCountKind>;
static constexpr auto MountCount = countRecord<classic::MountCountKind>;
static constexpr auto PhysicalCount = countRecord<classic::PhysicalCountKind>;
static constexpr auto PathCount = countRecord<classic::PathCountKind>;

static constexpr auto GroupRecord = recordOf<
    classic::GroupKind, TEntry<TVGData>, &TEntry<TVGData>::index, in<item<TVGData>, &TVGData::name>,
    in<item<TVGData>, &TVGData::format>, freeText<TVGData, &TVGData::access>, freeText<TVGData, &TVGData::status>,
    in<item<TVGData>, &TVGData::maxlv>, in<item<TVGData>, &TVGData::curlv>, in<item<TVGData>, &TVGData::openlv>,
    in<item<TVGData>, &TVGData::maxpv>, in<item<TVGData>, &TVGData::curpv>, in<item<TVGData>, &TVGData::actpv>,
    in<item<TVGData>, &TVGData::vgsize>, in<item<TVGData>, &TVGData::pesize>, in<item<TVGData>, &TVGData::totalpe>,
    in<item<TVGData>, &TVGData::allocpe>, in<item<TVGData>, &TVGData::allocsize>, in<item<TVGData>, &TVGData::freepe>,
    in<item<TVGData>, &TVGData::freesize>, in<item<TVGData>, &TVGData::uuid>>;

// The name by which the volume is mounted.
static std::string_view mountedName(const TEntry<TLVData>& e) {
    const auto* mount = at(mountlist, e.item.mount);
    return mount ? mount->fsname.view() : std::string_view();
}

static constexpr auto LogicalRecord =
    recordOf<classic::LogicalKind, TEntry<TLVData>, &TEntry<TLVData>::index, in<item<TLVData>, &TLVData::name>,
             in<item<TLVData>, &TLVData::path>, in<item<TLVData>, &TLVData::vgname>, in<item<TLVData>, &TLVData::uuid>,
             freeText<TLVData, &TLVData::waccess>, freeText<TLVData, &TLVData::status>,
             in<item<TLVData>, &TLVData::open>, in<item<TLVData>, &TLVData::lvsize>, in<item<TLVData>, &TLVData::curle>,
             in<item<TLVData>, &TLVData::segments>, in<item<TLVData>, &TLVData::allocation>,
             in<item<TLVData>, &TLVData::RHS>, in<item<TLVData>, &TLVData::curRHS>, in<item<TLVData>, &TLVData::major>,
             in<item<TLVData>, &TLVData::minor>, mountedName>;

// The first (0) and the last (1) of a segment's extents.
template <auto Extents, int Which> static int extent(const TEntry<TSegment>& e) { return (e.item.*Extents)[Which]; }

static constexpr auto LogicalSegmentRecord =
    recordOf<classic::LogicalSegmentKind, TEntry<TSegment>, &TEntry<TSegment>::owner, &TEntry<TSegment>::index,
             in<item<TSegment>, &TSegment::name>, in<item<TSegment>, &TSegment::type>, extent<&TSegment::lext, 0>,
             extent<&TSegment::lext, 1>, extent<&TSegment::pext, 0>, extent<&TSegment::pext, 1>>;
static constexpr auto PhysicalSegmentRecord =
    recordOf<classic::PhysicalSegmentKind, TEntry<TSegment>, &TEntry<TSegment>::owner, &TEntry<TSegment>::index,
             in<item<TSegment>, &TSegment::name>, extent<&TSegment::pext, 0>, extent<&TSegment::pext, 1>,
             extent<&TSegment::lext, 0>, extent<&TSegment::lext, 1>>;

template <auto Field> static double megabytes(const TEntry<TMount>& e) {
    return e.item.set > 0 ? e.item.*Field / 1048576.0 : 0.0;
}
static double inodes(const TEntry<TMount>& e) { return useOfInodes(&e.item); }
// A text of the volume that is mounted.
template <auto Field> static std::string_view volumeText(const TEntry<TMount>& e) {
    const auto* volume = at(lvlist, e.item.lv);
    return volume ? (volume->*Field).view() : std::string_view();
}

static constexpr auto MountRecord =
    recordOf<classic::MountKind, TEntry<TMount>, &TEntry<TMount>::index, in<item<TMount>, &TMount::dir>,
             in<item<TMount>, &TMount::fsname>, in<item<TMount>, &TMount::type>, megabytes<&TMount::totalsize>,
             megabytes<&TMount::freesize>, megabytes<&TMount::availsize>, inodes, volumeText<&TLVData::name>,
             volumeText<&TLVData::path>>;

static size_t segments(const TEntry<TPVData>& e) { return e.item.seg.size(); }

static constexpr auto PhysicalRecord =
    recordOf<classic::PhysicalKind, TEntry<TPVData>, &TEntry<TPVData>::index, in<item<TPVData>, &TPVData::name>,
             in<item<TPVData>, &TPVData::lastname>, in<item<TPVData>, &TPVData::vgname>,
             in<item<TPVData>, &TPVData::pvsize>, in<item<TPVData>, &TPVData::notusable>,
             in<item<TPVData>, &TPVData::allocatable>, in<item<TPVData>, &TPVData::pesize>,
             in<item<TPVData>, &TPVData::totalpe>, in<item<TPVData>, &TPVData::freepe>,
             in<item<TPVData>, &TPVData::allocatedpe>, in<item<TPVData>, &TPVData::uuid>, segments>;

static size_t members(const TEntry<TMultipath>& e) { return e.item.disk.size(); }

static constexpr auto PathRecord =
    recordOf<classic::PathKind, TEntry<TMultipath>, &TEntry<TMultipath>::index, in<item<TMultipath>, &TMultipath::name>,
             in<item<TMultipath>, &TMultipath::alias>, in<item<TMultipath>, &TMultipath::wwid>,
             in<item<TMultipath>, &TMultipath::size>, freeText<TMultipath, &TMultipath::desc>, members>;
static constexpr auto MemberRecord =
    recordOf<classic::MemberKind, TEntry<TMemberDisk>, &TEntry<TMemberDisk>::owner, &TEntry<TMemberDisk>::index,
             in<item<TMemberDisk>, &TMemberDisk::name>, freeText<TMemberDisk, &TMemberDisk::property>,
             in<item<TMemberDisk>, &TMemberDisk::pathindex>, freeText<TMemberDisk, &TMemberDisk::pathstate>>;

static const TLabels& labels(const TEntry<const TDisk>& e) { return e.item.labels(); }

static constexpr auto DiskMapRecord =
    recordOf<classic::DiskMapKind, TEntry<const TDisk>, &TEntry<const TDisk>::index,
             in<item<const TDisk>, &TDisk::name>, in<labels, &TLabels::ext>, in<labels, &TLabels::vgname>,
             in<labels, &TLabels::lvname>, in<labels, &TLabels::fsname>>;

static constexpr auto CompleteRecord = recordOf<classic::MapCompleteKind, TNothing>;

// --- Printing

// Prints a record for each row; after each, `inner` prints the records that belong to it.
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
    dispRecord(GroupCount, {countOf(vglist)});
    recordAll(GroupRecord, vglist, 0, nothing);
    dispRecord(LogicalCount, {countOf(lvlist)});
    recordAll(LogicalRecord, lvlist, 0, [&](TLVData& v, int i) { recordAll(LogicalSegmentRecord, v.seg, i, nothing); });
    dispRecord(MountCount, {countOf(mountlist)});
    recordAll(MountRecord, mountlist, 0, nothing);
    dispRecord(PhysicalCount, {countOf(pvlist)});
    recordAll(PhysicalRecord, pvlist, 0,
              [&](TPVData& v, int i) { recordAll(PhysicalSegmentRecord, v.seg, i, nothing); });
    dispRecord(PathCount, {countOf(pathlist)});
    recordAll(PathRecord, pathlist, 0, [&](TMultipath& p, int i) { recordAll(MemberRecord, p.disk, i, nothing); });
    recordAll(DiskMapRecord, disks, 0, nothing);
    dispRecord(CompleteRecord, {});
}
