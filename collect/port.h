// The kernel's IPv4 TCP and UDP socket tables and the processes that own each socket.
#pragma once

#include "collect/text.h"

#include <cstdint>
#include <string_view>
#include <vector>

struct TProcTable;

// One row of /proc/net/tcp or udp.
struct TPortInfo {
    int sl = 0;   // slot number in the kernel's table
    Text<16> loc; // local address, dotted decimal
    int loc_port = 0;
    Text<16> rem; // remote address
    int rem_port = 0;
    Text<3> st;           // state as the kernel prints it, two hexadecimal digits
    int status = 0;       // TCP state 1 to 11; 0: not applicable
    int txq = 0, rxq = 0; // queue lengths, bytes
    unsigned retrnsmt = 0;
    int uid = 0;
    int timeout = 0;
    int64_t inode = 0;      // 0 for sockets without one
    char protocol = 'T';    // 'T' TCP, 'U' UDP
    int refcount = 0;       // owners found, 0 to 16
    int procindex[16] = {}; // of each owner: its process in the process table
    int fdindex[16] = {};   // and the descriptor within that process
    Text<1024> ref;         // the owners as text
};

// What a socket row's index means to others: the table of the last collection.
struct TPortTable {
    std::vector<TPortInfo> rows;
    int statuscount[12] = {}; // TCP rows by state; 0: none of 1 to 11
};

// Reads both tables and finds the owners among the processes (null: none are known). Owner texts have at most `reflen`
// characters or so; 0 switches the search off. Descriptors that are sockets of the table get its row number in
// `portinfo`. Pass 0 forgets the table first; otherwise rows that stand where they stood keep their owners. Returns the
// row count.
int getportinfo(int CallingIndex, TPortTable& table, TProcTable* processes, int reflen);

// The value of the hexadecimal digits at the start of a text; 0 when nothing follows them. See the quirk at its
// definition.
unsigned ToUINT(std::string_view src);
