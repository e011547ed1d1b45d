// The reports of vgdisplay, lvdisplay -m and pvdisplay -m: blocks of lines "  VG Name               vg00".
#include "classic/collect/volumes.h"

#include "base/words.h"
#include "classic/collect/slots.h"
#include "classic/collect/voltext.h"

static constexpr size_t LineLimit = 1024; // a longer line is read in pieces, each as a line of its own

// Calls `take` with every line that is long enough for a key, from its first non-blank on, until it returns false.
template <typename Take> static void eachLine(std::string_view report, const Take& take) {
    constexpr size_t LeastLine = 8, LeastText = 11;
    Lines lines(report, LineLimit);
    for (std::string_view line; lines.next(line);) {
        if (line.size() < LeastLine) continue;
        const auto text = getfirst(cutLineEnd(line, LeastLine));
        if (text.size() >= LeastText && !take(text)) return;
    }
}

static bool has(std::string_view line, std::string_view key) { return line.find(key) != line.npos; }

// What a key does to its record. `line` is the line from its first non-blank on, `after` the text that follows the key.
template <typename Row> struct TKey {
    std::string_view key;
    void (*take)(Row& row, std::string_view line, std::string_view after);
};

// Takes the first key of the table that occurs anywhere in the line.
template <typename Row, size_t N> static void takeLine(const TKey<Row> (&keys)[N], Row& row, std::string_view line) {
    for (auto& known : keys)
        if (const auto at = line.find(known.key); at != line.npos)
            return known.take(row, line, line.substr(at + known.key.size()));
}

// --- What most keys do

// The line's last word, as text or number.
// Quirk: "VG Name" followed by blanks only, as for a physical volume in no group, gives a blank. Seen by
// tests/worlds/disk-capture-lvm.
template <typename Row, auto Field> static void last(Row& row, std::string_view line, std::string_view) {
    row.*Field = getlast2(line);
}
template <typename Row, auto Field> static void lastNumber(Row& row, std::string_view line, std::string_view) {
    row.*Field = toInt(getlast2(line));
}
// The text after the key, as text or number.
template <typename Row, auto Field> static void rest(Row& row, std::string_view, std::string_view after) {
    row.*Field = getfirst(after);
}
template <typename Row, auto Field> static void restNumber(Row& row, std::string_view, std::string_view after) {
    row.*Field = toInt(getfirst(after));
}
// The same, but from the next word on.
template <auto Field> static void nextWords(TVGData& vg, std::string_view, std::string_view after) {
    vg.*Field = getnext(after);
}

// --- Volume groups

// "Alloc PE / Size       185 / 740.00 MiB"
template <auto Count, auto Size> static void countAndSize(TVGData& vg, std::string_view, std::string_view after) {
    vg.*Count = toInt(getnext(after));
    const auto slash = after.find('/');
    if (slash == after.npos) return;
    vg.*Size = tail(after, slash + 2);
    getlasttrim(vg.*Size);
}

template <auto Field> static constexpr auto vgLast = last<TVGData, Field>;
template <auto Field> static constexpr auto vgNumber = lastNumber<TVGData, Field>;

static constexpr TKey<TVGData> GroupKeys[] = {
    {"Format", vgLast<&TVGData::format>},
    {"Access", vgLast<&TVGData::access>},
    {"Status", vgLast<&TVGData::status>},
    {"MAX LV", vgNumber<&TVGData::maxlv>},
    {"Cur LV", vgNumber<&TVGData::curlv>},
    {"Open LV", vgNumber<&TVGData::openlv>},
    // Quirk: the tool writes "Max PV", so that this one stays 0. Seen by tests/worlds/disk-capture-lvm.
    {"MAX PV", vgNumber<&TVGData::maxpv>},
    {"Cur PV", vgNumber<&TVGData::curpv>},
    {"Act PV", vgNumber<&TVGData::actpv>},
    {"VG Size", nextWords<&TVGData::vgsize>},
    {"PE Size", nextWords<&TVGData::pesize>},
    {"Total PE", vgNumber<&TVGData::totalpe>},
    {"Alloc PE / Size", countAndSize<&TVGData::allocpe, &TVGData::allocsize>},
    {"Free  PE / Size", countAndSize<&TVGData::freepe, &TVGData::freesize>},
    {"VG UUID", nextWords<&TVGData::uuid>},
};

void getVolumeGroups(std::string_view report) {
    eachLine(report, [](std::string_view line) {
        if (has(line, "VG Name")) {
            auto* vg = addRow(vglist);
            if (!vg) return false;
            vg->name = getlast2(line);
        } else if (!vglist.empty()) {
            takeLine(GroupKeys, vglist.back(), line);
        }
        return true;
    });
}

// --- Logical volumes

template <auto Field> static constexpr auto lvLast = last<TLVData, Field>;
template <auto Field> static constexpr auto lvRest = rest<TLVData, Field>;
template <auto Field> static constexpr auto lvNumber = restNumber<TLVData, Field>;

// The segment that the current lines describe; null before the first one and when there was no memory for it.
template <typename Row> static TSegment* current(Row& row) {
    return row.seg.empty() || row.lost ? nullptr : &row.seg.back();
}

// Adds a segment with the extents of its line. Most volumes have only one.
template <typename Row> static void startSegment(Row& row, std::string_view extents, char kind) {
    row.lost = !makeRoom(row.seg, row.seg.size() + 1, 1);
    if (!row.lost) getextent(extents, kind, row.seg.emplace_back());
}

// Extents begin at a fixed column, whether the tool writes "extent" or "extents".
static std::string_view logicalExtents(std::string_view line) { return tail(line, 15); }
static std::string_view physicalExtents(std::string_view line) { return tail(line, 16); }

static void setGroup(TLVData& lv, std::string_view line, std::string_view) {
    lv.vgname = getlast2(line);
    lv.fsname = Text<512>(lv.vgname.view()).add("-").add(lv.name);
}

static void setSegments(TLVData& lv, std::string_view line, std::string_view after) {
    // The heading "--- Segments ---" has no count.
    if (line.starts_with("Segments")) lv.segments = toInt(getfirst(after));
}

static void setReadAhead(TLVData& lv, std::string_view, std::string_view after) {
    lv.RHS = lv.curRHS = getfirst(after); // the current value may follow in a line of its own
}

// Quirk: the parts of a mirrored or RAID volume have "Logical extents" lines as well, and each opens a segment. Seen by
// tests/worlds/disk-capture-lvm-rich.
static void startLogical(TLVData& lv, std::string_view line, std::string_view) {
    startSegment(lv, logicalExtents(line), 'L');
}

static void setPhysical(TLVData& lv, std::string_view line, std::string_view) {
    if (auto* seg = current(lv)) getextent(physicalExtents(line), 'P', *seg);
}

static constexpr TKey<TLVData> LogicalKeys[] = {
    {"VG Name", setGroup},
    {"LV UUID", lvLast<&TLVData::uuid>},
    {"LV Write Access", lvLast<&TLVData::waccess>},
    {"LV Status", lvLast<&TLVData::status>},
    {"# open", lvNumber<&TLVData::open>},
    {"LV Size", lvRest<&TLVData::lvsize>},
    {"Current LE", lvNumber<&TLVData::curle>},
    {"Segments", setSegments},
    {"Allocation", lvRest<&TLVData::allocation>},
    {"Read ahead sectors", setReadAhead},
    {"currently set to", lvRest<&TLVData::curRHS>},
    {"Block device", [](TLVData& lv, std::string_view line, std::string_view) { getblockinfo(line, lv); }},
    {"Logical extent", startLogical},
    {"Physical extent", setPhysical},
    {"Physical volume",
     [](TLVData& lv, std::string_view line, std::string_view) {
         if (auto* seg = current(lv)) seg->name = getlast(line);
     }},
    {"Type",
     [](TLVData& lv, std::string_view line, std::string_view) {
         if (auto* seg = current(lv)) seg->type = getlast(line);
     }},
};

void getLogicalVolumes(std::string_view report) {
    Text<64> path; // its line precedes the name, which opens the record
    eachLine(report, [&](std::string_view line) {
        if (has(line, "LV Path")) {
            path = getlast2(line);
        } else if (has(line, "LV Name")) {
            auto* lv = addRow(lvlist);
            if (!lv) return false;
            lv->name = getlast2(line);
            lv->path = path;
            path.clear();
        } else if (!lvlist.empty()) {
            takeLine(LogicalKeys, lvlist.back(), line);
        }
        return true;
    });
}

// --- Physical volumes

template <auto Field> static constexpr auto pvNumber = restNumber<TPVData, Field>;

// "PV Size               700.00 MiB / not usable 4.00 MiB"
static void setSize(TPVData& pv, std::string_view, std::string_view after) {
    constexpr std::string_view NotUsable = "/ not usable";
    pv.pvsize = getfirst(after);
    pv.notusable.clear();
    const auto at = pv.pvsize.view().find(NotUsable);
    if (at == NotUsable.npos) return;
    pv.notusable = getfirst(pv.pvsize.view().substr(at + NotUsable.size()));
    // Quirk: the character before the "/", usually a blank, is dropped, too. Seen by tests/unit/test_lvmphysical.cpp.
    pv.pvsize.cut(at > 0 ? at - 1 : 0);
    getlasttrim(pv.notusable);
    getlasttrim(pv.pvsize);
}

// "PE Size               4.00 MiB"; with older tools "PE Size (KByte)       4096"
static void setExtentSize(TPVData& pv, std::string_view line, std::string_view after) {
    const auto closing = line.find(')'), opening = line.find('(');
    pv.pesize = getfirst(closing == line.npos ? after : line.substr(closing + 1));
    if (closing == line.npos || opening == line.npos) return;
    char unit[31] = {};
    getstring(line.substr(opening + 1), unit);
    pv.pesize.add(" ").add(unit);
}

static void startPhysical(TPVData& pv, std::string_view line, std::string_view) {
    startSegment(pv, physicalExtents(line), 'P');
}

static constexpr TKey<TPVData> PhysicalKeys[] = {
    {"VG Name", last<TPVData, &TPVData::vgname>},
    {"PV Size", setSize},
    {"Allocatable",
     [](TPVData& pv, std::string_view, std::string_view after) {
         pv.allocatable = getfirst(after);
         getlasttrim(pv.allocatable);
     }},
    {"PE Size", setExtentSize},
    {"Total PE", pvNumber<&TPVData::totalpe>},
    {"Free PE", pvNumber<&TPVData::freepe>},
    {"Allocated PE", pvNumber<&TPVData::allocatedpe>},
    {"PV UUID", last<TPVData, &TPVData::uuid>},
    {"Physical extent", startPhysical},
    {"Logical extent",
     [](TPVData& pv, std::string_view line, std::string_view) {
         if (auto* seg = current(pv)) getextent(logicalExtents(line), 'L', *seg);
     }},
    {"Logical volume",
     [](TPVData& pv, std::string_view line, std::string_view) {
         if (auto* seg = current(pv)) seg->name = getlast2(line);
     }},
};

void getPhysicalVolumes(std::string_view report) {
    eachLine(report, [](std::string_view line) {
        if (has(line, "PV Name")) {
            auto* pv = addRow(pvlist);
            if (!pv) return false;
            pv->name = getlast2(line);
            pv->lastname = getlast(line);
        } else if (!pvlist.empty()) {
            takeLine(PhysicalKeys, pvlist.back(), line);
        }
        return true;
    });
}
