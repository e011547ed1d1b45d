// The parts of the port report that other reports use.
#pragma once

#include "classic/collect/port.h"

// The name of a socket's state: "LISTEN", "N/A(0x0C)", "UDP(0x07)".
Text<32> getportstatus(int status, char tcpudptype, std::string_view st);

// The socket rows of the last port report.
const TPortTable& currentPorts();
