// The files of a control group: of version 2, and those of version 1's cpu, cpuacct, memory, pids and
// blkio.
#pragma once

#include "parse/keyed.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

// cpu.stat. Without the cpu controller it has the first three lines only.
//
//     usage_usec 1234567
//     nr_throttled 12
struct GroupCpu {
    std::optional<uint64_t> usage_us, user_us, system_us;             // since the group was made
    std::optional<uint64_t> periods, throttled_periods, throttled_us; // only where a quota can be set
};
void parseGroupCpu(std::string_view text, KeyPlan& plan, GroupCpu& cpu);
// The same file of version 1, which has periods only, and counts nanoseconds.
void parseGroupCpu1(std::string_view text, KeyPlan& plan, GroupCpu& cpu);

// memory.events, descendants included; of version 1 `oom_kill` of memory.oom_control.
struct GroupMemoryEvents {
    std::optional<uint64_t> high, max, oom, oom_kills; // how often the limit was met; processes killed
};
void parseGroupMemoryEvents(std::string_view text, KeyPlan& plan, GroupMemoryEvents& events);

// io.stat: what a group did on one device.
//
//     8:16 rbytes=1459200 wbytes=314773504 rios=192 wios=353 dbytes=0 dios=0
struct GroupIo {
    uint32_t major = 0, minor = 0;
    uint64_t read_bytes = 0, write_bytes = 0, reads = 0, writes = 0, discard_bytes = 0, discards = 0;
};
// Sorted by device. Devices of which the kernel prints the number only, which some kernels do, several on a line even,
// are left out: they did nothing.
void parseGroupIo(std::string_view text, std::vector<GroupIo>& devices);

// blkio.throttle.io_service_bytes and io_serviced of version 1.
//
//     8:16 Read 1459200
//     8:16 Total 316232704
enum class GroupIo1 { Bytes, Operations };
// Adds what the file counts to the devices, which stay sorted.
void parseGroupIo1(std::string_view text, GroupIo1 what, std::vector<GroupIo>& devices);

// cpu.max: "200000 100000" is two CPUs, "max 100000" no limit.
struct GroupQuota {
    std::optional<uint64_t> quota_us, period_us; // no quota: none is set
};
GroupQuota parseGroupQuota(std::string_view text);

// A file of one number: memory.current, pids.max, cpuacct.usage. None: "max", "-1", or no number.
std::optional<uint64_t> parseGroupNumber(std::string_view text);
// A limit of version 1, where the highest number of pages stands for none.
std::optional<uint64_t> parseGroupLimit1(std::string_view text);
