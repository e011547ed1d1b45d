// Processes, their threads and their open descriptors: /proc/PID and what is below it.
#pragma once

#include "base/text.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The part of a table's pool that belongs to one process: its rows or bytes.
struct TRange {
    uint32_t first = 0;
    uint32_t count = 0;
};

// One open descriptor of one process.
struct TFDInfo {
    int64_t fd = 0;
    int64_t inode = 0;     // of a socket or pipe, else 0
    int64_t pos = 0;       // file position, bytes; 0 where it cannot be read
    int32_t flags = 0;     // open flags: hexadecimal digits that look like the kernel's octal ones
    int32_t fdtype = 0;    // 0 file or anything else, 1 socket, 2 pipe, 3 anonymous inode, as in FDLink::Kind
    TRange dest;           // link target in the table's texts, at most 4095 bytes
    int32_t portinfo = -1; // row of the socket table that this socket is, -1: none
};

// The counters of a process or thread since its start; as the result of two samples, the change per second.
struct TCounters {
    double usr = 0, sys = 0;           // clock ticks
    double majfault = 0, minfault = 0; // page faults that read from storage, that did not
    double rchar = 0, wchar = 0;       // bytes through read and write calls
    double syscr = 0, syscw = 0;       // calls
    double rbytes = 0, wbytes = 0;     // bytes from and to storage
};

// One thread.
struct TThreadInfo : TCounters {
    int32_t pid = 0; // of its process
    int32_t threadid = 0;
    char status = 0;
    int64_t STime = 0; // start, seconds since the epoch
};

// One process. Memory in KB.
struct TProc : TCounters {
    int32_t pid = 0;
    char status = 0;
    int32_t ppid = 0;
    int32_t uid = 0;
    double VmSize = 0, VmPin = 0, VmRSS = 0, VmData = 0, VmStack = 0, VmLib = 0, VmSwap = 0;
    int32_t threadcnt = 0;
    int64_t STime = 0; // start, seconds since the epoch
    Text<16> user;
    Text<64> cmd;      // command name
    TRange arg;        // command line in the table's texts, at most 6143 bytes
    TRange curthrdbuf; // its threads in the table's threads
    TRange fdinfo;     // its descriptors in the table's descriptors
};

// The counts over all processes of one scan.
struct TProcTotals {
    int TotalThreadCount = 0, AllocatedThreadBuf = 0, SocketCount = 0, PipeCount = 0, ANONCount = 0, FileCount = 0;
};

// One sample of all processes, sorted by pid. Texts, descriptors and threads lie in pools that keep their room from
// sample to sample, so that a steady machine allocates nothing.
struct TProcTable {
    std::vector<TProc> procs; // at most `capacity`
    int capacity = 0;         // how many processes this table takes (bufcount)
    int proccount = 0;        // how many the last scan found; may exceed the capacity
    std::vector<TFDInfo> fds;
    std::vector<TThreadInfo> threads;
    std::string texts;

    std::string_view text(TRange range) const { return std::string_view(texts).substr(range.first, range.count); }
    std::string_view arg(const TProc& p) const { return text(p.arg); }
    int arglen(const TProc& p) const { return static_cast<int>(p.arg.count); }
    std::string_view dest(const TFDInfo& fd) const { return text(fd.dest); }
    std::span<TFDInfo> fdinfo(const TProc& p) { return std::span(fds).subspan(p.fdinfo.first, p.fdinfo.count); }
    std::span<const TFDInfo> fdinfo(const TProc& p) const {
        return std::span(fds).subspan(p.fdinfo.first, p.fdinfo.count);
    }
    std::span<TThreadInfo> curthrdbuf(const TProc& p) {
        return std::span(threads).subspan(p.curthrdbuf.first, p.curthrdbuf.count);
    }
};

// Fills the table with the processes of this moment, at most `capacity` of them, and returns how many there are: when
// that is more, the caller enlarges the capacity and calls again. A file that cannot be read gives a message, and the
// scan goes on.
int getproclist(TProcTable& table, TProcTotals& totals);

// Appends the threads of process `pid` to those of the table. Returns how many there are; AllocatedThreadBuf grows by
// one when there are any.
int getthreadlist(int32_t pid, TProcTable& table, int& AllocatedThreadBuf);

// The change per second between two samples; all 0 when no time has passed.
void getProcRates(const TCounters& now, const TCounters& before, double seconds, TCounters& rates);

// The account name of a user id, at most 15 characters, "N/A(uid)" without an account; stays valid for the whole run.
const char* getuser(int32_t uid);

// The inode number of a file, or the negative errno.
int64_t getinode(const char* filename);
