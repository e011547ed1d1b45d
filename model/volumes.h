// The map of volumes from one sample. Pure.
#pragma once

#include "record/volumes.h"
#include "sample/volumes.h"

#include <vector>

struct VolumeMap {
    std::vector<VolumeRow> volumes; // disks first, then what stands on them; hidden layers of LVM are folded
    std::vector<HoldsRow> holds;
    std::vector<MountRow> mounts;
};

VolumeMap volumeMap(const VolumeSample& sample);
