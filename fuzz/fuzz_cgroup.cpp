// The files of a control group: devices are sorted, each once, and what they did is in the text.
#include "fuzz/check.h"
#include "parse/cgroup.h"

#include <cstdint>
#include <string>
#include <tuple>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::vector<GroupIo> devices;
    parseGroupIo(text, devices);
    for (size_t i = 1; i < devices.size(); i++)
        check(std::tie(devices[i - 1].major, devices[i - 1].minor) < std::tie(devices[i].major, devices[i].minor));
    for (auto& device : devices) check(isFrom(text, std::to_string(device.minor)));

    for (const auto what : {GroupIo1::Bytes, GroupIo1::Operations}) parseGroupIo1(text, what, devices);
    for (size_t i = 1; i < devices.size(); i++)
        check(std::tie(devices[i - 1].major, devices[i - 1].minor) < std::tie(devices[i].major, devices[i].minor));

    KeyPlan plan, plan1, eventsPlan; // one for each list of keys
    GroupCpu cpu, again;
    parseGroupCpu(text, plan, cpu);
    parseGroupCpu(text, plan, again); // with the plan that the first reading made
    check(cpu.usage_us == again.usage_us && cpu.throttled_us == again.throttled_us);
    parseGroupCpu1(text, plan1, cpu);
    GroupMemoryEvents events;
    parseGroupMemoryEvents(text, eventsPlan, events);
    if (const auto number = parseGroupNumber(text)) check(isFrom(text, std::to_string(*number)));
    if (const auto limit = parseGroupLimit1(text)) check(limit == parseGroupNumber(text));
    const auto quota = parseGroupQuota(text);
    if (quota.quota_us) check(isFrom(text, std::to_string(*quota.quota_us)));
    return 0;
}
