// A machine whose groups are sampled, and the rows that are made of them.
#pragma once

#include "model/cgroup.h"
#include "sample/cgroup.h"
#include "tests/unit/made.h"

#include <cstdint>
#include <string>
#include <string_view>

// What a group of version 2 has in its files; what is empty has no file.
struct MadeGroup {
    std::string cpu = "usage_usec 0\nuser_usec 0\nsystem_usec 0\n", io, events = "high 0\nmax 0\noom 0\noom_kill 0\n";
    std::string memory = "4096", max = "max", quota = "max 100000", pids = "1";
    int below = 0;
};

// `path`: "" for the root.
inline std::string groupOf(const std::string& path, const MadeGroup& files) {
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

inline std::string cpuOf(uint64_t us) { return "usage_usec " + std::to_string(us) + "\nuser_usec 0\nsystem_usec 0\n"; }

inline const std::string GroupMounts = "file /proc/self/mountinfo <<END\n"
                                       "30 23 0:26 / /sys/fs/cgroup rw,nosuid - cgroup2 cgroup2 rw,nsdelegate\n"
                                       "END\n";

// The rows of one interval.
struct GroupResult {
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
    GroupResult next(bool complete = false) {
        made.step();
        sampler.sample(sample);
        GroupResult result;
        cgroupRows(sample, complete, result.all, result.groups, result.devices);
        return result;
    }
};
