// The volume map: LVM groups and volumes, multipath devices and mounts, and which disk belongs to which of them.
#pragma once

#include "base/text.h"
#include "classic/collect/space.h"

#include <span>
#include <string_view>
#include <vector>

struct TDisk;

// A link to an entry of another list of the same map: its index there.
constexpr int NoLink = -1;
// The row that a link leads to; null without one.
template <typename Row> const Row* at(const std::vector<Row>& rows, int link) {
    return link == NoLink ? nullptr : &rows[static_cast<size_t>(link)];
}

// The activity of a volume's disks in an interval, added up by the disk collector.
struct TDiskPerf {
    double time = 0;                        // busy, percent
    double rbytes = 0, wbytes = 0;          // bytes per second
    double rxfers = 0, wxfers = 0;          // transfers per second
    double rtime = 0, wtime = 0, await = 0; // milliseconds per read, write, transfer
    double avgq = 0;                        // mean queue length
    double svctm = 0;                       // service time, milliseconds
    int count = 0;                          // devices added
};

struct TVGData {
    Text<64> name;
    Text<16> format; // "lvm2"
    Text<64> access, status;
    int maxlv = 0, curlv = 0, openlv = 0, maxpv = 0, curpv = 0, actpv = 0;
    Text<64> vgsize, pesize; // with their units: "1.82 TiB"
    int totalpe = 0, allocpe = 0;
    Text<64> allocsize;
    int freepe = 0;
    Text<64> freesize, uuid;
    TDiskPerf perf;
};

// One run of extents that lie together.
struct TSegment {
    Text<256> name; // of a logical volume: the last component of the physical volume's path; of a physical volume: the
                    // path of the logical volume
    Text<32> type;  // of a logical volume only: "linear"
    int lext[2] = {}, pext[2] = {}; // first and last logical and physical extent
};

struct TLVData {
    Text<64> path, name, vgname, uuid, waccess, status;
    int open = 0;
    Text<64> lvsize;
    int curle = 0, segments = 0;
    Text<64> allocation;
    Text<64> RHS, curRHS; // read-ahead, sectors: as configured and as it is now
    int major = 0, minor = 0;
    std::vector<TSegment> seg;
    bool lost = false; // there was no memory for the segment last read
    Text<512> fsname;  // "group-volume"
    int mount = NoLink;
    TDiskPerf perf;
};

struct TPVData {
    Text<64> name;     // device path
    Text<64> lastname; // its last component, the kernel's name
    Text<64> vgname, pvsize, notusable, allocatable, pesize;
    int totalpe = 0, freepe = 0, allocatedpe = 0;
    Text<64> uuid;
    std::vector<TSegment> seg;
    bool lost = false; // there was no memory for the segment last read
    TDiskPerf perf;
};

// One path of a multipath device.
struct TMemberDisk {
    Text<64> name;       // kernel device name
    Text<64> property;   // "active ready running"
    int pathindex = 0;   // number of its path group, -1 before the first
    Text<256> pathstate; // the group's description, "-" without a group
};

struct TMultipath {
    Text<64> alias; // "-" when it has none
    Text<256> wwid;
    Text<32> name;  // "dm-0"
    Text<256> desc; // vendor and product
    Text<32> size;
    std::vector<TMemberDisk> disk;
    int pv = NoLink; // the physical volume on it
};

struct TMount : TSizes {
    int set = 0;         // 1: the filesystem has blocks and inodes
    Text<512> fsname;    // device as in the mount table
    Text<64> lastfsname; // its last component
    Text<512> dir;
    Text<16> type;
    long bsize = 0;  // bytes
    int lv = NoLink; // the logical volume mounted here
    TDiskPerf perf;
};

extern std::vector<TVGData> vglist;
extern std::vector<TLVData> lvlist;
extern std::vector<TPVData> pvlist;
extern std::vector<TMultipath> pathlist;
extern std::vector<TMount> mountlist;

// The entries of the map that a disk belongs to.
struct TLabels {
    Text<64> ext;     // multipath device, or "dm-0 [Path1]" for one of its paths
    Text<256> vgname; // volume group
    Text<256> lvname; // "group/volume", or the mounted device
    Text<256> fsname; // mount directory
    int vg = NoLink, lv = NoLink, pv = NoLink, mount = NoLink, path = NoLink;
    unsigned map = 0; // number of the map that the links lead into; when that is no longer the current one, only the
                      // texts are valid
};

// How many maps were built so far, which is the number of the current one.
extern unsigned mapNumber;

// Builds all lists anew from the volume tools and the mount table and labels the disks. Returns the clock at its start,
// seconds: what the map costs includes printing it, which is up to the report.
double mapdisk(std::span<TDisk> disks);

// --- The parts of mapdisk

// Each fills its own list, which is empty before, from the text of a command or a file. Without memory for all of its
// rows the list is emptied. Without memory for all segments or paths, a row keeps the first ones.

void getVolumeGroups(std::string_view report);    // vgdisplay
void getLogicalVolumes(std::string_view report);  // lvdisplay -m
void getPhysicalVolumes(std::string_view report); // pvdisplay -m
void getMultipaths(std::string_view report);      // multipath -ll; links to pvlist
void getMounts();                                 // /etc/mtab; links with lvlist
void labelDisks(std::span<TDisk> disks);
