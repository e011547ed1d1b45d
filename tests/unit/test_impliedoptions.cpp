// What options of the classic form switch on or off besides.
#include "tests/unit/classicoptions.h"

#include <string>

#include <gtest/gtest.h>

static const char* const ImpliedByF = "-p is set to 24(default) because -f is used.\n";
static const char* const ImpliedByK = "-p is set to 24(default) because -k is used.\n";

TEST(Options, FilesAndLogNeedProcesses) {
    EXPECT_EQ(echo({"-p", "0", "-f"}),
              std::string("Process row count is set to 0\nProcess monitoring Off\n"
                          "Delta of file position monitoring On and Process name mapping to port queue On\n") +
                  ImpliedByF);
    EXPECT_EQ(procrowcount, 24);
    EXPECT_EQ(echo({"-k"}), std::string("Process creation/termination log On\n") + ImpliedByK);
    EXPECT_EQ(procrowcount, 24);
    // The first rule has set the rows already.
    EXPECT_EQ(echo({"-k", "-f"}),
              std::string("Process creation/termination log On\nDelta of file position monitoring On and Process name "
                          "mapping to port queue On\n") +
                  ImpliedByF);
    // A listing does not switch the report on.
    EXPECT_EQ(echo({"-F"}), "All file fd list of processes on\n");
    EXPECT_EQ(procrowcount, 0);
    EXPECT_EQ(echo({"-S", "-f"}), "All socket list of processes on\n"
                                  "Delta of file position monitoring On and Process name mapping to port queue On\n");
    EXPECT_EQ(procrowcount, 0);
    EXPECT_EQ(echo({"-S", "-k"}),
              std::string("All socket list of processes on\nProcess creation/termination log On\n") + ImpliedByK);
    EXPECT_EQ(procrowcount, 24);
    // Records have no log of processes.
    EXPECT_EQ(echo({"-k", "-Z"}), "Process creation/termination log On\n");
    EXPECT_EQ(ProcExistenceLog, 0);
    EXPECT_EQ(procrowcount, 0);
    EXPECT_EQ(echo({"-a", "-p", "0"}),
              std::string("Turn on all monitoring items with default value except -S(sockets), -m(delta of protocol "
                          "statistics), and -t(delta of filesystem)\n"
                          "Process row count is set to 0\nProcess monitoring Off\n") +
                  ImpliedByF);
}

TEST(Options, ThreadsFollowTheirThreshold) {
    for (auto& [value, on] : {std::pair{"1", 1}, {"0", 0}, {"-1", 0}, {"x", 0}, {"4294967296", 0}}) {
        parsed({"-T", value});
        EXPECT_EQ(ThreadMonitoring, on) << value;
    }
}
