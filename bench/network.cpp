// What one sample of the interfaces, the protocol counters and the filesystems costs on made-up machines: 5, 50, 500
// and 5000 rows, best and median of ten, the time per row of the best. The stand-in's own part (its files are in
// memory, each mount is looked up) counts.
#include "collect/fs.h"
#include "collect/netif.h"
#include "collect/tcpext.h"
#include "tests/world/world.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <unistd.h>

static std::string interfaces(int count, int pass) {
    std::string text = "file /proc/net/dev <<END\n";
    for (int i = 0; i < count; i++)
        text += Text<200>()
                    .addf("veth%04d: %d %d 0 0 0 0 0 0 %d %d 0 0 0 0 0 0\n", i, i * 1000 + pass * i, i + pass,
                          i * 900 + pass, i + pass * 2)
                    .view();
    return text + "END\n";
}

static std::string addresses(int count) {
    std::string text;
    for (int i = 0; i < count; i++)
        text += Text<200>()
                    .addf("command ifconfig veth%04d |grep \"inet \" <<END\ninet 10.%d.%d.1 netmask 255.255.255.0\n"
                          "END\n",
                          i, i / 256, i % 256)
                    .view();
    return text;
}

static std::string counters(int count, int pass) {
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

static std::string mounts(int count, int pass) {
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

namespace {
// A machine of two passes.
class Machine {
    std::string folder = (std::filesystem::temp_directory_path() / "wyrt-bench.XXXXXX").string();
    std::unique_ptr<World> world;

public:
    Machine(const std::string& first, const std::string& second) {
        if (!mkdtemp(folder.data())) std::exit(1);
        std::ofstream(folder + "/world") << first << "step 1\n" << second;
        world = std::make_unique<World>(folder);
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;
    ~Machine() { std::filesystem::remove_all(folder); }
    void step() { world->pause(1000000); }
};
} // namespace

// Passes that alternate between two slots after a first one, as the loop makes them.
template <typename Sample>
static void measure(const char* what, int rows, const std::string& first, const std::string& second,
                    const Sample& sample) {
    constexpr int Passes = 10;
    using Clock = std::chrono::steady_clock;
    Machine machine(first, second);
    double times[Passes + 1] = {};
    for (int pass = 0; pass <= Passes; pass++) {
        if (pass == 1) machine.step();
        const auto start = Clock::now();
        sample(pass, pass % 2, 1 - pass % 2);
        times[pass] = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
    }
    std::sort(times + 1, times + Passes + 1);
    const double best = times[1], median = (times[Passes / 2] + times[Passes / 2 + 1]) / 2;
    printf("%-12s %6d %12.1f %12.1f %12.1f %12.1f\n", what, rows, times[0], best, median, best * 1000 / rows);
}

int main() {
    printf("%-12s %6s %12s %12s %12s %12s\n", "sample", "rows", "first us", "best us", "median us", "ns/row");
    for (int rows : {5, 50, 500, 5000}) {
        TNetifSlots netif;
        measure("interfaces", rows, interfaces(rows, 0) + addresses(rows), interfaces(rows, 1),
                [&](int pass, int icur, int ipre) { getnetif(pass, icur, ipre, 1, netif); });
    }
    for (int rows : {5, 50, 130}) { // lines of the kernel have 130 counters
        TNetstatSlots snmp;
        measure("counters", rows, counters(rows, 0), counters(rows, 1),
                [&](int pass, int icur, int ipre) { gettcpext(pass, icur, ipre, 1, snmp); });
    }
    for (int rows : {5, 50, 500, 5000}) {
        TFSSlots fs;
        measure("mounts", rows, mounts(rows, 0), mounts(rows, 1),
                [&](int pass, int icur, int ipre) { getfs(pass, icur, ipre, 1, fs); });
    }
}
