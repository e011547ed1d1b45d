// Messages of rtnetlink: interfaces, their counters and addresses.
#include "parse/link.h"

#include "fuzz/check.h"
#include "parse/attributes.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    size_t seen = 0;
    eachMessage(all, [&](uint16_t, std::string_view payload) {
        check(payload.data() >= all.data() && payload.data() + payload.size() <= all.data() + all.size());
        seen += 16 + payload.size();
        uint32_t index = 0;
        LinkCounters counters;
        const bool counted = parseLinkCounters(payload, index, counters);
        check(counted || counters.rx_bytes == 0);
        if (const auto link = parseLink(payload)) {
            check(link->index > 0 && link->index <= 0x7FFFFFFF && !stateName(link->state).empty());
            check(isFrom(all, link->name) && isFrom(all, link->kind));
            check(link->name.find('\0') == std::string::npos && link->kind.find('\0') == std::string::npos);
        }
        if (const auto address = parseAddress(payload)) {
            check(address->text.size() >= 2 && address->text.size() < 46);
            check(address->text.find_first_not_of("0123456789abcdef:.") == std::string::npos);
        }
    });
    check(seen <= size);
    return 0;
}
