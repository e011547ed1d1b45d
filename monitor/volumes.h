// Prints the volume map that was just built.
#pragma once

#include "collect/volumes.h"

#include <span>

// As ShowDiskInfo says: not at all, as a listing or as records.
void dispVolumes(std::span<const TDisk> disks);
