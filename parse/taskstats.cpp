#include "parse/taskstats.h"

#include "parse/attributes.h"

#include <cstddef>
#include <type_traits>

#include <linux/genetlink.h>

// linux/taskstats.h of older systems lacks the later fields, so the form of version 12 (Linux 5.19) is written out.
// Later versions add to its end. Version 15 (Linux 6.14) alone has fields inserted in the middle.
namespace {
struct Stats {
    uint16_t version;
    uint32_t status;
    uint8_t flags, nice;
    uint64_t cpu_count, cpu_delay, block_count, block_delay, swap_count, swap_delay, real_ns;
    uint64_t virtual_ns;
    char name[32];
    alignas(8) uint8_t scheduling;
    alignas(8) uint32_t uid;
    uint32_t gid, pid, parent, begin;
    uint64_t life_us, user_us, system_us, minor_faults, major_faults;
    uint64_t memory[4], io[7], switches[2], scaled[3], delays[4];
    uint64_t begin64, compact[2];
    uint32_t process;
    uint64_t process_life_us, device, inode;
};
} // namespace
static_assert(offsetof(Stats, name) == 80 && offsetof(Stats, uid) == 120 && offsetof(Stats, life_us) == 144);
static_assert(offsetof(Stats, process) == 368 && offsetof(Stats, process_life_us) == 376 && sizeof(Stats) == 400);
static_assert(std::is_trivially_copyable_v<Stats>);

static constexpr uint8_t NewTask = 2;                                 // command
static constexpr uint16_t OneThread = 4, WholeGroup = 5, StatsOf = 3; // attributes
static constexpr uint8_t LastOfGroup = 0x20;                          // flag
static constexpr uint16_t FirstKnown = 12, Unusable = 15;             // versions

static std::optional<Stats> statsIn(std::string_view value) {
    std::optional<Stats> found;
    eachAttribute(value, [&](uint16_t type, std::string_view inner) {
        Stats stats;
        if (type != StatsOf || !takeBody(inner, stats)) return;
        if (stats.version >= FirstKnown && stats.version != Unusable) found = stats;
    });
    return found;
}

std::optional<uint16_t> parseFamily(std::string_view payload, std::string_view name) {
    genlmsghdr header;
    if (!takeBody(payload, header)) return {};
    std::optional<uint16_t> number;
    bool named = false;
    eachAttribute(payload, [&](uint16_t type, std::string_view value) {
        uint16_t read = 0;
        if (type == CTRL_ATTR_FAMILY_ID && attributeNumber(value, read)) number = read;
        if (type == CTRL_ATTR_FAMILY_NAME) named = attributeText(value) == name;
    });
    return named ? number : std::nullopt;
}

std::optional<EndedTask> parseEndedTask(std::string_view payload) {
    genlmsghdr header;
    if (!takeBody(payload, header) || header.cmd != NewTask) return {};
    std::optional<EndedTask> task;
    std::optional<uint64_t> all_ns; // of all threads, where the process had several
    eachAttribute(payload, [&](uint16_t type, std::string_view value) {
        if (type != OneThread && type != WholeGroup) return;
        const auto stats = statsIn(value);
        if (!stats) return;
        if (type == WholeGroup) return void(all_ns = stats->virtual_ns);
        task.emplace();
        task->pid = stats->pid, task->process = stats->process, task->parent = stats->parent, task->uid = stats->uid;
        task->last = stats->flags & LastOfGroup;
        task->status = stats->status;
        task->cpu_ns = stats->virtual_ns;
        task->life_us = stats->process_life_us;
        task->name = attributeText({stats->name, sizeof stats->name});
    });
    if (task && (task->pid == 0 || task->process == 0)) return {};
    if (task && task->last && all_ns) task->cpu_ns = *all_ns;
    return task;
}
