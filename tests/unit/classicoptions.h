// The settings of a command line of the classic form.
#pragma once

#include "classic/monitor/options.h"
#include "tests/unit/made.h"

#include <string>
#include <vector>

inline void resetSettings() {
    procrowcount = portrowcount = netifrowcount = diskrowcount = -1;
    ShowBasic = EachCoreCount = ShowSysInfo = ShowDiskInfo = ShowLVMInfo = ShowProcess = shooting = 0;
    ProcExistenceLog = AllFDList = AllSocketList = ThreadMonitoring = FDMonitoring = netdebug = 0;
    basicSON = processCPU = processIO = processTime = processMemory = 1;
    optind = 0; // makes the C library start again
}

// The settings of a command line and the lines that it prints.
struct TParsed {
    TRun run;
    std::string out, err;
};

inline TParsed parsed(std::vector<std::string> args) {
    resetSettings();
    args.insert(args.begin(), "wyrt");
    std::vector<char*> argv;
    for (auto& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    TParsed result;
    result.err = printed(
        [&] { result.out = printed([&] { result.run = getOptions(static_cast<int>(args.size()), argv.data()); }); },
        STDERR_FILENO);
    return result;
}

inline std::string echo(const std::vector<std::string>& args) { return parsed(args).out; }
