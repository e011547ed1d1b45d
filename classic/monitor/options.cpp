#include "classic/monitor/options.h"

#include "base/output.h"
#include "base/words.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <unistd.h>

int procrowcount = -1;
int portrowcount = -1;
int netifrowcount = -1;
int diskrowcount = -1;

int ShowBasic = 0;
int basicSON = 1;
int EachCoreCount = 0;
int ShowSysInfo = 0;
int ShowDiskInfo = 0;
int ShowLVMInfo = 0;
int ShowProcess = 0;
int shooting = 0;
int ProcExistenceLog = 0;
int AllFDList = 0;
int AllSocketList = 0;
int processCPU = 1;
int processIO = 1;
int processTime = 1;
int processMemory = 1;

static constexpr int Unset = -1;
static constexpr int MostCommandLength = 6140; // a command line is kept up to 6143 characters
static constexpr int MostPortRefLength = 64;
static constexpr int AllCores = 100000;

// Quirk: a row count of -1 that was given counts as not given. Seen by tests/unit/test_options.cpp.
static void defaultTo(int& rows, int count) {
    if (rows == Unset) rows = count;
}

// Quirk: the product has 32 bits, so a pause that does not fit wraps without a message. Seen by
// tests/worlds/frame-interval-wrap.
static int wrapped(int value, unsigned factor) { return static_cast<int>(static_cast<unsigned>(value) * factor); }

static void setRows(int& rows, const char* argument, const char* what, const char* off) {
    rows = toInt(std::string_view(argument));
    say("%s row count is set to %d\n", what, rows);
    if (rows < 1) sayText(off);
}

// --- Functions for the options that do more than set a switch

static void setAll(TRun&, const char*) {
    ProcExistenceLog = ShowBasic = FDMonitoring = 1;
    defaultTo(procrowcount, 24);
    defaultTo(portrowcount, 4);
    defaultTo(netifrowcount, 4);
    defaultTo(diskrowcount, 8);
    // Quirk: this line describes -m as -t and -t as -m. Seen by tests/worlds/options-all.
    sayText("Turn on all monitoring items with default value except -S(sockets), -m(delta of protocol statistics), "
            "and -t(delta of filesystem)\n");
}

static void setCount(TRun& run, const char* argument) {
    run.lasttimeindex = toLong(std::string_view(argument));
    // Quirk: printed as unsigned, compared as signed: -1 ends the run after the first pass. Seen by
    // tests/worlds/frame-count-negative.
    say("Monitoring count : %llu\n", static_cast<unsigned long long>(run.lasttimeindex));
}

static void setSeconds(TRun& run, const char* argument) {
    run.interval = wrapped(toInt(std::string_view(argument)), 1000000);
    say("Monitoring interval : %d second(s)\n", run.interval / 1000000);
}

static void setMilliseconds(TRun& run, const char* argument) {
    run.interval = wrapped(toInt(std::string_view(argument)), 1000);
    say("Monitoring interval : %d milisecond(s)\n", run.interval / 1000);
}

static void setCPUThreshold(TRun& run, const char* argument) {
    run.CPUThreshold = toInt(std::string_view(argument));
    defaultTo(procrowcount, 24);
    say("Monitoring CPU Usage Threshold : %.3f%%\n", run.CPUThreshold / 1000.0);
}

static void setTPUThreshold(TRun& run, const char* argument) {
    run.TPUThreshold = toInt(std::string_view(argument));
    defaultTo(procrowcount, 24);
    if (run.TPUThreshold > 0) say("Monitoring CPU Usage Threshold of Thread : %.3f%%\n", run.TPUThreshold / 1000.0);
    else sayText("Thread monitoring Off\n");
}

static void setRSSThreshold(TRun& run, const char* argument) {
    // Quirk: cut to 32 bits before it is stored in 64. Seen by tests/worlds/options-cut-numbers.
    run.RSSThreshold = toInt(std::string_view(argument));
    defaultTo(procrowcount, 24);
    say("Monitoring RSS(Memory) Threshold : %lluKB\n", static_cast<unsigned long long>(run.RSSThreshold));
}

static void setCommandLength(TRun& run, const char* argument) {
    run.CommandLength = std::min(toInt(std::string_view(argument)), MostCommandLength);
    say("Command and Arguments Length to diplay : %d\n", run.CommandLength);
}

static void setPortRefLength(TRun& run, const char* argument) {
    run.PortRefLength = std::min(toInt(std::string_view(argument)), MostPortRefLength);
    say("Owner process name length of port to diplay : %d(MAX:64)\n", run.PortRefLength);
}

// -P: a list of words, each found anywhere in the argument.
static void setProcessFormat(TRun&, const char* argument) {
    const std::string_view list = argument;
    const auto has = [&](std::string_view name) { return list.find(name) != list.npos ? 1 : 0; };
    processIO = has("io");
    processTime = has("time");
    processMemory = has("mem");
    if (has("ps")) ShowProcess = 1;
}

// --- The table

static constexpr TOption Table[] = {
    {'h', nullptr, [](TRun& run, const char*) { run.help = true; }},
    {'e', nullptr, [](TRun&, const char*) { ShowSysInfo = 1; }},
    {'v', nullptr, [](TRun&, const char*) { ShowDiskInfo = ShowLVMInfo = 1; }},
    {'H', nullptr, [](TRun& run, const char*) { run.ShowHeader = 0, sayText("Header Off\n"); }},
    {'a', nullptr, setAll},
    // Quirk: does not bring back the columns that -B removed. Seen by tests/worlds/options-echoes.
    {'b', nullptr, [](TRun&, const char*) { ShowBasic = 1, sayText("Basic performance items On\n"); }},
    {'B', nullptr,
     [](TRun&, const char*) {
         ShowBasic = 1, basicSON = 0;
         sayText("Basic performance items On without scan and steal\n");
     }},
    {'c', "count", setCount},
    {'s', "seconds", setSeconds},
    {'i', "milliseconds", setMilliseconds},
    {'I', "percent", [](TRun& run, const char* argument) { run.RatioInterval = toInt(std::string_view(argument)); }},
    {'V', nullptr, [](TRun&, const char*) { netdebug = 1; }},
    {'Z', nullptr, [](TRun&, const char*) { shooting = 1; }},
    {'C', "threshold", setCPUThreshold},
    {'T', "threshold", setTPUThreshold},
    {'R', "KB", setRSSThreshold},
    {'g', "length", setCommandLength},
    {'G', "length", setPortRefLength},
    {'p', "rows",
     [](TRun&, const char* argument) { setRows(procrowcount, argument, "Process", "Process monitoring Off\n"); }},
    {'P', "list", setProcessFormat},
    {'k', nullptr, [](TRun&, const char*) { ProcExistenceLog = 1, sayText("Process creation/termination log On\n"); }},
    {'f', nullptr,
     [](TRun&, const char*) {
         FDMonitoring = 1;
         sayText("Delta of file position monitoring On and Process name mapping to port queue On\n");
     }},
    {'F', nullptr,
     [](TRun&, const char*) { AllFDList = FDMonitoring = 1, sayText("All file fd list of processes on\n"); }},
    {'S', nullptr, [](TRun&, const char*) { AllSocketList = 1, sayText("All socket list of processes on\n"); }},
    {'o', "rows",
     [](TRun&, const char* argument) { setRows(portrowcount, argument, "Port", "Port monitroing Off\n"); }},
    {'n', "rows",
     [](TRun&, const char* argument) { setRows(netifrowcount, argument, "Net I/F", "Net I/F monitroing Off\n"); }},
    {'d', "rows",
     [](TRun&, const char* argument) { setRows(diskrowcount, argument, "Disk", "Disk monitroing Off\n"); }},
    {'m', nullptr, [](TRun& run, const char*) { run.ShowFSDelta = 1, sayText("Filesystem Delta monitroing On\n"); }},
    {'t', nullptr,
     [](TRun& run, const char*) { run.ShowProtocolDelta = 1, sayText("Protocol Statistics Delta monitroing On\n"); }},
    {'r', nullptr, [](TRun&, const char*) { EachCoreCount = AllCores; }},
};
const std::span<const TOption> Options = Table;

static std::string getOptionString() {
    std::string letters;
    for (auto& option : Table) {
        letters += option.letter;
        if (option.argument) letters += ':';
    }
    return letters;
}

// Applies what options imply for other options, after all of them are read.
static void applyImplied(const TRun& run) {
    // Quirk: -Z switches -k off before it can imply -p 24: created and terminated processes are for readers of tables.
    // Seen by tests/worlds/options-log-in-records.
    if (shooting) ProcExistenceLog = 0;
    if (AllFDList || AllSocketList) FDMonitoring = 1;
    ThreadMonitoring = run.TPUThreshold > 0 ? 1 : 0;
    for (int* rows : {&procrowcount, &portrowcount, &netifrowcount, &diskrowcount}) *rows = std::max(*rows, 0);
    if (FDMonitoring && !AllFDList && !AllSocketList && procrowcount == 0) {
        procrowcount = 24;
        sayText("-p is set to 24(default) because -f is used.\n");
    }
    if (ProcExistenceLog && procrowcount == 0) {
        procrowcount = 24;
        sayText("-p is set to 24(default) because -k is used.\n");
    }
}

TRun getOptions(int argc, char** argv) {
    TRun run;
    const std::string letters = getOptionString();
    for (int letter; !run.help && (letter = getopt(argc, argv, letters.c_str())) != -1;)
        for (auto& option : Table)
            if (option.letter == letter) option.set(run, option.argument ? optarg : "");
    if (!run.help) applyImplied(run);
    return run;
}
