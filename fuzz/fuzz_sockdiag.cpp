// Messages of SOCK_DIAG about sockets, and about those that ended.
#include "parse/sockdiag.h"

#include "fuzz/check.h"
#include "parse/attributes.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    eachMessage(all, [&](uint16_t, std::string_view payload) {
        if (const auto socket = parseInetSocket(payload)) {
            check(payload.size() >= 72); // inet_diag_msg
            check(!stateName(socket->state).empty());
            check(addressText(socket->family, socket->ends.address).size() < 46);
            check(addressText(socket->family, socket->ends.peer).size() < 46);
            check(!socket->tcp || !socket->tcp->hasSent || socket->tcp->hasBytes); // fields come from the start on
        }
        if (const auto socket = parseUnixSocket(payload)) check(payload.size() >= 16 && payload[0] == 1);
    });
    return 0;
}
