// How one control group is read, in version 2 and in version 1.
#include "sample/cgroup.h"

#include "base/filestatus.h"
#include "parse/pressure.h"

#include <algorithm>
#include <cerrno>

// --- Files

bool CgroupSampler::readText(const Place& at, const char* name) { return readFile(at, name, text, Reading::Single); }

std::optional<uint64_t> CgroupSampler::number(const Place& at, const char* name) {
    return readText(at, name) ? parseGroupNumber(text.view()) : std::nullopt;
}

std::optional<uint64_t> CgroupSampler::limit1(const Place& at, const char* name) {
    return readText(at, name) ? parseGroupLimit1(text.view()) : std::nullopt;
}

void CgroupSampler::pressure(const Place& at, const char* name, GroupNumber& some_us, GroupNumber& full_us) {
    some_us = full_us = GroupNumber();
    if (!readText(at, name)) return;
    if (const auto stalled = parsePressure(text.view())) some_us = stalled->some_us, full_us = stalled->full_us;
}

// --- Version 2

// The directory of a group: the one that is held open, or `own`, opened for now. Null: it cannot be opened.
const HeldDirectory* CgroupSampler::enter(const CgroupSample& sample, uint32_t at, HeldDirectory& own) {
    auto& group = sample.groups[at];
    if (group.directory.isOpen()) return &group.directory;
    const auto path = mounts[0] + (at ? sample.pathOf(at) : "");
    FileStatus status;
    if (!own.open(path.c_str())) return nullptr;
    if (at && (!getFileStatus(path.c_str(), status) || status.inode != group.inode)) return errno = ENOENT, nullptr;
    return &own;
}

void CgroupSampler::readLevels2(const Place& at, Group& group) {
    GroupLevels levels;
    levels.memory = number(at, "memory.current");
    levels.memory_high = number(at, "memory.high");
    levels.memory_max = number(at, "memory.max");
    levels.swap = number(at, "memory.swap.current");
    levels.swap_max = number(at, "memory.swap.max");
    levels.pids = number(at, "pids.current");
    levels.pids_max = number(at, "pids.max");
    if (readText(at, "cpu.max")) {
        const auto quota = parseGroupQuota(text.view());
        levels.quota_us = quota.quota_us, levels.period_us = quota.period_us;
    }
    group.levelsChanged |= !(levels == group.levels);
    group.levels = levels;
}

static void addDigest(uint64_t& digest, std::string_view text) {
    digest = digest * 0x9E3779B97F4A7C15U + std::hash<std::string_view>()(text) + 1;
}

// Reads the files in which what moved in a group or below it can be seen. The text of io.stat is left to be parsed.
// False: there is no such group any more.
bool CgroupSampler::readSigns(const Place& at, bool isRoot, Signs& signs) {
    const bool hasCpu = readText(at, "cpu.stat"); // every group but the root has this file
    if (!hasCpu && !isRoot && (errno == ENOENT || errno == ENODEV)) return false;
    if (hasCpu) parseGroupCpu(text.view(), cpuPlan, signs.cpu), addDigest(signs.digest, text.view());
    if (readText(at, "memory.events"))
        parseGroupMemoryEvents(text.view(), eventsPlan, signs.events), addDigest(signs.digest, text.view());
    if (readText(at, "cgroup.stat")) {
        auto rest = text.view();
        uint64_t count = 0;
        if (takeWord(rest) == "nr_descendants" && takeNumber(rest, count)) signs.descendants = count;
        addDigest(signs.digest, text.view());
    }
    signs.hasIo = readText(at, "io.stat");
    if (signs.hasIo) addDigest(signs.digest, text.view());
    return true;
}

void CgroupSampler::readMoved2(CgroupSample& sample, const Place& at, const Signs& signs, Group& group) {
    group.ioBefore.swap(group.ioNow);
    parseGroupIo(signs.hasIo ? text.view() : std::string_view{}, group.ioNow);
    nameDisks(sample, group);
    group.hasIo = signs.hasIo;
    group.before = group.now;
    group.now = GroupCounters();
    auto& now = group.now;
    const auto& cpu = signs.cpu;
    now.cpu_us = cpu.usage_us, now.user_us = cpu.user_us, now.system_us = cpu.system_us;
    now.periods = cpu.periods, now.throttled_periods = cpu.throttled_periods, now.throttled_us = cpu.throttled_us;
    now.memory_high = signs.events.high, now.memory_max = signs.events.max, now.oom_kills = signs.events.oom_kills;
    pressure(at, "cpu.pressure", now.cpu_some_us, now.cpu_full_us);
    pressure(at, "memory.pressure", now.memory_some_us, now.memory_full_us);
    pressure(at, "io.pressure", now.io_some_us, now.io_full_us);
    readLevels2(at, group);
    group.read = true;
}

// Reads a group. A group in which and below which nothing moved is only looked at.
void CgroupSampler::visit2(CgroupSample& sample, uint32_t at) {
    auto& group = sample.groups[at];
    HeldDirectory own;
    Signs signs;
    const auto* place = enter(sample, at, own);
    if (!place || !readSigns(*place, at == 0, signs)) {
        group.gone = at && (errno == ENOENT || errno == ENODEV);
        group.still = true;
        return;
    }
    const auto& below = signs.descendants;
    if (at && group.listed && !group.relist && below && signs.digest == group.digest) {
        group.still = true;
        return;
    }
    group.digest = signs.digest;
    readMoved2(sample, *place, signs, group);
    if (!group.listed || group.relist || !below || *below != group.descendants) list(sample, at, place);
    group.descendants = below.value_or(0);
    if (place == &own && held < MostHeld) group.directory = std::move(own), held++;
}

// --- Version 1

// Older kernels count only what the group did itself, which is all of it where there is no group below.
bool CgroupSampler::readIo1(const Place& at, Group& group) {
    const auto read = [&](const std::string& name, GroupIo1 what) {
        const bool below = readText(at, (name + "_recursive").c_str());
        if (!below && (group.child != Group::None || !readText(at, name.c_str()))) return false;
        parseGroupIo1(text.view(), what, group.ioNow);
        return true;
    };
    return read("blkio.throttle.io_service_bytes", GroupIo1::Bytes) &&
           read("blkio.throttle.io_serviced", GroupIo1::Operations);
}

static std::optional<uint64_t> microseconds(std::optional<uint64_t> nanoseconds) {
    if (nanoseconds) *nanoseconds /= 1000;
    return nanoseconds;
}

void CgroupSampler::readCpu1(const Place& at, GroupCounters& now, GroupLevels& levels) {
    GroupCpu cpu;
    if (readText(at, "cpu.stat")) parseGroupCpu1(text.view(), cpuPlan, cpu);
    now.periods = cpu.periods, now.throttled_periods = cpu.throttled_periods, now.throttled_us = cpu.throttled_us;
    levels.quota_us = number(at, "cpu.cfs_quota_us");
    levels.period_us = number(at, "cpu.cfs_period_us");
}

void CgroupSampler::readMemory1(const Place& at, GroupCounters& now, GroupLevels& levels) {
    const auto memory = number(at, "memory.usage_in_bytes");
    levels.memory = memory;
    levels.memory_max = limit1(at, "memory.limit_in_bytes");
    now.memory_max = number(at, "memory.failcnt");
    GroupMemoryEvents events;
    if (readText(at, "memory.oom_control")) parseGroupMemoryEvents(text.view(), eventsPlan, events);
    now.oom_kills = events.oom_kills;
    const auto both = number(at, "memory.memsw.usage_in_bytes");
    if (both && memory) levels.swap = std::optional(*both - std::min(*memory, *both));
}

void CgroupSampler::visit1(CgroupSample& sample, uint32_t at) {
    auto& group = sample.groups[at];
    GroupCounters now;
    GroupLevels levels;
    const auto path = at ? sample.pathOf(at) : "";
    HeldDirectory place;
    const auto enters = [&](size_t i) {
        return !mounts[i].empty() && (group.hierarchies >> i & 1) && place.open((mounts[i] + path).c_str());
    };
    if (enters(0)) readCpu1(place, now, levels);
    if (enters(1)) {
        now.cpu_us = microseconds(number(place, "cpuacct.usage"));
        now.user_us = microseconds(number(place, "cpuacct.usage_user"));
        now.system_us = microseconds(number(place, "cpuacct.usage_sys"));
    }
    if (enters(2)) readMemory1(place, now, levels);
    if (enters(3)) {
        levels.pids = number(place, "pids.current");
        levels.pids_max = number(place, "pids.max");
    }
    group.ioBefore.swap(group.ioNow);
    group.ioNow.clear();
    group.hasIo = enters(4) && readIo1(place, group);
    nameDisks(sample, group);
    group.before = group.now;
    group.now = now;
    group.levelsChanged |= !(levels == group.levels);
    group.levels = levels;
    group.read = true;
    list(sample, at, nullptr);
}
