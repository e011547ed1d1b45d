// Who has a socket, and what its ends are called.
#pragma once

#include "record/sock.h"
#include "sample/proc.h"
#include "sample/sock.h"

#include <cstdint>
#include <string>

#include <sys/socket.h>

// None: it is not among the processes.
const Process* processOf(const ProcSample& processes, uint32_t pid);
// pid 0: nobody is known to have it. `owners`: how many processes have it. `inferred`: the owner was not seen with it.
void setOwner(const ProcSample& processes, uint32_t pid, uint16_t owners, bool inferred, SocketOwner& row);
// "http"; empty: the port has no name.
std::string serviceOf(const SockSample& sample, const Socket& socket, uint16_t port);
inline uint64_t familyOf(const Socket& socket) { return socket.family == AF_INET ? 4 : 6; }
