// Prints the volume map that was just built.
#pragma once

#include "collect/volumes.h"

#include <span>
#include <vector>

// As ShowDiskInfo says: not at all, as a listing or as records.
void dispVolumes(std::span<const TDisk> disks);

// --- What its two forms share

void dispVolumeRecords(std::span<const TDisk> disks);

// Percent of a mount's inodes that are in use; 0 without a mount that counts them.
double useOfInodes(const TMount* mount);

// What a link leads to, null: nothing.
template <typename Row> const Row* at(const std::vector<Row>& rows, int link) {
    return link == NoLink ? nullptr : &rows[static_cast<size_t>(link)];
}

template <typename Row> int countOf(const Row& rows) { return static_cast<int>(rows.size()); }
