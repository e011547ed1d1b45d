// What can be told of a socket by its counters and queues alone.
#pragma once

#include "parse/netcounters.h"
#include "sample/socktable.h"

// Whether something is in its queues. The send queue of a listener is a limit.
bool holds(const Socket& socket);

// Of a peer's address and port.
uint64_t digestOf(const SocketEnds& ends);

// The counters that the kernel gives; those that it does not give are as before.
SocketCounters countersOf(const InetSocket& from, const SocketCounters& before);
// Where the reader stands: what was received less what is still queued.
uint64_t positionOf(const SocketCounters& counters, uint32_t queue);
// Both ways.
uint64_t segmentsBetween(const SocketCounters& before, const SocketCounters& after);
// The counters are those of another socket.
bool fell(const SocketCounters& before, const SocketCounters& after);
// Both ways, with those that were sent again.
uint64_t segmentsOf(const TcpCounters& tcp);
