// What the volume map and a sample of the disks cost on made-up machines: the reports of the tools are in memory, so
// that the commands themselves are not counted. Best and median of ten.
#include "collect/disk.h"
#include "tests/world/world.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <unistd.h>

namespace {
struct TSize {
    int disks, paths, groups, volumes, segments, mounts;
};

// The reports of a machine; the disks are physical volumes, half of them through multipath devices.
class Reports {
    const TSize& size;
    std::string text;

    template <typename... Args> void add(const char* format, Args... args) {
        text += Text<400>().addf(format, args...).view();
    }
    void addGroups();
    void addVolumes();
    void addPhysical();
    void addPaths();
    void addMounts();

public:
    explicit Reports(const TSize& s) : size(s) {
        addGroups();
        addVolumes();
        addPhysical();
        addPaths();
        addMounts();
    }
    const std::string& world() const { return text; }
};

// A machine whose disks did something from one pass to the next.
class Machine {
    std::string folder = (std::filesystem::temp_directory_path() / "wyrt-bench.XXXXXX").string();
    std::unique_ptr<World> world;

public:
    explicit Machine(const std::string& text) {
        if (!mkdtemp(folder.data())) std::exit(1);
        std::ofstream(folder + "/world") << text;
        world = std::make_unique<World>(folder);
        World::current = world.get();
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;
    ~Machine() { std::filesystem::remove_all(folder); }
    void step() { world->pause(1000000); }
};
} // namespace

void Reports::addGroups() {
    text += "command vgdisplay 2>/dev/null <<END\n";
    for (int i = 0; i < size.groups; i++)
        add("  --- Volume group ---\n  VG Name               vg%d\n  System ID             \n"
            "  Format                lvm2\n  VG Access             read/write\n  VG Status             resizable\n"
            "  Cur LV                4\n  VG Size               <2.04 GiB\n  PE Size               4.00 MiB\n"
            "  Total PE              522\n  Alloc PE / Size       185 / 740.00 MiB\n",
            i),
            text +=
            "  Free  PE / Size       337 / <1.32 GiB\n  VG UUID               WfEnpA-Utsn-dNiQ-EUVs-Yw3S\n   \n";
    text += "END\n";
}

void Reports::addVolumes() {
    text += "command lvdisplay -m 2>/dev/null <<END\n";
    for (int i = 0; i < size.volumes; i++) {
        const int vg = i % size.groups;
        add("  --- Logical volume ---\n  LV Path                /dev/vg%d/lv%d\n  LV Name                lv%d\n"
            "  VG Name                vg%d\n  LV UUID                ZjCrGx-Js7p-tq3m-s8B8-9dkX-ezHA-taW9T6\n"
            "  LV Write Access        read/write\n  LV Creation host, time vmhost, 2026-11-21 00:06:04 +0000\n",
            vg, i, i, vg);
        add("  LV Status              available\n  # open                 1\n  LV Size                120.00 MiB\n"
            "  Current LE             30\n  Segments               5\n  Allocation             inherit\n"
            "  Read ahead sectors     auto\n  - currently set to     256\n  Block device           253:%d\n   \n"
            "  --- Segments ---\n",
            i + size.paths / 2);
        for (int s = 0; s < size.segments / size.volumes; s++)
            add("  Logical extents %d to %d:\n    Type\t\tlinear\n    Physical volume\t/dev/sd%d\n"
                "    Physical extents\t%d to %d\n   \n",
                s * 10, s * 10 + 9, s, s * 100, s * 100 + 9);
    }
    text += "END\n";
}

void Reports::addPhysical() {
    text += "command pvdisplay -m 2>/dev/null <<END\n";
    for (int i = 0; i < size.disks; i++) {
        add("  --- Physical volume ---\n  PV Name               /dev/%s%d\n  VG Name               vg%d\n"
            "  PV Size               700.00 MiB / not usable 4.00 MiB\n  Allocatable           yes \n"
            "  PE Size               4.00 MiB\n  Total PE              174\n  Free PE               84\n"
            "  Allocated PE          90\n  PV UUID               yochgl-uaJt-fhEu-pLqL-He7g-g25S\n   \n",
            i % 2 ? "mapper/mpath" : "sd", i, i % size.groups);
        for (int s = 0; s < size.segments / size.disks; s++)
            add("  Physical extent %d to %d:\n    Logical volume\t/dev/vg%d/lv%d\n    Logical extents\t0 to 9\n",
                s * 10, s * 10 + 9, i % size.groups, s);
    }
    text += "END\n";
}

void Reports::addPaths() {
    text += "command multipath -ll 2>/dev/null <<END\n";
    for (int i = 0; i < size.paths / 2; i++)
        add("mpath%d (36005076801810001%d) dm-%d QEMU,QEMU HARDDISK\n"
            "size=300M features='1 queue_if_no_path' hwhandler='0' wp=rw\n"
            "`-+- policy='service-time 0' prio=1 status=active\n"
            "  |- 0:0:0:0 sdp%d 8:0  active ready running\n  `- 1:0:0:0 sdq%d 8:80 active ready running\n",
            i, i, i, i, i);
    text += "END\n";
}

void Reports::addMounts() {
    text += "file /etc/mtab <<END\n";
    for (int i = 0; i < size.mounts; i++)
        add("/dev/mapper/vg%d-lv%d /srv/volume%d ext4 rw,relatime 0 0\n", i % size.groups, i, i);
    text += "END\n";
    for (int i = 0; i < size.mounts; i++) add("fs /srv/volume%d 4096 100000 50000 40000 50000 20000\n", i);
}

static std::string diskstats(int disks, int pass) {
    std::string text = "file /proc/diskstats <<END\n";
    for (int i = 0; i < disks; i++)
        text += Text<200>()
                    .addf(" %3d %7d %s%d %d 528 123642 %d %d 281 3408 285 0 %d 948\n", i % 2 ? 253 : 8, i,
                          i % 2 ? "dm-" : "sd", i / 2, 1306 + pass * i, 639 + pass * i, 146 + pass, 728 + pass * 10)
                    .view();
    return text + "END\n";
}

template <typename Work> static void measure(const char* what, const Work& work) {
    constexpr int Times = 10;
    using Clock = std::chrono::steady_clock;
    double times[Times];
    for (auto& time : times) {
        const auto start = Clock::now();
        work();
        time = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    }
    std::sort(times, times + Times);
    printf("%-44s %9.3f %9.3f\n", what, times[0], (times[Times / 2 - 1] + times[Times / 2]) / 2);
}

static void measureMap(const TSize& size) {
    Machine machine(Reports(size).world() + diskstats(size.disks * 2, 0));
    TDiskSlots slots;
    getdisk(0, 0, 1, 0, slots);
    measure(Text<100>()
                .addf("map: %d disks, %d segments, %d mounts", size.disks * 2, size.segments * 2, size.mounts)
                .c_str(),
            [&] { mapdisk(slots.sample[0]); });
    if (lvlist.size() != static_cast<size_t>(size.volumes) || mountlist.back().lv == NoLink) std::exit(1);
}

static void measureSample(int disks) {
    const TSize size{disks / 10, disks / 5, disks / 20 + 1, disks / 2, disks, disks / 2};
    Machine machine(Reports(size).world() + diskstats(disks, 0) + "step 1\n" + diskstats(disks, 1));
    TDiskSlots slots;
    int pass = 0;
    getdisk(pass, 0, 1, 1, slots);
    machine.step();
    measure(Text<100>().addf("sample: %d disks", disks).c_str(), [&] {
        pass++;
        if (getdisk(pass, pass % 2, 1 - pass % 2, 1, slots) == 0) std::exit(1);
    });
}

int main() {
    printf("%-44s %9s %9s\n", "", "best ms", "median ms");
    measureMap({20, 40, 10, 100, 500, 100});
    measureMap({200, 400, 100, 1000, 5000, 1000});
    measureMap({2000, 4000, 1000, 10000, 50000, 10000});
    for (int disks : {20, 200, 2000, 20000}) measureSample(disks);
}
