// One block device of the map, as text: what it is, what it is called and how it does.
#pragma once

#include "sample/volumes.h"

#include <string>

// "8:16"; the name where there is no number.
std::string devOf(const BlockDevice& device);
// "nvme0n2" of its path "nvme0c1n2"; empty of all others.
std::string nvmeHead(const BlockDevice& device);
// As VolumeRow::kind has it.
std::string kindOf(const BlockDevice& device);
// As VolumeRow::label has it.
std::string labelOf(const BlockDevice& device);
// As VolumeRow::state has it; empty: nothing to say.
std::string stateOf(const VolumeSample& sample, const BlockDevice& device);
