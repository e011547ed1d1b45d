// Parses the texts of the files below /proc/PID. It opens no file.
#pragma once

#include "base/door.h"
#include "classic/collect/proc.h"

#include <cstdint>
#include <string>
#include <string_view>

// Whether an entry of /proc is a process, or one of /proc/PID/task a thread.
inline bool isNumbered(const Directory::Entry& entry) {
    return entry.inode != 0 && entry.name[0] >= '0' && entry.name[0] <= '9';
}

// Lines are read in pieces of at most this many bytes, the terminator included.
constexpr size_t ProcLineLimit = 512;     // stat
constexpr size_t CommandLineLimit = 6144; // cmdline, of which only the first line is read
constexpr size_t DestinationLimit = 4096; // link target of a descriptor

// The fields of a stat file's line:
// "2071 (cron) S 1 2071 2071 0 -1 1077936192 1043 22805 1 27 3 4 38 12 20 0 1 0 1234 9113600 684 ..."
// Quirk: the line is split at every blank, also at those inside the command name, which shift the later fields. Seen by
// tests/worlds/proc-name-blanks.
class TStatLine {
    static constexpr size_t Most = 60;
    std::string_view fields[Most];
    int found;

public:
    explicit TStatLine(std::string_view fileText);
    int count() const { return found; } // at least 1
    // By their numbers in the kernel's documentation, from 1. Those beyond count() are empty.
    std::string_view text(int n) const { return fields[n - 1]; }
    int64_t number(int n) const;
    char letter(int n) const { return text(n).empty() ? '\0' : text(n)[0]; }
    // The text between the brackets, when it has no blanks.
    std::string_view command() const;
    // Start of the process or thread, seconds since the epoch.
    int64_t startTime() const;
    void getCounters(TCounters& counters) const;
};

// Sets the fields that come from the stat file; false when the line has too few of them.
bool getStat(const TStatLine& line, TProc& p);
// A thread's line must be one field longer.
bool getThreadStat(const TStatLine& line, TThreadInfo& t);

// "VmRSS:     2736 kB" and the like; overwrites what stat gave.
void getStatus(std::string_view fileText, TProc& p);

// "rchar: 323934931" and the like; counters that are missing are 0.
void getIO(std::string_view fileText, TCounters& counters);

// Appends the command line, its arguments separated by single blanks, and returns its place in `texts`.
TRange getCommandLine(std::string_view fileText, std::string& texts);

// "pos:\t1024" and "flags:\t0100002".
void getFDInfo(std::string_view fileText, TFDInfo& fd);

// "socket:[4711]", "pipe:[99]", "anon_inode:[eventpoll]", "/dev/null": sets type and inode.
void getFDType(std::string_view dest, TFDInfo& fd);
