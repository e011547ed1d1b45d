// What the charts of a page have.
#include "wyrtlog/chart/charts.h"

#include "tests/unit/whymachine.h"

#include <cmath>

#include <gtest/gtest.h>

static constexpr uint64_t KiB = 1024;

static const Picture* find(const std::vector<Picture>& all, std::string_view title) {
    for (auto& picture : all)
        if (picture.title == title) return &picture;
    return nullptr;
}

static std::vector<float> seriesOf(const std::vector<Picture>& all, std::string_view title, std::string_view name) {
    if (const auto* picture = find(all, title))
        for (auto& series : picture->series)
            if (series.name == name) return series.values;
    return {};
}

TEST(ChartPictures, TheOthersMakeTheWhole) {
    Charts charts;
    for (int i = 1; i <= 3; i++) {
        WhyMachine machine; // used 3 of 32 seconds
        for (uint64_t pid = 1; pid <= 20; pid++) {
            auto& row = machine.process(100 + pid, "p" + std::to_string(pid));
            row.cpu_us = pid * 10000, row.children_us = pid == 20 ? 100000 : 0;
            row.wait_us = 1000, row.read_bytes = pid * MiB, row.write_bytes = MiB;
            row.anonymous = pid * MiB, row.tcp_received = pid * KiB, row.tcp_sent = 0;
        }
        NetnsRow network;
        network.received = 40 * MiB, network.sent = 0;
        WhyMachine::put(machine.interval.namespaces, network);
        machine.memory().anonymous = 400 * MiB;
        machine.interval.processesTotal.rows = {ProcsRow{}};
        machine.interval.processesTotal.elapsed_us = 2 * Second;
        charts.add(machine.interval, i * 2000);
    }
    const auto all = charts.pictures(1000000);
    const auto wholeOf = [&](const char* title) {
        float sum = 0;
        const auto* picture = find(all, title);
        EXPECT_NE(picture, nullptr) << title;
        if (!picture) return sum;
        EXPECT_EQ(picture->times, (std::vector<int64_t>{2000, 4000, 6000}));
        EXPECT_EQ(picture->series.size(), Top::Shown + 1);
        EXPECT_EQ(picture->series.back().name, "others");
        for (auto& series : picture->series) sum += series.values[1];
        return sum;
    };
    EXPECT_NEAR(wholeOf("CPU time by process"), 150, 0.1); // percent of one CPU
    EXPECT_NEAR(wholeOf("Waits for a CPU by process"), 1, 0.01);
    EXPECT_NEAR(wholeOf("Storage I/O by process"), 115.0 * MiB, MiB / 1000.0);
    EXPECT_NEAR(wholeOf("TCP by process"), 20.0 * MiB, MiB / 1000.0);
    EXPECT_NEAR(wholeOf("Anonymous memory by process"), 400.0 * MiB, MiB / 1000.0);
    EXPECT_NEAR(seriesOf(all, "CPU time by process", "p20[120]").at(0), 15, 0.01); // with its children
    EXPECT_NEAR(seriesOf(all, "CPU time", "user").at(0), 6.25, 0.01);
    EXPECT_NEAR(seriesOf(all, "Memory", "anonymous").at(0), 400.0 * MiB, 1);
    EXPECT_EQ(charts.times(), (std::vector<int64_t>{2000, 4000, 6000}));
}

TEST(ChartPictures, AProcessWithoutARowKeepsItsMemory) {
    Charts charts;
    for (int i = 1; i <= 4; i++) {
        WhyMachine machine;
        machine.memory().anonymous = 100 * MiB;
        if (i == 1) machine.process(7, "idle").anonymous = 60 * MiB;
        if (i == 3) {
            ExitRow row;
            row.pid = 7, row.start = machine.process(7, "idle").start;
            machine.interval.processes.rows.clear();
            WhyMachine::put(machine.interval.exits, row);
        }
        charts.add(machine.interval, i * 2000);
    }
    const auto all = charts.pictures(1000000);
    const auto idle = seriesOf(all, "Anonymous memory by process", "idle[7]");
    ASSERT_EQ(idle.size(), 4U);
    for (size_t i = 0; i < 4; i++) EXPECT_NEAR(idle[i], i < 2 ? 60.0 * MiB : 0, 1) << i;
    EXPECT_NEAR(seriesOf(all, "Anonymous memory by process", "others").at(3), 100.0 * MiB, 1);
}

TEST(ChartPictures, GroupsBelowOthersCountOnce) {
    Charts charts;
    WhyMachine machine;
    for (auto [path, us] : {std::pair("/", 900000U), std::pair("/system.slice", 600000U),
                            std::pair("/system.slice/a.service", 400000U), std::pair("/user.slice", 200000U)}) {
        CgroupRow row;
        row.path = path, row.name = path, row.cpu_us = us, row.memory = us;
        WhyMachine::put(machine.interval.cgroups, row);
    }
    charts.add(machine.interval, 2000);
    const auto all = charts.pictures(1000000);
    const auto* cpu = find(all, "CPU time by group");
    ASSERT_NE(cpu, nullptr);
    ASSERT_EQ(cpu->series.size(), 3U);
    EXPECT_EQ(cpu->series[0].name, "/system.slice/a.service");
    EXPECT_NEAR(cpu->series[0].values[0], 20, 0.01);
    EXPECT_EQ(cpu->series[1].name, "/user.slice");
    EXPECT_NEAR(cpu->series[2].values[0], 120, 0.01); // the others: 150 in all
}

TEST(ChartPictures, DevicesThatMoved) {
    Charts charts;
    for (int i = 1; i <= 3; i++) {
        WhyMachine machine;
        const auto disk = [&](const char* name, const char* kind, bool stacked, uint64_t bytes) {
            DiskRow row;
            row.name = name, row.kind = kind, row.stacked = stacked, row.holds = "p1 /";
            row.reads = bytes ? 10 : 0, row.read_bytes = bytes, row.read_us = bytes ? 40000 : 0;
            row.busy_us = row.queue_us = bytes ? Second : 0;
            WhyMachine::put(machine.interval.disks, row);
        };
        disk("sda", "disk", false, i == 2 ? 4 * MiB : 0), disk("sdb", "disk", false, 0);
        disk("sda1", "partition", false, 1000), disk("dm-0", "dm", true, 1000);
        LinkRow link;
        link.name = "eth0", link.addresses = "10.2.0.7", link.rx_bytes = 2000, link.tx_bytes = 0,
        link.rx_dropped = i - 1;
        WhyMachine::put(machine.interval.links, link);
        FsRow filesystem;
        filesystem.point = "/srv", filesystem.size = 100, filesystem.used = 40, filesystem.available = 60;
        if (i == 1) WhyMachine::put(machine.interval.filesystems, filesystem);
        WhyMachine::put(machine.interval.protocols, ProtocolRow{"Tcp", "RetransSegs", uint64_t{4}, {}});
        WhyMachine::put(machine.interval.protocols, ProtocolRow{"Tcp", "CurrEstab", {}, 12});
        SocksRow sockets;
        sockets.protocol = "tcp", sockets.established = 7, sockets.close_wait = static_cast<uint64_t>(i);
        WhyMachine::put(machine.interval.socketsTotal, sockets);
        sockets.family = 6;
        WhyMachine::put(machine.interval.socketsTotal, sockets);
        sockets.protocol = "udp";
        WhyMachine::put(machine.interval.socketsTotal, sockets);
        charts.add(machine.interval, i * 2000);
    }
    const auto all = charts.pictures(1000000);
    EXPECT_EQ(seriesOf(all, "TCP sockets", "established"), (std::vector<float>{14, 14, 14}));
    EXPECT_EQ(seriesOf(all, "TCP sockets", "CLOSE_WAIT"), (std::vector<float>{2, 4, 6}));
    EXPECT_TRUE(seriesOf(all, "TCP sockets", "TIME_WAIT").empty());
    EXPECT_EQ(seriesOf(all, "sda throughput", "read"), (std::vector<float>{0, 2 * MiB, 0}));
    EXPECT_EQ(seriesOf(all, "sda wait", "read").at(1), 4);
    EXPECT_TRUE(std::isnan(seriesOf(all, "sda wait", "read").at(0)));
    EXPECT_EQ(seriesOf(all, "sda busy", "busy"), (std::vector<float>{0, 50, 0}));
    EXPECT_EQ(find(all, "sda throughput")->note, "holds p1 /");
    for (auto title : {"sdb throughput", "sda1 throughput", "dm-0 throughput"}) EXPECT_EQ(find(all, title), nullptr);
    EXPECT_EQ(seriesOf(all, "eth0 traffic", "received"), (std::vector<float>{1000, 1000, 1000}));
    EXPECT_EQ(seriesOf(all, "eth0 errors and drops", "received and dropped"), (std::vector<float>{0, 0.5, 1}));
    EXPECT_EQ(seriesOf(all, "Filesystems", "/srv"), (std::vector<float>{40, 40, 40}));
    EXPECT_EQ(seriesOf(all, "TCP trouble", "sent again"), (std::vector<float>{2, 2, 2}));
    EXPECT_EQ(seriesOf(all, "TCP connections", "established"), (std::vector<float>{12, 12, 12}));
    for (size_t i = 1; i < all.size(); i++) EXPECT_LE(all[i - 1].section, all[i].section);
}

// However many there are, and whichever of them comes first.
TEST(ChartPictures, TheFullestFilesystems) {
    Charts charts;
    const auto interval = [&](int from, int to, uint64_t used, int64_t time_ms) {
        WhyMachine machine;
        for (int i = from; i < to; i++) {
            FsRow row;
            row.point = "/srv" + std::to_string(i);
            row.size = 1000, row.used = used + static_cast<uint64_t>(i % 10), row.available = 1000 - *row.used;
            WhyMachine::put(machine.interval.filesystems, row);
        }
        charts.add(machine.interval, time_ms);
    };
    interval(0, 200, 100, 2000);
    interval(199, 200, 800, 4000);
    interval(150, 151, 900, 6000);
    interval(0, 64, 300, 8000);
    const auto all = charts.pictures(1000000);
    const auto* use = find(all, "Filesystems");
    ASSERT_NE(use, nullptr);
    ASSERT_EQ(use->series.size(), 8U);
    EXPECT_EQ(use->series[0].name, "/srv150");
    EXPECT_EQ(use->series[1].name, "/srv199");
    const auto fullest = seriesOf(all, "Filesystems", "/srv199");
    EXPECT_NEAR(fullest.at(0), 10.9, 0.01); // it was among the fullest from the beginning
    EXPECT_NEAR(fullest.at(3), 80.9, 0.01);
    const auto later = seriesOf(all, "Filesystems", "/srv150");
    EXPECT_TRUE(std::isnan(later.at(1)));
    EXPECT_NEAR(later.at(2), 90, 0.01);
    for (size_t i = 2; i < 8; i++) EXPECT_TRUE(use->series[i].name.ends_with("9")) << use->series[i].name;
}

// Those that moved most have charts, whichever came first and however many there are; of the first 256 all that they
// did is known, whenever it was.
TEST(ChartPictures, TheDevicesThatMovedMost) {
    Charts charts;
    int64_t time_ms = 0;
    const auto interval = [&](int from, int to, uint64_t bytes) {
        WhyMachine machine;
        for (int i = from; i < to; i++) {
            DiskRow disk;
            disk.name = "d" + std::to_string(i), disk.kind = "disk", disk.holds = "p" + std::to_string(i);
            disk.reads = 1, disk.read_bytes = bytes + static_cast<uint64_t>(i);
            if (i == 0) disk.flushes = 2;
            WhyMachine::put(machine.interval.disks, disk);
            LinkRow link;
            link.name = "e" + std::to_string(i), link.rx_bytes = bytes + static_cast<uint64_t>(i);
            WhyMachine::put(machine.interval.links, link);
        }
        charts.add(machine.interval, time_ms += 2000);
    };
    interval(0, 256, 2000);   // d0 to d255 have places
    interval(256, 300, 1000); // less than any of them
    interval(100, 164, 4000);
    interval(280, 282, 9000); // more than d0 and d1
    const auto all = charts.pictures(10000000);
    size_t disks = 0, links = 0;
    for (auto& picture : all) {
        disks += picture.title.ends_with(" throughput") ? 1 : 0;
        links += picture.title.ends_with(" traffic") ? 1 : 0;
    }
    EXPECT_EQ(disks, 64U);
    EXPECT_EQ(links, 64U);
    EXPECT_EQ(charts.ofDevices().disksLeftOut(), 236U);
    EXPECT_EQ(charts.ofDevices().linksLeftOut(), 236U);
    for (int i = 102; i < 164; i++) {
        const auto name = std::to_string(i);
        EXPECT_EQ(seriesOf(all, "d" + name + " throughput", "read").size(), 4U) << i;
        EXPECT_EQ(seriesOf(all, "e" + name + " traffic", "received").size(), 4U) << i;
    }
    EXPECT_EQ(seriesOf(all, "d163 throughput", "read"), (std::vector<float>{1081.5F, 0, 2081.5F, 0}));
    EXPECT_EQ(seriesOf(all, "d280 throughput", "read"), (std::vector<float>{0, 0, 0, 4640}));
    EXPECT_EQ(find(all, "d280 throughput")->note, "holds p280");
    // The place had another disk's.
    for (const auto* name : {"d280", "d281"})
        EXPECT_TRUE(seriesOf(all, std::string(name) + " operations", "flushes").empty()) << name;
    for (const auto* name : {"d0", "d100", "d101", "d299"})
        EXPECT_EQ(find(all, std::string(name) + " throughput"), nullptr) << name;
}

TEST(ChartPictures, NoMoreValuesThanAskedFor) {
    Charts charts;
    for (int i = 1; i <= 4000; i++) charts.add(WhyMachine().interval, i * 2000);
    const auto count = [](const std::vector<Picture>& all) {
        size_t values = 0;
        for (auto& picture : all)
            for (auto& series : picture.series) values += series.values.size();
        return values;
    };
    const auto before = count(charts.pictures(1000000));
    EXPECT_GT(before, 20000U);
    EXPECT_LE(count(charts.pictures(20000)), 20000U);
    EXPECT_EQ(charts.times().back(), 8000000);
}
