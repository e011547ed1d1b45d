// Disk activity: /proc/diskstats, rates per second, and their sums for the volumes of the map.
#pragma once

#include "base/text.h"
#include "classic/collect/slots.h"
#include "classic/collect/volumes.h"

#include <memory>
#include <string_view>

// One device in a sample: the kernel's counters since boot.
struct TDisk {
    Text<64> name;
    int major = 0, minor = 0;
    double time = 0;               // milliseconds doing I/O
    double rbytes = 0, wbytes = 0; // bytes
    double rxfers = 0, wxfers = 0; // transfers completed
    double rtime = 0, wtime = 0;   // milliseconds reading, writing
    double curq = 0;               // transfers in progress now
    double avgq = 0;               // milliseconds of all transfers, waiting included
    std::shared_ptr<const TLabels> map;
    const TLabels& labels() const; // empty before the device was mapped
};

// One device, or all of them, in an interval.
struct TDiskRate {
    std::string_view name;           // this one and the labels are good until the next sample
    const TLabels* labels = nullptr; // never null in a row that was made
    int major = 0, minor = 0;        // of "Total": both the number of disks in it
    TDiskPerf perf;
};

// The samples, and the devices that were active between them, behind the row "Total".
using TDiskSlots = Slots<TDisk, TDiskRate>;

// Takes a sample into slot `icur` and computes the result from it and slot `ipre`, which lie `seconds` apart, as well
// as the `perf` of all volumes. Builds the volume map with the first sample and when the number of devices changes.
// Returns the number of rows of the result; 0 when there are no rates.
int getdisk(int CallingIndex, int icur, int ipre, double seconds, TDiskSlots& slots);

// A line of /proc/diskstats; false (and nothing set) when it has other than 7 or 14 words or shows a device that never
// did anything. The labels stay.
bool getDiskLine(std::string_view line, TDisk& disk);
