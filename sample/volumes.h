// The block devices with what they are made of, the btrfs filesystems, mounts and swap areas.
#pragma once

#include "base/root.h"
#include "parse/mountinfo.h"
#include "parse/multipathd.h"
#include "parse/swaps.h"
#include "parse/volumegroups.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct RaidMember {
    std::string device, state; // sda1, "in_sync", "faulty", "spare" ... as the kernel lists them
    bool operator==(const RaidMember&) const = default;
};

struct BlockDevice {
    std::string name; // sda1, dm-0; with '!' for the '/' of "cciss/c0d0", as in /sys
    std::string disk; // of a partition: its disk
    uint32_t major = 0, minor = 0;
    uint64_t size_bytes = 0;
    unsigned partition = 0; // its number
    bool hidden = false;    // a path of native NVMe multipath; it has no number
    std::vector<std::string> slaves;
    std::string dmName, dmUuid;
    bool suspended = false;
    std::string raidLevel, raidState, raidSync, raidCompleted;
    unsigned raidDisks = 0, raidDegraded = 0;
    std::vector<RaidMember> members;
    std::string loopFile;
    std::string bcacheState, pathState;            // of an NVMe path: its ANA state
    std::string deviceState, model;                // of a SCSI device: running, offline ...
    std::string fsType, fsLabel, fsUuid, raidName; // from udev's database; empty without one
    std::vector<std::string> links;                // its other names below /dev
};

struct BtrfsVolume {
    std::string uuid, label;
    std::vector<std::string> devices;
    unsigned missing = 0; // devices that are not there
};

struct VolumeSample {
    std::vector<BlockDevice> devices; // by name, partitions after their disk
    std::vector<BtrfsVolume> btrfs;
    std::vector<MountInfo> mounts;
    std::vector<SwapArea> swaps;
    std::vector<MultipathMap> maps;  // what multipathd said; empty without it
    std::vector<VolumeGroup> groups; // what vgs said; empty without it
    uint64_t denied = 0;             // files that a right forbade to read, so far
};

// Reads all but what the tools say. What is missing (no udev, no /sys) stays empty.
void readVolumes(const Root& root, VolumeSample& sample);
// Reads the mounts and swap areas only.
void readMounts(const Root& root, VolumeSample& sample);
// Reads the states of the known RAID arrays only. True: one has changed.
bool readRaids(const Root& root, VolumeSample& sample);
// Whether a RAID array is being built, checked or repaired.
bool isSyncing(const BlockDevice& device);
// What a uevent of the kernel means for the sample: a multipath path that failed or came back changes its state here.
// True: the devices must be read again.
bool takeUevent(VolumeSample& sample, std::string_view message);
// Whether a device of the sample is a multipath map, whose paths multipathd knows more about.
bool hasMultipath(const VolumeSample& sample);
// Whether a device of the sample belongs to a volume group, whose size LVM's tools know.
bool hasLvm(const VolumeSample& sample);
