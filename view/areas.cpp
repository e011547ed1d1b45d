#include "view/areas.h"

#include "base/numbers.h"
#include "view/cgroup.h"
#include "view/churn.h"
#include "view/cpu.h"
#include "view/disk.h"
#include "view/file.h"
#include "view/fs.h"
#include "view/limits.h"
#include "view/memory.h"
#include "view/net.h"
#include "view/proc.h"
#include "view/proclist.h"
#include "view/proto.h"
#include "view/self.h"
#include "view/sock.h"
#include "view/thread.h"
#include "view/volumes.h"
#include "view/why.h"

#include <algorithm>

// clang-format off
static constexpr Area Areas[] = {
    {"why",      "what is under pressure, who did it, who suffers, and until when",
                 "the sources of the other areas", nullptr, false, showWhy},
    {"cpu",      "CPU shares, run queue, switches, interrupts, forks, load",
                 "/proc/stat, /proc/loadavg", nullptr, true, showCpu},
    {"cores",    "the same shares for each core",
                 "/proc/stat", nullptr, false, showCores},
    {"mem",      "available, anonymous, file, dirty, swap and its traffic, reclaim, faults, OOM kills",
                 "/proc/meminfo, /proc/vmstat", nullptr, true, showMemory},
    {"pressure", "how long tasks waited for CPU, memory and I/O, as shares of the interval",
                 "/proc/pressure", nullptr, true, showPressure},
    {"disk",     "reads, writes, discards and flushes of every block device, their waits, queue, busy",
                 "/proc/diskstats, /sys/block", diskSorts, true, showDisks},
    {"volumes",  "what the disks hold: partitions, multipath, RAID, crypt, LVM, btrfs, mounts, swap",
                 "/sys/block, /run/udev/data, /proc/self/mountinfo", nullptr, false, showVolumes},
    {"fs",       "size, free, inodes, growth and time until full of each filesystem; which does not answer",
                 "/proc/self/mountinfo, statvfs", nullptr, true, showFilesystems},
    {"net",      "traffic, errors and drops of interfaces, with their state, speed and addresses",
                 "rtnetlink, /proc/net/dev", netSorts, true, showNet},
    {"proto",    "protocol counters that moved",
                 "/proc/net/snmp, /proc/net/netstat, /proc/net/snmp6", nullptr, false, showProtocols},
    {"limits",   "how near: conntrack, open files, pids, threads, TCP memory, neighbours, backlog",
                 "/proc/sys, /proc/net", nullptr, true, showLimits},
    {"cgroup",   "units, containers and pods: CPU and quota, memory, I/O, pids, how near their limits they are",
                 "/sys/fs/cgroup", cgroupSorts, false, showCgroups},
    {"proc",     "processes that ran or waited: CPU, memory and its growth, I/O, faults, unit, command",
                 "/proc, /proc/1/io, CPU clocks", processSorts, true, showProcesses},
    {"thread",   "threads that ran or waited: CPU, waits, faults, core",
                 "/proc/self/task", threadSorts, false, showThreads},
    {"churn",    "what began and ended: forks, children that lived shortly, exit codes and signals",
                 "/proc/stat, taskstats", churnSorts, false, showChurn},
    {"file",     "open files that moved or were written, with process, path, filesystem and disk",
                 "/proc/self/fdinfo, /proc/1/fdinfo", fileSorts, false, showFiles},
    {"sock",     "sockets of all network namespaces: states, listeners, queues, bytes, retransmissions, owners",
                 "sock_diag, /proc/net/snmp, /proc/net/sockstat, /proc/1/fd, /proc/1/ns/net", socketSorts, false, showSockets},
    {"self",     "what wyrt itself costs, and what it could not do",
                 "/proc/self", nullptr, false, showSelf},
};
// clang-format on

std::span<const Area> areas() { return Areas; }

const Area* findArea(std::string_view word) {
    const auto found = std::find_if(std::begin(Areas), std::end(Areas), [&](auto& area) { return area.word == word; });
    return found == std::end(Areas) ? nullptr : found;
}

std::vector<std::string_view> sortWords(std::string_view shown) {
    std::vector<std::string_view> words;
    for (auto& area : Areas) {
        if (!area.sorts || !hasWord(shown, area.word)) continue;
        for (const auto word : area.sorts())
            if (std::find(words.begin(), words.end(), word) == words.end()) words.push_back(word);
    }
    return words;
}

bool isUsual(std::string_view list) {
    std::string usual;
    for (auto& area : Areas)
        if (area.byDefault) usual.append(usual.empty() ? "" : " ").append(area.word);
    return list == usual;
}

bool needsFindings(std::string_view list) { return hasWord(list, "why") || isUsual(list); }

void showInterval(const Interval& interval, const View& view, Page& page) {
    showTop(interval, view, page);
    if (isUsual(view.asked.areas)) showWhyLine(interval, page);
    for (auto& area : Areas)
        if (hasWord(view.asked.areas, area.word)) area.show(interval, view, page);
    page.line("");
}
