// Prints the volume map that was just built.
#pragma once

#include "classic/collect/volumes.h"

#include <span>
#include <vector>

// Prints the map as ShowDiskInfo says: not at all, as a listing or as records.
void dispVolumes(std::span<const TDisk> disks);

// --- Shared by its two forms

void dispVolumeRecords(std::span<const TDisk> disks);

// Percent of a mount's inodes that are in use; 0 if there is no mount or it does not count inodes.
double useOfInodes(const TMount* mount);

template <typename Row> int countOf(const Row& rows) { return static_cast<int>(rows.size()); }
