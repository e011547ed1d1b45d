// The command line: the option table and the settings it fills. The switches that collectors obey are in
// classic/collect/settings.h.
#pragma once

#include "classic/collect/settings.h"

#include <cstdint>
#include <span>
#include <string_view>

constexpr const char* Version = "1.1.12";

// Rows of a report; 0 or less switches it off. -1: not given on the command line.
extern int procrowcount;
extern int portrowcount;
extern int netifrowcount;
extern int diskrowcount;

extern int ShowBasic;        // 1: system-wide figures
extern int basicSON;         // 1: with the scan and steal columns
extern int EachCoreCount;    // most core rows; 0: none
extern int ShowSysInfo;      // 1: the environment was asked for
extern int ShowDiskInfo;     // how the volume map is printed: 0 not, 1 as a listing, 2 as records
extern int ShowLVMInfo;      // 1: the volume map was asked for
extern int ShowProcess;      // 1: all processes are listed at start-up
extern int shooting;         // 1: log saving mode, records instead of tables
extern int ProcExistenceLog; // 1: created and terminated processes are printed
extern int AllFDList;        // 1: all open files are listed
extern int AllSocketList;    // 1: all sockets are listed
extern int processCPU;       // 1: this group of columns is shown (also the next three)
extern int processIO;
extern int processTime;
extern int processMemory;

// The settings of the loop.
struct TRun {
    int interval = 2000000;                // pause between passes, microseconds
    int64_t lasttimeindex = 2000000000000; // intervals to report; the default means no end
    int RatioInterval = 0;                 // share of the wall time that sampling may take, percent; 0: fixed pause
    int CPUThreshold = 1;                  // 0.001 % of a core
    int TPUThreshold = 1;                  // the same for threads; below 1: no threads
    int64_t RSSThreshold = 262144;         // KB
    int CommandLength = 64;                // characters
    int PortRefLength = 64;                // characters
    int ShowHeader = 1;                    // 1: separator and TIME line
    int ShowFSDelta = 0;                   // 1: changes of filesystems
    int ShowProtocolDelta = 0;             // 1: changes of protocol counters
    bool help = false;                     // the usage text was asked for, and nothing else is done
};

// One option. `set` gets the argument, empty without one.
struct TOption {
    char letter;
    const char* argument; // name of its argument; null: it has none
    void (*set)(TRun& run, const char* argument);
};
extern const std::span<const TOption> Options;

// Reads the command line, echoing what it sets, and applies what options imply for each other. Numbers are read as far
// as they go. For an unknown letter the C library prints a message; the letter is ignored.
TRun getOptions(int argc, char** argv);

// The text of -h. In it %s is the program's name and %% a percent sign. A percent sign before any other character is
// printed as it is.
extern const std::string_view UsageText;
void dispUsage(const char* program);
