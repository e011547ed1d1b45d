#include "bench/machines.h"

#include "base/text.h"

#include <fstream>
#include <iterator>

// --- Cores

static std::string getFile(const char* path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string getCores(int count, int pass) {
    const auto line = [&](const std::string& name, int n) {
        return name + Text<100>().addf(" %d 0 %d %d %d 0 %d 0 0 0\n", n, n / 2, n * 9, n / 7, n / 9).c_str();
    };
    std::string text = "file /proc/stat <<END\n" + line("cpu ", (1000 + pass) * 100);
    for (int i = 0; i < count; i++) text += line("cpu" + std::to_string(i), (1000 + pass) * (50 + i % 100));
    text += "ctxt " + std::to_string(1000 + pass * 100) + "\nbtime 1700000000\nprocs_running 1\nprocs_blocked 0\nEND\n";
    for (const char* path : {"/proc/meminfo", "/proc/vmstat"}) // as this machine has them
        text.append("file ").append(path).append(" <<END\n").append(getFile(path)).append("END\n");
    return text;
}

// --- Interfaces, counters, mounts

std::string getInterfaces(int count, int pass) {
    std::string text = "file /proc/net/dev <<END\n";
    for (int i = 0; i < count; i++)
        text += Text<200>()
                    .addf("veth%04d: %d %d 0 0 0 0 0 0 %d %d 0 0 0 0 0 0\n", i, i * 1000 + pass * i, i + pass,
                          i * 900 + pass, i + pass * 2)
                    .view();
    return text + "END\n";
}

std::string getInterfaceAddresses(int count) {
    std::string text;
    for (int i = 0; i < count; i++)
        text += Text<200>()
                    .addf("command ifconfig veth%04d |grep \"inet \" <<END\ninet 10.%d.%d.1 netmask 255.255.255.0\n"
                          "END\n",
                          i, i / 256, i % 256)
                    .view();
    return text;
}

std::string getCounters(int count, int pass) {
    std::string names, values;
    for (int i = 0; i < count; i++) {
        names += Text<40>().addf(" Counter%d", i).view();
        values += Text<40>().addf(" %d", i * 1000 + pass * i).view();
    }
    std::string text = "file /proc/net/snmp <<END\n";
    for (auto group : {"Ip:", "Icmp:", "Tcp:", "Udp:"})
        text.append(group).append(" A B\n").append(group).append(" 1 2\n");
    return text.append("END\nfile /proc/net/netstat <<END\nTcpExt:").append(names).append("\nTcpExt:").append(values) +
           "\nEND\n";
}

std::string getMounted(int count, int pass) {
    std::string table = "file /etc/mtab <<END\n", spaces;
    for (int i = 0; i < count; i++) {
        table += Text<100>().addf("/dev/mapper/vg-lv%d /srv/volume%d ext4 rw,relatime 0 0\n", i, i).view();
        spaces +=
            Text<100>()
                .addf("fs /srv/volume%d 4096 100000 %d %d 50000 %d\n", i, 50000 - i - pass, 40000 - i, 20000 + pass)
                .view();
    }
    return table + "END\n" + spaces;
}

// --- Sockets

std::string getSocketTable(int count) {
    constexpr size_t Width = 149;
    std::string text = std::string(Width, ' ') + "\n";
    for (int i = 0; i < count; i++) {
        Text<192> line;
        line.addf("%4d: 0100007F:%04X 0100007F:%04X 01 00000000:00000000 00:00000000 00000000 %5d        0 "
                  "%d 1 ffff888003a5c000 20 4 30 10 -1",
                  i, i % 65536, 40000 + i % 20000, 1000, 100000 + i);
        text.append(line.view()).append(Width - line.view().size(), ' ').append("\n");
    }
    return text;
}

// --- Disks and volumes

std::string getDiskstats(int disks, int pass) {
    std::string text = "file /proc/diskstats <<END\n";
    for (int i = 0; i < disks; i++)
        text += Text<200>()
                    .addf(" %3d %7d %s%d %d 528 123642 %d %d 281 3408 285 0 %d 948\n", i % 2 ? 253 : 8, i,
                          i % 2 ? "dm-" : "sd", i / 2, 1306 + pass * i, 639 + pass * i, 146 + pass, 728 + pass * 10)
                    .view();
    return text + "END\n";
}

namespace {
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

std::string getReports(const TSize& size) { return Reports(size).world(); }

// --- The machine

Machine::Machine(const std::string& base, const std::function<std::string(int pass)>& figures, int passes) {
    if (!mkdtemp(folder.data())) perror("mkdtemp"), exit(1);
    {
        std::ofstream file(folder + "/world");
        file << base;
        for (int pass = 0; pass < passes; pass++) file << "step " << pass << "\n" << figures(pass);
    }
    world = std::make_unique<World>(folder);
    World::current = world.get();
}
