// Measures what a sample costs on made-up machines, which are larger than this one. Their files are in memory, so the
// kernel's share of the cost is missing. The bare reader gets the same texts through the same made-up door and splits
// them into words.
//
//     bench-made [AREA...]
#include "bench/bare.h"
#include "bench/machines.h"
#include "bench/measure.h"
#include "classic/collect/disk.h"
#include "classic/collect/port.h"

#include <algorithm>
#include <string>
#include <string_view>

// --- Samples

namespace {
struct TMade {
    TArea area;
    const char* options;
    void (*bare)();
    std::string (*figures)(int rows, int pass);
    std::string (*base)(int rows); // directives for the rest of the machine; null: there is none
};
} // namespace

static void bareTextOf(std::initializer_list<const char*> files) {
    for (const char* file : files) bareSplitFile(file);
}

// Puts some volumes on the disks, so that their rows have labels.
static std::string getSomeVolumes(int disks) {
    return getReports({disks / 10, disks / 5, disks / 20 + 1, disks / 2, disks, disks / 2});
}

static const TMade Mades[] = {
    {{"cores", "cores `-b -r`, made up", {16, 128, 1024}, {}},
     "-b -r",
     [] { bareTextOf({"/proc/stat", "/proc/meminfo", "/proc/vmstat"}); },
     getCores,
     nullptr},
    {{"interfaces", "interfaces `-n 24`, made up", {50, 500, 5000}, {}},
     "-n 24",
     [] { bareTextOf({"/proc/net/dev"}); },
     getInterfaces,
     getInterfaceAddresses},
    // The kernel's lines have about 130 counters. More would not fit into the 4096 bytes that are read of a line.
    {{"counters", "protocol counters `-t`, made up", {8, 32, 130}, {}},
     "-t",
     [] { bareTextOf({"/proc/net/snmp", "/proc/net/netstat"}); },
     getCounters,
     nullptr},
    {{"mounts", "filesystems `-m`, made up", {50, 500, 5000}, {}}, "-m", bareMounts, getMounted, nullptr},
    {{"disks", "disks `-d 24`, made up", {200, 2000, 20000}, {{TAim::Millis, 1, 5}}},
     "-d 24",
     [] { bareTextOf({"/proc/diskstats"}); },
     getDiskstats,
     getSomeVolumes},
};

static TCost measureSample(const TMade& made, int rows) {
    const int passes = std::clamp(200000 / rows, 11, 101);
    const auto figures = [&](int pass) { return made.figures(rows, pass); };
    const Machine machine(made.base ? made.base(rows) : "", figures, passes + static_cast<int>(FirstPasses));
    const auto most = static_cast<size_t>(passes);
    return runMetered(made.options, made.bare, Files::MadeUp, {std::min<size_t>(11, most), most});
}

// --- The volume map

static void bareReports() {
    for (const char* command :
         {"vgdisplay 2>/dev/null", "lvdisplay -m 2>/dev/null", "pvdisplay -m 2>/dev/null", "multipath -ll 2>/dev/null"})
        bareSplitCommand(command);
    bareMounts();
}

static TCost measureMap(int segments) {
    const TSize size{segments / 50, segments / 25, segments / 100, segments / 10, segments / 2, segments / 10};
    const Machine machine(getReports(size), [&](int) { return getDiskstats(size.disks * 2, 0); }, 1);
    TDiskSlots slots;
    getDiskSample(0, 0, 1, 0, slots);
    if (lvlist.size() != static_cast<size_t>(size.volumes) || mountlist.back().lv == NoLink) exit(1);
    return runWork([&] { mapdisk(slots.sample[0]); }, bareReports);
}

// --- The owners of sockets

// Twenty processes, each with the same number of sockets.
static TProcTable getProcesses(int count) {
    TProcTable processes;
    processes.texts = "/usr/bin/server --with options";
    for (int p = 0; p < 20; p++) {
        auto& process = processes.procs.emplace_back();
        process.pid = 100 + p, process.ppid = 1, process.cmd = "server";
        process.arg = {0, static_cast<uint32_t>(processes.texts.size())};
        process.fdinfo = {static_cast<uint32_t>(processes.fds.size()), static_cast<uint32_t>(count / 20)};
        for (int f = 0; f < count / 20; f++) processes.fds.emplace_back().inode = 100000 + f * 20 + p;
    }
    processes.proccount = processes.capacity = 20;
    return processes;
}

static TCost measureOwners(int count, bool kept) {
    const auto text = getSocketTable(count);
    auto processes = getProcesses(count);
    TPortTable table;
    const auto work = [&] {
        if (!kept) table.rows.clear();
        getportrows(text, {}, table, &processes, 64);
    };
    return runWork(work, [&] { bareSplit(text); });
}

int main(int argc, char** argv) {
    keepOutput();
    showHead();
    bool met = true;
    const auto showWhenSelected = [&](const TArea& area, const std::function<TCost(int)>& measure) {
        if (!selected(argc, argv, area.name)) return;
        met = showArea(area, [&](long size) { return measure(static_cast<int>(size)); }) && met;
    };
    for (const auto& made : Mades) showWhenSelected(made.area, [&](int rows) { return measureSample(made, rows); });
    const std::vector<long> sizes = {400, 4000, 40000};
    showWhenSelected({"owners", "sockets whose owners are searched, made up", sizes, {}},
                     [](int n) { return measureOwners(n, false); });
    showWhenSelected({"owners", "sockets whose owners are kept, made up", sizes, {}},
                     [](int n) { return measureOwners(n, true); });
    // 10,000 segments belong to 400 disks, 1,000 volumes and 1,000 mounts. The output of the commands is already in
    // memory.
    showWhenSelected(
        {"map", "volume map `-v`, made up; rows: segments", {1000, 10000, 100000}, {{TAim::Millis, 1, 50}}},
        measureMap);
    return met ? 0 : 1;
}
