// Counters of the network protocols, and the files of the limits.
#include "parse/protocols.h"

#include "fuzz/check.h"
#include "parse/limits.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    ProtocolCounters counters;
    parseSnmp(text, counters);
    const size_t first = counters.size;
    parseSnmp6(text, counters);
    check(counters.size <= counters.list.size() && counters.size <= size);
    for (size_t i = 0; i < counters.size; i++) {
        const auto& counter = counters.list[i];
        check(!counter.name.empty() && isFrom(text, counter.name) && isFrom(text, counter.protocol));
        check(i < first || counter.protocol.ends_with('6'));
    }
    const auto again = counters.size;
    counters.clear();
    parseSnmp(text, counters), parseSnmp6(text, counters);
    check(counters.size == again);

    const auto softnet = parseSoftnet(text);
    check(!softnet || size >= 5);
    parseCpuColumn(text, "entries");
    check(!parseCpuColumn(text, "table_fulls") || isFrom(text, "table_fulls"));
    const auto number = parseNumberAt(text, 2);
    check(!number || size >= 5);
    const auto keys = parseKeyUsers(text);
    check(!keys || keys->limit > 0);
    return 0;
}
