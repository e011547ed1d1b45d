// Findings of made-up machines as text.
#pragma once

#include "record/log.h"
#include "tests/unit/whymachine.h"
#include "view/why.h"

#include <cstddef>
#include <cstdint>
#include <string>

inline std::string shown(const Interval& interval, size_t width = 0) {
    const LogHead head;
    const ViewRow asked;
    Page page(width, false);
    showWhy(interval, {head, asked}, page);
    return page.text();
}

inline std::string shown(WhyMachine& machine, size_t width = 0) {
    judge(machine.interval, machine.limits);
    return shown(machine.interval, width);
}

// A backup writes to a disk; a database and others wait for it.
inline WhyMachine saturated() {
    WhyMachine machine;
    machine.pressure("io", 71.5, 62);
    machine.disk("sdb", "8:16", 200, 41.2, 17);
    auto& rsync = machine.process(4411, "rsync", "/system.slice/backup.service");
    rsync.user = "root", rsync.unit = "backup.service";
    rsync.write_bytes = 366 * MiB, rsync.written_recently = 6000 * MiB;
    auto& postgres = machine.process(2210, "postgres", "/system.slice/postgres.service");
    postgres.user = "postgres", postgres.write_bytes = 16 * MiB;
    machine.groupIo("/system.slice/backup.service", "8:16", 368 * MiB);
    machine.groupIo("/system.slice/postgres.service", "8:16", 16 * MiB);
    machine.file(rsync, "/srv/db7.tar", "sdb", 366 * MiB).volume = "vg/backup";
    for (uint64_t pid = 10; pid < 18; pid++) machine.process(pid, "postgres").state = 'D';
    machine.process(700, "rsyslogd").state = 'D';
    return machine;
}
