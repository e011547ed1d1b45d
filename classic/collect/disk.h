// Disk activity: /proc/diskstats, rates per second, and their sums for the volumes of the map.
#pragma once

#include "base/text.h"
#include "classic/collect/slots.h"
#include "classic/collect/volumes.h"

#include <memory>
#include <optional>
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
    std::string_view name;           // the name and the labels are valid until the next sample
    const TLabels* labels = nullptr; // never null in a row of the result
    int major = 0, minor = 0;        // of "Total": both the number of disks in it
    TDiskPerf perf;
};

// The samples, and the row "Total" followed by the devices that were active between them.
using TDiskSlots = Slots<TDisk, TDiskRate>;

struct TDiskSample {
    bool read = false;              // false: there was no memory for the rows
    std::optional<double> mapStart; // set when the volume map was built: the clock at its start, seconds
};

// Takes a sample into slot `icur`, `seconds` after the one in slot `ipre`. Builds the volume map with the first sample
// and when the number of devices changes; the caller prints it.
TDiskSample getDiskSample(int CallingIndex, int icur, int ipre, double seconds, TDiskSlots& slots);
// Computes the result and the `perf` of all volumes from the samples in both slots. Returns the number of rows of the
// result; 0 when the samples cannot be compared.
int getdisk(int icur, int ipre, double seconds, TDiskSlots& slots);

// A line of /proc/diskstats; false (and nothing set) when it has other than 7 or 14 words or shows a device that never
// did anything. The labels stay.
bool getDiskLine(std::string_view line, TDisk& disk);
