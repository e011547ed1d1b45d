// Counters of a network namespace.
#include "parse/netcounters.h"

#include "fuzz/check.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    TcpCounters tcp;
    if (!parseTcpCounters(text, tcp)) check(tcp == TcpCounters());
    UdpCounters udp;
    if (!parseUdpCounters(text, udp)) check(udp == UdpCounters());
    UdpCounters udp6;
    if (!parseUdp6Counters(text, udp6)) check(udp6 == UdpCounters());
    SocketLevels levels;
    parseSocketLevels(text, levels);
    check(levels == SocketLevels() || text.find(':') != text.npos);
    check((!levels.tcp_pages && !levels.udp_pages) || text.find("mem") != text.npos);
    if (parseListenCounters(text)) check(text.find("Listen") != text.npos);
    return 0;
}
