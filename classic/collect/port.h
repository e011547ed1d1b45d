// The kernel's IPv4 TCP and UDP socket tables and the processes that own each socket.
#pragma once

#include "base/text.h"
#include "classic/collect/proc.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// An owner of a socket: a process of the process table and the descriptor within that process's list.
struct TOwner {
    int procindex = 0;
    int fdindex = 0;
};

// One row of /proc/net/tcp or udp.
struct TPortInfo {
    int sl = 0;   // slot number in the kernel's table
    Text<24> loc; // local address, dotted decimal; longer than 15 characters only if the digits are no address
    int loc_port = 0;
    Text<24> rem; // remote address
    int rem_port = 0;
    Text<3> st;           // state as the kernel prints it, two hexadecimal digits
    int status = 0;       // TCP state 1 to 11; 0: not applicable
    int txq = 0, rxq = 0; // queue lengths, bytes
    unsigned retrnsmt = 0;
    int uid = 0;
    int timeout = 0;
    int64_t inode = 0;   // 0 for sockets without one
    char protocol = 'T'; // 'T' TCP, 'U' UDP
    TRange owners;       // in the table's owners, at most 16
    TRange ref;          // the owners as text, in the table's texts
    int refcount() const { return static_cast<int>(owners.count); }
};

// The rows of the last collection. Owners and their texts are in pools, because most sockets have one owner and a short
// text. There are two pools of each, which take turns: unchanged rows copy theirs from the pool of the previous pass.
struct TPortTable {
    std::vector<TPortInfo> rows;
    int statuscount[12] = {}; // TCP rows by state; 0: none of 1 to 11
    std::vector<TOwner> owners, ownersBefore;
    std::string texts, textsBefore;

    std::span<const TOwner> ownersOf(const TPortInfo& row) const {
        return std::span(owners).subspan(row.owners.first, row.owners.count);
    }
    std::string_view ref(const TPortInfo& row) const {
        return std::string_view(texts).substr(row.ref.first, row.ref.count);
    }
};

// Reads both tables and finds the owners among the processes (null: there is no process table). `reflen` limits the
// length of owner texts, which can exceed it by a few characters; 0 switches the search off. A descriptor that is a
// socket of the table gets the socket's row number in `portinfo`. Pass 0 empties the table first; otherwise a socket
// that is still in the same row keeps its owners. Returns the number of rows.
int getportinfo(int CallingIndex, TPortTable& table, TProcTable* processes, int reflen);
// The same from the texts of both tables; it never empties the table.
int getportrows(std::string_view tcp, std::string_view udp, TPortTable& table, TProcTable* processes, int reflen);

// Parses a line of a socket table; the row's owners stay. False, and nothing set, for a line that is too short.
bool getportline(std::string_view line, char protocol, TPortInfo& row);

// Hexadecimal digits, two a byte, as dotted decimal in reverse order: "0100007F" is 127.0.0.1.
Text<24> ToAddr(std::string_view digits);
