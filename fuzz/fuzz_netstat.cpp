// /proc/net/snmp and /proc/net/netstat, one after the other.
#include "classic/collect/tcpext.h"

#include "base/words.h"
#include "fuzz/check.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TNetstatSlots snmp;
    TNetstatLines seen;
    Lines lines({reinterpret_cast<const char*>(data), size}, 4096);
    for (std::string_view line; lines.next(line);) check(getNetstatLine(line, 1, seen, snmp));
    for (size_t group = 0; group < snmp.size(); group++) {
        check(snmp[group].sample[0].empty() && snmp[group].sample[1].size() <= 199);
        check(snmp[group].sample[1].empty() || seen.seen[group] > 0);
        for (auto& row : snmp[group].sample[1]) {
            check(row.name.size() <= 31 && row.name.view().find(' ') == std::string_view::npos && !row.name.empty());
            check(row.curvalue >= -0x1p63 && row.curvalue <= 0x1p63 && row.delta == 0);
        }
    }
    return 0;
}
