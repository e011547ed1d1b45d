#include "parse/cgroup.h"

#include <algorithm>
#include <tuple>

static constexpr Keyed<GroupCpu> CpuKeys[] = {
    {"usage_usec",     &GroupCpu::usage_us         },
    {"user_usec",      &GroupCpu::user_us          },
    {"system_usec",    &GroupCpu::system_us        },
    {"nr_periods",     &GroupCpu::periods          },
    {"nr_throttled",   &GroupCpu::throttled_periods},
    {"throttled_usec", &GroupCpu::throttled_us     },
};

static constexpr Keyed<GroupCpu> CpuKeys1[] = {
    {"nr_periods",     &GroupCpu::periods          },
    {"nr_throttled",   &GroupCpu::throttled_periods},
    {"throttled_time", &GroupCpu::throttled_us     },
};

static constexpr Keyed<GroupMemoryEvents> MemoryKeys[] = {
    {"high",     &GroupMemoryEvents::high     },
    {"max",      &GroupMemoryEvents::max      },
    {"oom",      &GroupMemoryEvents::oom      },
    {"oom_kill", &GroupMemoryEvents::oom_kills},
};

void parseGroupCpu(std::string_view text, KeyPlan& plan, GroupCpu& cpu) {
    parseKeyed(text, std::span<const Keyed<GroupCpu>>(CpuKeys), plan, cpu);
}

void parseGroupCpu1(std::string_view text, KeyPlan& plan, GroupCpu& cpu) {
    parseKeyed(text, std::span<const Keyed<GroupCpu>>(CpuKeys1), plan, cpu);
    if (cpu.throttled_us) *cpu.throttled_us /= 1000;
}

void parseGroupMemoryEvents(std::string_view text, KeyPlan& plan, GroupMemoryEvents& events) {
    parseKeyed(text, std::span<const Keyed<GroupMemoryEvents>>(MemoryKeys), plan, events);
}

// "8:16"
static bool isDevice(std::string_view word, GroupIo& device) {
    const auto colon = word.find(':');
    return colon != word.npos && toNumber(word.substr(0, colon), device.major) &&
           toNumber(word.substr(colon + 1), device.minor);
}

// False: not one of those that are wanted.
static bool setCounter(std::string_view word, GroupIo& device) {
    static constexpr struct {
        std::string_view name;
        uint64_t GroupIo::* to;
    } Counters[] = {
        {"rbytes", &GroupIo::read_bytes   },
        {"wbytes", &GroupIo::write_bytes  },
        {"rios",   &GroupIo::reads        },
        {"wios",   &GroupIo::writes       },
        {"dbytes", &GroupIo::discard_bytes},
        {"dios",   &GroupIo::discards     },
    };
    const auto equals = word.find('=');
    if (equals == word.npos) return false;
    for (auto& counter : Counters)
        if (counter.name == word.substr(0, equals)) return toNumber(word.substr(equals + 1), device.*counter.to);
    return false;
}

void parseGroupIo(std::string_view text, std::vector<GroupIo>& devices) {
    devices.clear();
    for (std::string_view line; takeLine(text, line);) {
        GroupIo device;
        bool known = false, counted = false;
        for (auto word = takeWord(line); !word.empty(); word = takeWord(line)) {
            if (GroupIo next; isDevice(word, next)) {
                if (counted) devices.push_back(device);
                device = next, known = true, counted = false;
            } else if (known) {
                counted |= setCounter(word, device);
            }
        }
        if (counted) devices.push_back(device);
    }
    const auto number = [](const GroupIo& device) { return std::make_tuple(device.major, device.minor); };
    const auto byNumber = [&](auto& a, auto& b) { return number(a) < number(b); };
    if (!std::is_sorted(devices.begin(), devices.end(), byNumber)) std::sort(devices.begin(), devices.end(), byNumber);
    devices.erase(std::unique(devices.begin(), devices.end(), [&](auto& a, auto& b) { return number(a) == number(b); }),
                  devices.end());
}

void parseGroupIo1(std::string_view text, GroupIo1 what, std::vector<GroupIo>& devices) {
    static constexpr struct {
        std::string_view name;
        uint64_t GroupIo::*bytes, GroupIo::*operations;
    } Counters[] = {
        {"Read",    &GroupIo::read_bytes,    &GroupIo::reads   },
        {"Write",   &GroupIo::write_bytes,   &GroupIo::writes  },
        {"Discard", &GroupIo::discard_bytes, &GroupIo::discards},
    };
    const auto earlier = [](const GroupIo& a, const GroupIo& b) {
        return std::tie(a.major, a.minor) < std::tie(b.major, b.minor);
    };
    for (std::string_view line; takeLine(text, line);) {
        GroupIo device;
        uint64_t value = 0;
        if (!isDevice(takeWord(line), device)) continue; // "Total 316232704" of all devices
        const auto name = takeWord(line);
        const auto* counter =
            std::find_if(std::begin(Counters), std::end(Counters), [&](auto& c) { return c.name == name; });
        if (counter == std::end(Counters) || !toNumber(takeWord(line), value)) continue;
        auto place = std::lower_bound(devices.begin(), devices.end(), device, earlier);
        if (place == devices.end() || earlier(device, *place)) place = devices.insert(place, device);
        (*place).*(what == GroupIo1::Bytes ? counter->bytes : counter->operations) = value;
    }
}

GroupQuota parseGroupQuota(std::string_view text) {
    GroupQuota quota;
    std::string_view line;
    takeLine(text, line);
    uint64_t number = 0;
    if (toNumber(takeWord(line), number)) quota.quota_us = number;
    if (takeNumber(line, number)) quota.period_us = number;
    return quota;
}

std::optional<uint64_t> parseGroupNumber(std::string_view text) {
    std::string_view line;
    takeLine(text, line);
    uint64_t number = 0;
    return toNumber(line, number) ? std::optional(number) : std::nullopt;
}

std::optional<uint64_t> parseGroupLimit1(std::string_view text) {
    // The kernel prints the highest number of bytes that is a multiple of its pages, which have up to 64 KiB.
    constexpr uint64_t NoLimit = INT64_MAX - 0x10000;
    const auto limit = parseGroupNumber(text);
    return limit && *limit < NoLimit ? limit : std::nullopt;
}
