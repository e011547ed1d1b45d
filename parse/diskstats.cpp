#include "parse/diskstats.h"

#include "base/numbers.h"

static constexpr uint64_t DiskCounters::* Columns[] = {
    &DiskCounters::reads,           &DiskCounters::reads_merged,    &DiskCounters::read_sectors,
    &DiskCounters::read_ms,         &DiskCounters::writes,          &DiskCounters::writes_merged,
    &DiskCounters::write_sectors,   &DiskCounters::write_ms,        &DiskCounters::in_flight,
    &DiskCounters::busy_ms,         &DiskCounters::queue_ms,        &DiskCounters::discards,
    &DiskCounters::discards_merged, &DiskCounters::discard_sectors, &DiskCounters::discard_ms,
    &DiskCounters::flushes,         &DiskCounters::flush_ms,
};
static constexpr unsigned LeastColumns = 11;

// "   8      16 sdb 300 5 2400 120 7 0 56 9 0 100 129 0 0 0 0 3 12": names have no blanks.
static bool parseLine(std::string_view line, DiskCounters& disk) {
    if (!takeNumber(line, disk.major) || !takeNumber(line, disk.minor)) return false;
    const auto name = takeWord(line);
    if (name.empty()) return false;
    disk.name = name;
    disk.columns = 0;
    for (auto column : Columns) {
        disk.*column = 0;
        // In flight was printed with a sign once, and could be below 0.
        if (int64_t below = 0; column == &DiskCounters::in_flight && !takeNumber(line, disk.*column)) {
            if (!takeNumber(line, below)) break;
        } else if (column != &DiskCounters::in_flight && !takeNumber(line, disk.*column)) {
            break;
        }
        disk.columns++;
    }
    return disk.columns >= LeastColumns;
}

void parseDiskstats(std::string_view text, std::vector<DiskCounters>& disks) {
    size_t count = 0;
    for (std::string_view line; takeLine(text, line);) {
        if (count == disks.size()) disks.emplace_back();
        if (parseLine(line, disks[count])) count++;
    }
    disks.resize(count);
}
