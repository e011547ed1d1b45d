#include "model/cgroup.h"
#include "sample/cgroup.h"
#include "tests/unit/made.h"
#include "view/cgroup.h"

#include <string>

#include <gtest/gtest.h>

// The members that a group does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {
// What a group of version 2 has in its files; what is empty has no file.
struct Files {
    std::string cpu = "usage_usec 0\nuser_usec 0\nsystem_usec 0\n", io, events = "high 0\nmax 0\noom 0\noom_kill 0\n";
    std::string memory = "4096", max = "max", quota = "max 100000", pids = "1";
    int below = 0;
};
} // namespace

// `path`: "" for the root.
static std::string groupOf(const std::string& path, const Files& files) {
    std::string lines;
    const auto file = [&](const std::string& name, const std::string& text) {
        lines += "file /sys/fs/cgroup" + path + "/" + name + " <<END\n" + text + (text.ends_with('\n') ? "" : "\n") +
                 "END\n";
    };
    file("cpu.stat", files.cpu);
    file("cgroup.stat", "nr_descendants " + std::to_string(files.below) + "\nnr_dying_descendants 0");
    if (!files.io.empty()) file("io.stat", files.io);
    if (path.empty()) return lines;
    file("memory.events", files.events), file("memory.current", files.memory), file("memory.max", files.max);
    file("cpu.max", files.quota), file("pids.current", files.pids);
    return lines;
}

static std::string cpuOf(uint64_t us) { return "usage_usec " + std::to_string(us) + "\nuser_usec 0\nsystem_usec 0\n"; }

static const std::string Mounts = "file /proc/self/mountinfo <<END\n"
                                  "30 23 0:26 / /sys/fs/cgroup rw,nosuid - cgroup2 cgroup2 rw,nsdelegate\n"
                                  "END\n";

namespace {
struct Result {
    Rows<CgroupsRow> all;
    Rows<CgroupRow> groups;
    Rows<CgroupIoRow> devices;
    const CgroupRow* find(std::string_view path) const {
        for (auto& row : groups.rows)
            if (row.path == path) return &row;
        return nullptr;
    }
};
// A machine with a sampler that has made its first pass.
struct GroupMachine {
    Made made;
    Helper helper;
    CgroupSampler sampler{Root(), helper};
    CgroupSample sample;
    explicit GroupMachine(const std::string& lines) : made(lines) { sampler.sample(sample); }
    Result next(bool complete = false) {
        made.step();
        sampler.sample(sample);
        Result result;
        cgroupRows(sample, complete, result.all, result.groups, result.devices);
        return result;
    }
};
} // namespace

TEST(CgroupRows, WhatAGroupDid) {
    GroupMachine machine(
        Mounts + groupOf("", {.cpu = cpuOf(100), .below = 2}) +
        groupOf("/system.slice", {.cpu = cpuOf(50), .below = 1}) +
        groupOf(
            "/system.slice/db.service",
            {.cpu = "usage_usec 50\nuser_usec 30\nsystem_usec 20\nnr_periods 10\nnr_throttled 4\nthrottled_usec 99\n",
             .io = "8:0 rbytes=512 wbytes=0 rios=1 wios=0 dbytes=0 dios=0\n",
             .max = "1048576",
             .quota = "200000 100000"}) +
        "step 1\n" + groupOf("", {.cpu = cpuOf(400), .below = 2}) +
        groupOf("/system.slice", {.cpu = cpuOf(350), .below = 1}) +
        groupOf("/system.slice/db.service",
                {.cpu = "usage_usec 350\nuser_usec 130\nsystem_usec 220\nnr_periods 20\nnr_throttled 9\nthrottled_usec "
                        "599\n",
                 .io = "8:0 rbytes=1024 wbytes=0 rios=2 wios=0 dbytes=0 dios=0\n8:16 rbytes=0 wbytes=4096 rios=0 "
                       "wios=1 dbytes=0 dios=0\n",
                 .events = "high 0\nmax 5\noom 1\noom_kill 1\n",
                 .memory = "1000000",
                 .max = "1048576",
                 .quota = "200000 100000",
                 .pids = "7"}));
    const auto result = machine.next();
    ASSERT_EQ(result.all.rows.size(), 1U);
    EXPECT_EQ(result.all.rows[0].groups, 2U);
    EXPECT_EQ(result.all.rows[0].idle, 0U);
    EXPECT_EQ(result.all.rows[0].version, 2U);
    EXPECT_EQ(result.groups.elapsed_us, 1000000);
    ASSERT_EQ(result.groups.rows.size(), 3U);
    EXPECT_EQ(result.groups.rows[0].path, "/");
    EXPECT_EQ(result.groups.rows[0].cpu_us, 300U);
    EXPECT_FALSE(result.groups.rows[0].read_bytes) << "this root has no io.stat";
    const auto& db = result.groups.rows[2];
    EXPECT_EQ(db.path, "/system.slice/db.service");
    EXPECT_EQ(db.name, "db.service");
    EXPECT_EQ(db.kind, "unit");
    EXPECT_TRUE(db.named);
    EXPECT_EQ(db.cpu_us, 300U);
    EXPECT_EQ(db.user_us, 100U);
    EXPECT_EQ(db.system_us, 200U);
    EXPECT_EQ(db.periods, 10U);
    EXPECT_EQ(db.throttled_periods, 5U);
    EXPECT_EQ(db.throttled_us, 500U);
    EXPECT_EQ(db.read_bytes, 512U);
    EXPECT_EQ(db.write_bytes, 4096U);
    EXPECT_EQ(db.memory_max, 5U);
    EXPECT_EQ(db.oom_kills, 1U);
    EXPECT_EQ(db.memory, 1000000U);
    EXPECT_EQ(db.memory_limit, 1048576U);
    EXPECT_EQ(db.pids, 7U);
    EXPECT_FALSE(db.pids_limit);
    EXPECT_EQ(db.quota, 2.0);
    EXPECT_FALSE(db.cpu_some_us);
    ASSERT_EQ(result.devices.rows.size(), 2U);
    EXPECT_EQ(result.devices.rows[0].device, "8:0");
    EXPECT_EQ(result.devices.rows[0].reads, 1U);
    EXPECT_EQ(result.devices.rows[1].device, "8:16");
    EXPECT_EQ(result.devices.rows[1].write_bytes, 4096U) << "not used before";
}

TEST(CgroupRows, AStillSubtreeIsOnlyLookedAt) {
    const auto tree = groupOf("/a", {.below = 1}) + groupOf("/a/b", {});
    GroupMachine machine(Mounts + groupOf("", {.below = 2}) + tree + "step 1\nstep 2\n" +
                         groupOf("/a", {.io = "8:0 rbytes=5 wbytes=0 rios=1 wios=0\n", .below = 1}) +
                         groupOf("/a/b", {.io = "8:0 rbytes=5 wbytes=0 rios=1 wios=0\n"}));
    std::string opened;
    machine.made.world.watch = [&](const std::string& path) { opened += path + "\n"; };
    auto result = machine.next();
    EXPECT_NE(opened.find("/a/cpu.stat"), opened.npos);
    EXPECT_EQ(opened.find("/a/b/cpu.stat"), opened.npos);
    EXPECT_EQ(opened.find("/a/cpu.pressure"), opened.npos);
    EXPECT_TRUE(result.groups.rows.empty());
    EXPECT_EQ(result.all.rows.at(0).idle, 2U);
    EXPECT_EQ(result.all.rows.at(0).groups, 2U);
    // io.stat moves though cpu.stat stands still: written back by the kernel.
    result = machine.next();
    ASSERT_TRUE(result.find("/a/b"));
    EXPECT_EQ(result.find("/a/b")->cpu_us, 0U);
    EXPECT_EQ(result.find("/a/b")->read_bytes, 5U);
    // In the first interval of a log, all have rows.
    GroupMachine other(Mounts + groupOf("", {.below = 2}) + tree + "step 1\n");
    result = other.next(true);
    EXPECT_EQ(result.groups.rows.size(), 3U);
    EXPECT_EQ(result.find("/a/b")->cpu_us, 0U);
    EXPECT_EQ(result.find("/a/b")->memory, 4096U);
}

TEST(CgroupRows, BirthDeathAndReuse) {
    GroupMachine machine(Mounts + groupOf("", {.below = 2}) + groupOf("/b", {.cpu = cpuOf(1000)}) +
                         groupOf("/d", {.cpu = cpuOf(7)}) + "step 1\n" + groupOf("", {.below = 4}) +
                         groupOf("/a", {.cpu = cpuOf(70), .below = 1}) + groupOf("/a/x", {.cpu = cpuOf(60)}) +
                         "step 2\ngone /sys/fs/cgroup/b\ngone /sys/fs/cgroup/a\n" + groupOf("", {.below = 1}) +
                         "step 3\n" + groupOf("", {.below = 2}) + groupOf("/b", {.cpu = cpuOf(1500)}) +
                         "step 4\ngone /sys/fs/cgroup/b\n" + groupOf("/c", {.cpu = cpuOf(3)}));
    auto result = machine.next();
    ASSERT_TRUE(result.find("/a") && result.find("/a/x"));
    EXPECT_EQ(result.find("/a")->cpu_us, 70U) << "born in the interval";
    EXPECT_EQ(result.find("/a/x")->cpu_us, 60U);
    EXPECT_FALSE(result.find("/b"));
    EXPECT_EQ(result.all.rows.at(0).groups, 4U);
    result = machine.next();
    EXPECT_EQ(result.all.rows.at(0).groups, 1U);
    EXPECT_TRUE(result.groups.rows.empty());
    result = machine.next(); // the same name again is another group
    EXPECT_EQ(result.find("/b")->cpu_us, 1500U);
    result = machine.next(); // one for another: the kernel's count is the same
    EXPECT_FALSE(result.find("/b"));
    ASSERT_TRUE(result.find("/c"));
    EXPECT_EQ(result.find("/c")->cpu_us, 3U);
    EXPECT_EQ(result.all.rows.at(0).groups, 2U);
}

TEST(CgroupRows, AResetIsEmptyAndALimitIsSeenInTime) {
    GroupMachine machine(Mounts + groupOf("", {.below = 2}) +
                         groupOf("/a", {.cpu = cpuOf(1000), .io = "8:0 rbytes=9 rios=2\n"}) + groupOf("/b", {}) +
                         "step 1\n" + groupOf("/a", {.cpu = cpuOf(10), .io = "8:0 rbytes=4 rios=3\n", .pids = "2"}) +
                         groupOf("/b", {.max = "8192"}));
    auto result = machine.next();
    ASSERT_TRUE(result.find("/a"));
    EXPECT_FALSE(result.find("/a")->cpu_us);
    EXPECT_FALSE(result.find("/a")->read_bytes);
    EXPECT_FALSE(result.devices.rows.at(0).read_bytes);
    EXPECT_EQ(result.devices.rows.at(0).reads, 1U);
    // Nothing ran in /b, so its new limit is found when its turn comes.
    bool seen = result.find("/b");
    for (uint32_t i = 0; i < 3 * CgroupSampler::Turn && !seen; i++) {
        machine.sampler.sample(machine.sample);
        result = Result();
        cgroupRows(machine.sample, false, result.all, result.groups, result.devices);
        seen = result.find("/b");
    }
    ASSERT_TRUE(seen);
    EXPECT_EQ(result.find("/b")->memory_limit, 8192U);
    EXPECT_EQ(result.find("/b")->cpu_us, 0U);
}

TEST(CgroupRows, NamesOfContainers) {
    const std::string a(64, 'a'), b(64, 'b'), c(64, 'c'), d(64, 'd'), uid = "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9";
    const std::string pod = "/kubepods.slice/kubepods-pod0a1b2c3d_4e5f_6071_8293_a4b5c6d7e8f9.slice";
    GroupMachine machine(Mounts + groupOf("", {.below = 8}) + groupOf("/system.slice", {}) +
                         groupOf("/system.slice/docker-" + a + ".scope", {}) + groupOf("/machine.slice", {}) +
                         groupOf("/machine.slice/libpod-" + b + ".scope", {}) + groupOf("/kubepods.slice", {}) +
                         groupOf(pod, {}) + groupOf(pod + "/cri-containerd-" + c + ".scope", {}) +
                         groupOf(pod + "/crio-" + d + ".scope", {}) + "file /var/lib/docker/containers/" + a +
                         "/config.v2.json <<END\n{\"Name\":\"/web\"}\nEND\n"
                         "file /var/lib/containers/storage/overlay-containers/containers.json <<END\n[{\"id\":\"" +
                         b + "\",\"names\":[\"db\"]}]\nEND\nlink /var/log/containers/api_shop_main-" + c + ".log /x\n" +
                         "dir /var/log/pods/shop_api_" + uid + "\nstep 1\nstep 2\n");
    auto result = machine.next(true);
    const auto* row = result.find("/system.slice/docker-" + a + ".scope");
    ASSERT_TRUE(row);
    EXPECT_EQ(row->name, "web");
    EXPECT_EQ(row->kind, "container");
    EXPECT_TRUE(row->named);
    EXPECT_EQ(result.find("/machine.slice/libpod-" + b + ".scope")->name, "db");
    EXPECT_EQ(result.find(pod)->name, "shop/api");
    EXPECT_EQ(result.find(pod)->kind, "pod");
    EXPECT_EQ(result.find(pod + "/cri-containerd-" + c + ".scope")->name, "shop/api:main");
    row = result.find(pod + "/crio-" + d + ".scope");
    EXPECT_EQ(row->name, "dddddddddddd") << "no file has its name";
    EXPECT_FALSE(row->named);
    // Names are looked up when a group is new, not each time.
    std::string opened;
    machine.made.world.watch = [&](const std::string& path) { opened += path + "\n"; };
    machine.next();
    EXPECT_EQ(opened.find("/var/"), opened.npos) << opened;
}

TEST(CgroupRows, HostileNamesAndDepth) {
    std::string deep,
        lines = Mounts + groupOf("", {.below = 200}) + groupOf("/a\\x0Ab\\x1B[2J", {}) + groupOf("/\\xFF\\xFE", {});
    for (int i = 0; i < 90; i++) deep += "/d", lines += groupOf(deep, {.below = 89 - i});
    GroupMachine machine(lines + "step 1\n");
    const auto result = machine.next(true);
    EXPECT_TRUE(result.find("/a\nb\x1B[2J"));
    EXPECT_TRUE(result.find("/\xFF\xFE"));
    EXPECT_EQ(result.groups.rows.size(), 1U + 2U + CgroupSampler::MostDepth);
}

TEST(CgroupRows, FirstVersion) {
    const std::string mounts = "file /proc/self/mountinfo <<END\n"
                               "32 31 0:29 / /sys/fs/cgroup/cpu,cpuacct rw,relatime - cgroup cgroup rw,cpu,cpuacct\n"
                               "35 31 0:32 / /sys/fs/cgroup/memory rw,relatime - cgroup cgroup rw,memory\n"
                               "41 31 0:38 / /sys/fs/cgroup/unified rw,relatime - cgroup2 cgroup2 rw\n"
                               "END\n";
    const auto cpu = [](const std::string& path, const std::string& ns) {
        return "text /sys/fs/cgroup/cpu,cpuacct" + path + "/cpuacct.usage \"" + ns + "\\n\"\n";
    };
    const std::string c = "/sys/fs/cgroup/cpu,cpuacct/docker", m = "/sys/fs/cgroup/memory/";
    GroupMachine machine(
        mounts + cpu("", "0") + cpu("/docker", "5000") + "text " + c + "/cpu.cfs_quota_us \"50000\\n\"\ntext " + c +
        "/cpu.cfs_period_us \"100000\\n\"\nfile " + c +
        "/cpu.stat <<END\nnr_periods 1\nnr_throttled 1\nthrottled_time 1000\nEND\ntext " + m +
        "docker/memory.usage_in_bytes \"4096\\n\"\ntext " + m + "docker/memory.limit_in_bytes \"8192\\n\"\nfile " + m +
        "docker/memory.oom_control <<END\noom_kill_disable 0\nunder_oom 0\noom_kill 2\nEND\ntext " + m +
        "only/memory.usage_in_bytes \"1\\n\"\ntext " + m +
        "only/memory.limit_in_bytes \"9223372036854771712\\n\"\nstep 1\n" + cpu("/docker", "2005000") + "file " + c +
        "/cpu.stat <<END\nnr_periods 11\nnr_throttled 6\nthrottled_time 9001000\nEND\nfile " + m +
        "docker/memory.oom_control <<END\noom_kill_disable 0\nunder_oom 0\noom_kill 3\nEND\n");
    const auto result = machine.next(true);
    EXPECT_EQ(result.all.rows.at(0).version, 1U);
    EXPECT_EQ(result.all.rows.at(0).groups, 2U);
    const auto* row = result.find("/docker");
    ASSERT_TRUE(row);
    EXPECT_EQ(row->cpu_us, 2000U);
    EXPECT_EQ(row->throttled_periods, 5U);
    EXPECT_EQ(row->throttled_us, 9000U);
    EXPECT_EQ(row->quota, 0.5);
    EXPECT_EQ(row->memory, 4096U);
    EXPECT_EQ(row->memory_limit, 8192U);
    EXPECT_EQ(row->oom_kills, 1U);
    EXPECT_FALSE(row->read_bytes);
    row = result.find("/only");
    ASSERT_TRUE(row);
    EXPECT_FALSE(row->memory_limit);
    EXPECT_FALSE(row->cpu_us);
}

// Lists and files that do not fit into one answer come in pieces.
TEST(CgroupRows, NamesOfManyContainers) {
    const std::string id(64, 'e'), podman(64, 'f');
    std::string lines = Mounts + groupOf("", {.below = 3}) + groupOf("/machine.slice", {.below = 2}) +
                        groupOf("/machine.slice/libpod-" + podman + ".scope", {}) +
                        groupOf("/machine.slice/crio-" + id + ".scope", {}),
                json = "[";
    for (int i = 0; i < 900; i++) {
        auto other = std::to_string(100000 + i);
        other.resize(64, '0');
        lines += "link /var/log/containers/api_shop_main-" + other + ".log /x\n";
        json += "{\"id\":\"" + other + "\",\"names\":[\"n" + std::to_string(i) + "\"],\"layer\":\"" + other + "\"},";
    }
    ASSERT_GT(json.size(), 2U * 65536);
    lines += "link /var/log/containers/web_shop_last-" + id + ".log /x\nfile " +
             "/var/lib/containers/storage/overlay-containers/containers.json <<END\n" + json + "{\"id\":\"" + podman +
             "\",\"names\":[\"db\"]}]\nEND\n";
    for (int i = 1; i < 9; i++) lines += "step " + std::to_string(i) + "\n";
    GroupMachine machine(lines);
    Result result;
    for (int i = 1; i < 8; i++) {
        auto next = machine.next();
        if (next.find("/machine.slice/crio-" + id + ".scope")) result = std::move(next); // a row when its name is known
    }
    ASSERT_TRUE(result.find("/machine.slice/crio-" + id + ".scope"));
    EXPECT_EQ(result.find("/machine.slice/crio-" + id + ".scope")->name, "shop/web:last");
    EXPECT_EQ(result.find("/machine.slice/libpod-" + podman + ".scope")->name, "db");
}

// Storage that does not answer holds nobody up, and the id stays.
TEST(CgroupRows, NamesThatDoNotCome) {
    const std::string a(64, 'a'), b(64, 'b'), docker = "/var/lib/docker/containers/";
    GroupMachine machine(Mounts + groupOf("", {.below = 2}) + groupOf("/docker-" + a + ".scope", {}) +
                         groupOf("/docker-" + b + ".scope", {}) + "text " + docker + a +
                         "/config.v2.json \"{}\"\nhang " + docker + a + "/config.v2.json\ntext " + docker + b +
                         "/config.v2.json \"{}\"\nfail open " + docker + b +
                         "/config.v2.json EACCES\nstep 1\nstep 2\nstep 3\nstep 4\n");
    for (int i = 0; i < 3; i++) machine.next();
    const auto result = machine.next(true);
    EXPECT_EQ(result.find("/docker-" + a + ".scope")->name, "aaaaaaaaaaaa");
    EXPECT_FALSE(result.find("/docker-" + b + ".scope")->named);
    EXPECT_GE(machine.sampler.notAllowed(), 1U);
    EXPECT_EQ(machine.helper.abandoned(), 0U); // nobody waits for it any more
}

TEST(CgroupRows, DisksHaveTheirNames) {
    const auto io = [](const std::string& bytes) {
        return groupOf("", {.cpu = cpuOf(toLong(bytes) > 0 ? 7 : 8), .below = 1}) +
               groupOf("/a", {.cpu = cpuOf(toLong(bytes) > 0 ? 7 : 8),
                              .io = "8:0 rbytes=" + bytes + " wbytes=0 rios=1 wios=0 dbytes=0 dios=0\n104:0 rbytes=" +
                                    bytes + " wbytes=0 rios=0 wios=0 dbytes=0 dios=0\n9:9 rbytes=" + bytes +
                                    " wbytes=0 rios=0 wios=0 dbytes=0 dios=0\n"});
    };
    GroupMachine machine(Mounts + io("0") + "link /sys/dev/block/8:0 ../../devices/pci/block/sda\n" +
                         "link /sys/dev/block/104:0 ../../devices/pci/block/cciss!c0d0\nstep 1\n" + io("4096"));
    const auto result = machine.next();
    ASSERT_EQ(result.devices.rows.size(), 3U);
    EXPECT_EQ(result.devices.rows[0].disk, "sda");
    EXPECT_EQ(result.devices.rows[1].disk, "");
    EXPECT_EQ(result.devices.rows[1].device, "9:9");
    EXPECT_EQ(result.devices.rows[2].disk, "cciss/c0d0");
}

// What a volume moves, its disks move, too.
TEST(CgroupRows, TransfersCountOnceHoweverManyDevicesCountThem) {
    std::string lines = Mounts;
    const auto device = [&](const std::string& name, const std::string& number, const std::string& below) {
        const auto folder = "/sys/devices/" + name;
        lines += "link /sys/block/" + name + " ../devices/" + name + "\nlink /sys/dev/block/" + number +
                 " ../../devices/" + name + "\ntext " + folder + "/dev \"" + number + "\\n\"\ndir " + folder +
                 "/slaves\n";
        const auto last = below.substr(below.rfind('/') + 1);
        if (!below.empty()) lines += "link " + folder + "/slaves/" + last + " ../../" + below + "\n";
    };
    device("sda", "8:0", "");
    device("sdb", "8:16", "");
    device("dm-0", "253:0", "sdb");      // a multipath disk, whose paths the group's transfers are not charged on
    device("dm-1", "253:1", "dm-0");     // on it
    device("dm-2", "253:2", "sda/sda2"); // on a partition
    device("dm-3", "253:3", "dm-2");
    device("sdc", "8:32", "");
    device("md0", "9:0", "sdc"); // reads in the name of the group, and writes in its own
    device("loop0", "7:0", "");  // its file is on a disk
    const struct {
        const char* number;
        uint64_t read, written;
    } Moved[] = {{"7:0", 1, 1},      {"8:0", 20, 20},          {"8:16", 0, 0},         {"8:32", 300, 0},
                 {"9:0", 300, 5000}, {"253:0", 4000, 40000},   {"253:1", 4000, 40000}, {"253:2", 10, 10},
                 {"253:3", 10, 10},  {"259:9", 600000, 600000}}; // nothing is known of the last one
    const auto io = [&](bool moved) {
        std::string text;
        for (auto& [number, read, written] : Moved)
            text += std::string(number) + " rbytes=" + std::to_string(moved ? read : 0) +
                    " wbytes=" + std::to_string(moved ? written : 0) + " rios=0 wios=0 dbytes=0 dios=0\n";
        return groupOf("", {.cpu = cpuOf(moved ? 7 : 8), .below = 1}) +
               groupOf("/a", {.cpu = cpuOf(moved ? 7 : 8), .io = text});
    };
    GroupMachine machine(lines + io(false) + "step 1\n" + io(true));
    const auto result = machine.next();
    EXPECT_EQ(result.devices.rows.size(), std::size(Moved) - 1);
    EXPECT_EQ(result.find("/a")->read_bytes, 604320U);
    EXPECT_EQ(result.find("/a")->write_bytes, 645020U);
}

TEST(GroupFiles, BlkioOfTheFirstVersion) {
    std::vector<GroupIo> devices;
    parseGroupIo1("8:16 Read 4096\n8:16 Write 8192\n8:16 Sync 0\n8:16 Async 12288\n8:16 Discard 512\n8:16 Total 12800\n"
                  "8:0 Read 1\nTotal 12801\n8:x Read 5\n8:32 Read x\n8:48 Read\n",
                  GroupIo1::Bytes, devices);
    parseGroupIo1("8:16 Read 1\n8:16 Write 2\n8:16 Discard 3\n8:64 Write 9\n", GroupIo1::Operations, devices);
    ASSERT_EQ(devices.size(), 3U);
    EXPECT_EQ(devices[0].minor, 0U);
    EXPECT_EQ(devices[0].read_bytes, 1U);
    EXPECT_EQ(devices[1].read_bytes, 4096U);
    EXPECT_EQ(devices[1].write_bytes, 8192U);
    EXPECT_EQ(devices[1].discard_bytes, 512U);
    EXPECT_EQ(devices[1].reads + devices[1].writes * 10 + devices[1].discards * 100, 321U);
    EXPECT_EQ(devices[2].writes, 9U);
}

// Where the kernel counts only what a group did itself, a group with others below it has no figures.
TEST(CgroupRows, SwapAndIoOfTheFirstVersion) {
    const std::string b = "/sys/fs/cgroup/blkio/", m = "/sys/fs/cgroup/memory/",
                      throttle = "/blkio.throttle.io_service";
    const auto io = [&](const std::string& path, const std::string& end, uint64_t bytes) {
        return "text " + b + path + throttle + "_bytes" + end + " \"8:0 Read " + std::to_string(bytes) +
               "\\nTotal 1\\n\"\n" + "text " + b + path + throttle + "d" + end + " \"8:0 Read " +
               std::to_string(bytes / 512) + "\\n\"\n";
    };
    GroupMachine machine(
        "file /proc/self/mountinfo <<END\n"
        "35 31 0:32 / /sys/fs/cgroup/memory rw,relatime - cgroup cgroup rw,memory\n"
        "36 31 0:33 / /sys/fs/cgroup/blkio rw,relatime - cgroup cgroup rw,blkio\nEND\n"
        "link /sys/dev/block/8:0 ../../devices/pci/block/sda\n" +
        io("old", "", 512) + io("old/below", "", 512) + io("new", "_recursive", 512) +
        io("new/below", "_recursive", 512) + "text " + m + "new/memory.usage_in_bytes \"4096\\n\"\ntext " + m +
        "new/memory.memsw.usage_in_bytes \"12288\\n\"\nstep 1\n" + io("old", "", 1536) + io("old/below", "", 1536) +
        io("new", "_recursive", 2560) + io("new/below", "_recursive", 512));
    const auto result = machine.next(true);
    EXPECT_FALSE(result.find("/old")->read_bytes);
    EXPECT_EQ(result.find("/old/below")->read_bytes, 1024U);
    EXPECT_EQ(result.find("/old/below")->reads, 2U);
    EXPECT_EQ(result.find("/new")->read_bytes, 2048U);
    EXPECT_EQ(result.find("/new")->reads, 4U);
    EXPECT_EQ(result.find("/new")->swap, 8192U);
    EXPECT_EQ(result.find("/new/below")->read_bytes, 0U);
    ASSERT_EQ(result.devices.rows.size(), 2U);
    EXPECT_EQ(result.devices.rows[0].disk, "sda");
}

TEST(CgroupRows, AMachineWithoutGroups) {
    GroupMachine machine("step 1\nstep 2\n" + Mounts + groupOf("", {}) + "step 3\n");
    auto result = machine.next();
    EXPECT_TRUE(result.all.rows.empty());
    EXPECT_FALSE(result.groups.sampled);
    machine.next(); // mounted late: the first pass with groups
    result = machine.next();
    EXPECT_EQ(result.all.rows.size(), 1U);
}

// --- The table

static CgroupRow rowOf(const std::string& path, uint64_t cpu_us) {
    CgroupRow row;
    row.path = path, row.name = path.substr(path.rfind('/') + 1), row.kind = "unit", row.named = true;
    row.cpu_us = cpu_us;
    return row;
}

static std::string shown(const Interval& interval, size_t width, const ViewRow& asked = {}) {
    const LogHead head;
    Page page(width, false);
    showCgroups(interval, {head, asked}, page);
    return page.text();
}

static Interval someGroups() {
    Interval interval;
    interval.cgroupsTotal.rows = {{2, 30, 26}};
    interval.cgroups.elapsed_us = 2000000;
    auto& rows = interval.cgroups.rows;
    rows = {rowOf("/", 3000000), rowOf("/system.slice/cron.service", 20000), rowOf("/idle.slice", 0)};
    auto api = rowOf("/kubepods.slice/kubepods-pod1.slice/cri-containerd-3f2a91c04e1b.scope", 1000000);
    api.kind = "container", api.name = "shop/api:main";
    api.periods = 20, api.throttled_periods = 19, api.quota = 0.5;
    api.memory = 96, api.memory_limit = 100;
    rows.push_back(api);
    return interval;
}

TEST(CgroupView, TheBusiestFirst) {
    const auto text = shown(someGroups(), 120);
    const auto root = text.find("\n/ "), api = text.find("\nshop/api:main "), cron = text.find("\n/system.slice/cron");
    EXPECT_TRUE(root < api && api < cron && cron != text.npos) << text;
    EXPECT_EQ(text.find("idle.slice"), text.npos);
    EXPECT_NE(text.find(" 50.0  0.50  100.0  95.0    96  96.0"), text.npos) << text;
    EXPECT_NE(text.find("30 groups, 26 idle\n"), text.npos) << text;
}

TEST(CgroupView, LimitsOrderAndFilter) {
    ViewRow asked;
    asked.sort = "mem";
    asked.rows = 2;
    auto text = shown(someGroups(), 120, asked);
    EXPECT_NE(text.find("shop/api"), text.npos);
    EXPECT_EQ(text.find("cron"), text.npos);
    EXPECT_NE(text.find("2 more that were active"), text.npos) << text;
    asked.cgroup = "/system.slice/";
    text = shown(someGroups(), 120, asked);
    EXPECT_EQ(text.find("shop/api"), text.npos);
    EXPECT_NE(text.find("cron"), text.npos);
    asked.cgroup = "/system";
    EXPECT_EQ(shown(someGroups(), 120, asked), "CGROUP  30 groups, 26 idle\n");
}

TEST(CgroupView, WhatItCannotShow) {
    EXPECT_EQ(shown(Interval(), 80), "");
    auto interval = someGroups();
    interval.cgroups.rows = {rowOf("/" + std::string(300, 'x') + "\x1B\n/end", 5)};
    const auto text = shown(interval, 80);
    EXPECT_EQ(text.find('\x1B'), text.npos);
    EXPECT_NE(text.find("\n...xxx"), text.npos) << text;
    EXPECT_NE(text.find("\\x1B\\x0A/end "), text.npos) << text;
    interval.cgroups.rows[0].kind = "container", interval.cgroups.rows[0].name = "3f2a91c04e1b";
    interval.cgroups.rows[0].named = false;
    EXPECT_NE(shown(interval, 80).find("\ncontainer 3f2a91c04e1b "), std::string::npos);
}
