// Shared by the parts of the process report. Its two calls of each pass are in classic/monitor/reports.h.
#pragma once

#include "base/door.h"
#include "classic/collect/port.h"
#include "classic/collect/proc.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// A process that both samples have, with its rates per second.
struct TTop {
    const TProc* cur = nullptr; // in the current slot
    const TProc* pre = nullptr; // in the previous slot
    TCounters rates;
};

// The two samples and the result. Kept from the collecting call to the printing call, and from pass to pass.
struct TProcReport {
    TProcTable buf[2];
    std::vector<TTop> top;           // in pid order
    std::vector<const TTop*> ranked; // busiest first
    int topbufcount = 0;             // the limit of `top`
    TProcTotals totals;
    double totalrsyscall = 0, totalwsyscall = 0; // calls per second of all ranked processes
};

// The arguments of the printing call.
struct TProcView {
    int CallingIndex;
    int CPUThreshold, TPUThreshold; // 0.001 % of a core
    int64_t RSSThreshold;           // KB
    int CommandLength;              // characters
    TProcTable& cur;
    TProcTable& pre;
};

// A command line, cut for a column.
struct TCommand {
    std::string_view text;
    std::string_view dots; // follow a text that was cut
};
// At most `length` characters of the command line. The short name, if there is no command line or `length` is below 1.
TCommand getCommand(const TProcTable& table, const TProc& p, int length);

void dispProcTable(TProcReport& report, const TProcView& view);
void dispProcRecords(const TProcReport& report, const TProcView& view);

// The open files that moved and the sockets of a ranked process. Their lines count as process rows.
void dispDescriptors(const TTop& top, const TProcView& view, int& lines);
void dispDescriptorRecords(const TTop& top, const TProcView& view);
void dispDescriptorHeader();

// A socket's queues ("Port 0/0"), addresses and state; `none` if the socket table does not have it.
std::string_view getPortText(const TFDInfo& fd, const char* queues, std::string_view none, Text<160>& text);

// Prints a line for a process that started ('C') or ended ('T') between the samples.
const TProc* ExtraProcInfo(const TProcTable& table, const TProc* p, char CreatedOrTerminated);

// The application's description of one of its threads. Empty if there is none, or if it is older than the thread.
Text<64> getDescription(int32_t pid, int32_t threadid, int64_t STime);
// The description, and the time at which it was written (seconds since the epoch), from the text of its file.
Text<64> readDescription(std::string_view fileText, int64_t STime);
int32_t readDescriptionTime(std::string_view fileText);
// Deletes the description files of processes that have ended.
void cleanDescriptions(const TProcTable& table);
