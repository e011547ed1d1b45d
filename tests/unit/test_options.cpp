// Options of the classic form: what each says and sets, and how they are read.
#include "tests/unit/classicoptions.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

TEST(Options, Defaults) {
    const auto p = parsed({});
    EXPECT_EQ(p.out, "");
    EXPECT_EQ(p.run.interval, 2000000);
    EXPECT_EQ(p.run.lasttimeindex, 2000000000000);
    EXPECT_EQ(p.run.RatioInterval, 0);
    EXPECT_EQ(p.run.CPUThreshold, 1);
    EXPECT_EQ(p.run.TPUThreshold, 1);
    EXPECT_EQ(p.run.RSSThreshold, 262144);
    EXPECT_EQ(p.run.CommandLength, 64);
    EXPECT_EQ(p.run.PortRefLength, 64);
    EXPECT_EQ(p.run.ShowHeader, 1);
    EXPECT_EQ(p.run.ShowFSDelta, 0);
    EXPECT_EQ(p.run.ShowProtocolDelta, 0);
    EXPECT_FALSE(p.run.help);
    for (int rows : {procrowcount, portrowcount, netifrowcount, diskrowcount}) EXPECT_EQ(rows, 0);
    for (int on : {basicSON, processCPU, processIO, processTime, processMemory, ThreadMonitoring}) EXPECT_EQ(on, 1);
    for (int off : {ShowBasic, EachCoreCount, ShowSysInfo, ShowDiskInfo, ShowLVMInfo, ShowProcess, shooting,
                    ProcExistenceLog, AllFDList, AllSocketList, FDMonitoring, netdebug})
        EXPECT_EQ(off, 0);
}

TEST(Options, EveryEcho) {
    static const struct {
        std::vector<std::string> args;
        const char* out;
    } Echoes[] = {
        {{"-e"}, ""},
        {{"-v"}, ""},
        {{"-H"}, "Header Off\n"},
        {{"-a"},
         "Turn on all monitoring items with default value except -S(sockets), -m(delta of protocol statistics), and "
         "-t(delta of filesystem)\n"},
        {{"-b"}, "Basic performance items On\n"},
        {{"-B"}, "Basic performance items On without scan and steal\n"},
        {{"-c", "3"}, "Monitoring count : 3\n"},
        {{"-c", "-1"}, "Monitoring count : 18446744073709551615\n"},
        {{"-c", "many"}, "Monitoring count : 0\n"},
        {{"-c", "99999999999999999999"}, "Monitoring count : 9223372036854775807\n"},
        {{"-s", "3"}, "Monitoring interval : 3 second(s)\n"},
        {{"-s", "2147"}, "Monitoring interval : 2147 second(s)\n"},
        {{"-s", "2148"}, "Monitoring interval : -2146 second(s)\n"}, // 2148000000 does not fit into 31 bits
        {{"-s", "-1"}, "Monitoring interval : -1 second(s)\n"},
        {{"-s", "4294967297"}, "Monitoring interval : 1 second(s)\n"}, // already read as 1
        {{"-i", "250"}, "Monitoring interval : 250 milisecond(s)\n"},
        {{"-i", "2147483"}, "Monitoring interval : 2147483 milisecond(s)\n"},
        {{"-i", "2147484"}, "Monitoring interval : -2147483 milisecond(s)\n"},
        {{"-I", "50"}, ""},
        {{"-V"}, ""},
        {{"-Z"}, ""},
        {{"-C", "1500"}, "Monitoring CPU Usage Threshold : 1.500%\n"},
        {{"-C", "-1"}, "Monitoring CPU Usage Threshold : -0.001%\n"},
        {{"-T", "250"}, "Monitoring CPU Usage Threshold of Thread : 0.250%\n"},
        {{"-T", "1"}, "Monitoring CPU Usage Threshold of Thread : 0.001%\n"},
        {{"-T", "0"}, "Thread monitoring Off\n"},
        {{"-T", "-5"}, "Thread monitoring Off\n"},
        {{"-R", "1024"}, "Monitoring RSS(Memory) Threshold : 1024KB\n"},
        {{"-R", "-1"}, "Monitoring RSS(Memory) Threshold : 18446744073709551615KB\n"},
        {{"-R", "2147483648"}, "Monitoring RSS(Memory) Threshold : 18446744071562067968KB\n"}, // wraps before it widens
        {{"-g", "6139"}, "Command and Arguments Length to diplay : 6139\n"},
        {{"-g", "6140"}, "Command and Arguments Length to diplay : 6140\n"},
        {{"-g", "6141"}, "Command and Arguments Length to diplay : 6140\n"},
        {{"-g", "10000"}, "Command and Arguments Length to diplay : 6140\n"},
        {{"-g", "-3"}, "Command and Arguments Length to diplay : -3\n"},
        {{"-G", "63"}, "Owner process name length of port to diplay : 63(MAX:64)\n"},
        {{"-G", "64"}, "Owner process name length of port to diplay : 64(MAX:64)\n"},
        {{"-G", "100"}, "Owner process name length of port to diplay : 64(MAX:64)\n"},
        {{"-G", "-3"}, "Owner process name length of port to diplay : -3(MAX:64)\n"},
        {{"-p", "5"}, "Process row count is set to 5\n"},
        {{"-p", "1"}, "Process row count is set to 1\n"},
        {{"-p", "0"}, "Process row count is set to 0\nProcess monitoring Off\n"},
        {{"-p", "-1"}, "Process row count is set to -1\nProcess monitoring Off\n"},
        {{"-p", "x"}, "Process row count is set to 0\nProcess monitoring Off\n"},
        {{"-P", "io"}, ""},
        {{"-k", "-p", "1"}, "Process creation/termination log On\nProcess row count is set to 1\n"},
        {{"-f", "-p", "1"},
         "Delta of file position monitoring On and Process name mapping to port queue On\n"
         "Process row count is set to 1\n"},
        {{"-F"}, "All file fd list of processes on\n"},
        {{"-S"}, "All socket list of processes on\n"},
        {{"-o", "5"}, "Port row count is set to 5\n"},
        {{"-o", "0"}, "Port row count is set to 0\nPort monitroing Off\n"},
        {{"-n", "5"}, "Net I/F row count is set to 5\n"},
        {{"-n", "-7"}, "Net I/F row count is set to -7\nNet I/F monitroing Off\n"},
        {{"-d", "5"}, "Disk row count is set to 5\n"},
        {{"-d", "0"}, "Disk row count is set to 0\nDisk monitroing Off\n"},
        {{"-m"}, "Filesystem Delta monitroing On\n"},
        {{"-t"}, "Protocol Statistics Delta monitroing On\n"},
        {{"-r"}, ""},
    };
    for (auto& e : Echoes) {
        const auto p = parsed(e.args);
        EXPECT_EQ(p.out, e.out);
        EXPECT_EQ(p.err, "");
    }
}

TEST(Options, EverySetting) {
    const auto isOn = [](const char* option, const int& setting, int value = 1) {
        parsed({option});
        EXPECT_EQ(setting, value) << option;
    };
    isOn("-e", ShowSysInfo);
    isOn("-v", ShowDiskInfo);
    isOn("-v", ShowLVMInfo);
    isOn("-v", ShowSysInfo, 0);
    isOn("-a", ProcExistenceLog);
    isOn("-a", ShowBasic);
    isOn("-a", FDMonitoring);
    isOn("-a", procrowcount, 24);
    isOn("-a", portrowcount, 4);
    isOn("-a", netifrowcount, 4);
    isOn("-a", diskrowcount, 8);
    isOn("-b", ShowBasic);
    isOn("-b", basicSON);
    isOn("-B", ShowBasic);
    isOn("-B", basicSON, 0);
    isOn("-V", netdebug);
    isOn("-Z", shooting);
    isOn("-k", ProcExistenceLog);
    isOn("-f", FDMonitoring);
    isOn("-F", AllFDList);
    isOn("-F", FDMonitoring);
    isOn("-S", AllSocketList);
    isOn("-S", FDMonitoring);
    isOn("-r", EachCoreCount, 100000);
    EXPECT_EQ(parsed({"-m"}).run.ShowFSDelta, 1);
    EXPECT_EQ(parsed({"-t"}).run.ShowProtocolDelta, 1);
    EXPECT_EQ(parsed({"-H"}).run.ShowHeader, 0);
    EXPECT_EQ(parsed({"-I", "50"}).run.RatioInterval, 50);
    EXPECT_EQ(parsed({"-c", "7"}).run.lasttimeindex, 7);
    EXPECT_EQ(parsed({"-s", "3000"}).run.interval, static_cast<int>(3000000000U));
    EXPECT_EQ(parsed({"-i", "250"}).run.interval, 250000);
    EXPECT_EQ(parsed({"-C", "100"}).run.CPUThreshold, 100);
    EXPECT_EQ(parsed({"-T", "-2"}).run.TPUThreshold, -2);
    EXPECT_EQ(parsed({"-R", "2147483648"}).run.RSSThreshold, -2147483648LL);
    EXPECT_EQ(parsed({"-g", "7000"}).run.CommandLength, 6140);
    EXPECT_EQ(parsed({"-G", "65"}).run.PortRefLength, 64);
}

TEST(Options, RowsAreGivenOnlyWhenNothingWasSaid) {
    const auto rows = [](std::vector<std::string> args) { return parsed(std::move(args)), procrowcount; };
    EXPECT_EQ(rows({"-C", "100"}), 24);
    EXPECT_EQ(rows({"-T", "0"}), 24);
    EXPECT_EQ(rows({"-R", "0"}), 24);
    EXPECT_EQ(rows({"-p", "5", "-C", "100"}), 5);
    EXPECT_EQ(rows({"-C", "100", "-p", "5"}), 5);
    EXPECT_EQ(rows({"-p", "0", "-C", "100"}), 0);
    EXPECT_EQ(rows({"-p", "-1", "-C", "100"}), 24); // -1 counts as not given
    EXPECT_EQ(rows({"-p", "-2", "-C", "100"}), 0);
    EXPECT_EQ(rows({"-a", "-p", "3"}), 3);
    parsed({"-o", "9", "-n", "0", "-d", "-1", "-a"});
    EXPECT_EQ(procrowcount, 24);
    EXPECT_EQ(portrowcount, 9);
    EXPECT_EQ(netifrowcount, 0);
    EXPECT_EQ(diskrowcount, 8);
}

TEST(Options, LaterOnesWin) {
    EXPECT_EQ(parsed({"-c", "1", "-c", "2"}).run.lasttimeindex, 2);
    EXPECT_EQ(parsed({"-s", "5", "-i", "250"}).run.interval, 250000);
    EXPECT_EQ(parsed({"-i", "250", "-s", "5"}).run.interval, 5000000);
    parsed({"-B", "-b"});
    EXPECT_EQ(basicSON, 0); // -b does not bring the columns back
}

TEST(Options, FormatOfProcessRows) {
    const auto shown = [](const char* list) {
        parsed({"-P", list});
        return std::vector{processIO, processTime, processMemory, ShowProcess, processCPU};
    };
    using Shown = std::vector<int>;
    EXPECT_EQ(shown("io,time,mem"), (Shown{1, 1, 1, 0, 1}));
    EXPECT_EQ(shown("mem,io"), (Shown{1, 0, 1, 0, 1}));
    EXPECT_EQ(shown("time"), (Shown{0, 1, 0, 0, 1}));
    EXPECT_EQ(shown("none"), (Shown{0, 0, 0, 0, 1}));
    EXPECT_EQ(shown(""), (Shown{0, 0, 0, 0, 1}));
    EXPECT_EQ(shown("ps"), (Shown{0, 0, 0, 1, 1}));
    EXPECT_EQ(shown("ps,time,mem"), (Shown{0, 1, 1, 1, 1}));
    EXPECT_EQ(shown("xmemiopsy"), (Shown{1, 0, 1, 1, 1})); // wherever they are
    EXPECT_EQ(shown("IO"), (Shown{0, 0, 0, 0, 1}));
    parsed({"-P", "ps", "-P", "io"});
    EXPECT_EQ(ShowProcess, 1); // never switched off again
}

TEST(Options, HelpActsAtOnce) {
    auto p = parsed({"-b", "-h", "-B", "-k"});
    EXPECT_TRUE(p.run.help);
    EXPECT_EQ(p.out, "Basic performance items On\n");
    EXPECT_EQ(basicSON, 1);
    EXPECT_EQ(procrowcount, -1); // nothing is implied any more
    p = parsed({"-Hhb"});
    EXPECT_EQ(p.out, "Header Off\n");
    EXPECT_TRUE(p.run.help);
}

TEST(Options, ReadAsTheCLibraryReadsThem) {
    // Several letters in one word, an argument attached or as a word of its own.
    auto p = parsed({"-bc7", "-HZp", "5"});
    EXPECT_EQ(p.out, "Basic performance items On\nMonitoring count : 7\nHeader Off\nProcess row count is set to 5\n");
    EXPECT_EQ(shooting, 1);
    // Words that are no options are ignored, wherever they are.
    p = parsed({"word", "-b", "5", "-c", "2", "more"});
    EXPECT_EQ(p.run.lasttimeindex, 2);
    EXPECT_EQ(ShowBasic, 1);
    EXPECT_EQ(p.err, "");
    // Nothing after "--" is an option.
    p = parsed({"-b", "--", "-Z", "-c", "1"});
    EXPECT_EQ(shooting, 0);
    EXPECT_EQ(p.run.lasttimeindex, 2000000000000);
    // An argument may look like an option.
    p = parsed({"-c", "-b"});
    EXPECT_EQ(p.out, "Monitoring count : 0\n");
    EXPECT_EQ(ShowBasic, 0);
    // getopt itself reports an unknown option, and the rest is read.
    p = parsed({"-x", "-b"});
    EXPECT_EQ(p.err, "wyrt: invalid option -- 'x'\n");
    EXPECT_EQ(p.out, "Basic performance items On\n");
    p = parsed({"-xyb", "-?"});
    EXPECT_EQ(p.err, "wyrt: invalid option -- 'x'\nwyrt: invalid option -- 'y'\nwyrt: invalid option -- '?'\n");
    EXPECT_EQ(ShowBasic, 1);
    p = parsed({"-b", "-c"});
    EXPECT_EQ(p.err, "wyrt: option requires an argument -- 'c'\n");
    EXPECT_EQ(p.run.lasttimeindex, 2000000000000);
    p = parsed({"--help"});
    EXPECT_EQ(p.err.substr(0, 28), "wyrt: invalid option -- '-'\n");
    EXPECT_TRUE(p.run.help); // the letters h, e, l and p are read one by one
}
