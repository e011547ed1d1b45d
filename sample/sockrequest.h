// Requests of SOCK_DIAG for TCP and UDP sockets.
#pragma once

#include "sample/socktable.h"

#include <cstdint>
#include <string>

inline constexpr uint32_t bitOf(SocketState state) { return uint32_t{1} << static_cast<unsigned>(state); }
// Those that ended and are kept for late packets are counted by the kernel.
inline constexpr uint32_t AllStates = 0xfff & ~bitOf(SocketState::TimeWait);

// For all sockets of a protocol and family in some states.
std::string listRequest(uint8_t protocol, uint8_t family, uint32_t states = AllStates);
// For one socket, in whatever state it is now.
std::string socketRequest(const Socket& socket);
