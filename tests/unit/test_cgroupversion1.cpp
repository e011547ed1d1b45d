// Groups of the first version.
#include "tests/unit/cgroupmachine.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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
