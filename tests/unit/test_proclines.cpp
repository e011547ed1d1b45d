// The other files of /proc/PID as the classic form reads them: status, io, cmdline, fdinfo and the targets of links.
#include "classic/collect/proclines.h"
#include "tests/unit/made.h"
#include "tests/unit/proctable.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

// --- status, io

TEST_F(Processes, StatusLines) {
    const Made machine("user 1000 alice\n");
    TProc p;
    getStatus("Name:\tx\nVmSize:\t  10 kB\nVmPin: 20 kB\nVmRSS:\t30 kB\nVmData:\t40\nVmStk:50\nVmLib:\t60 "
              "kB\nVmSwap:\t70 kB\n"
              "Threads:\t8\nUid:\t1000\t0\t0\t0\n",
              p);
    EXPECT_EQ(p.VmSize, 10);
    EXPECT_EQ(p.VmPin, 20);
    EXPECT_EQ(p.VmRSS, 30);
    EXPECT_EQ(p.VmData, 40);
    EXPECT_EQ(p.VmStack, 50);
    EXPECT_EQ(p.VmLib, 60);
    EXPECT_EQ(p.VmSwap, 70);
    EXPECT_EQ(p.threadcnt, 8);
    EXPECT_EQ(p.uid, 1000);
    EXPECT_EQ(p.user.view(), "alice");
}

TEST_F(Processes, StatusKeysArePrefixesAndTheLastLineCounts) {
    TProc p;
    p.VmData = 5;
    getStatus("VmRSSxx: 1\nVmRSS: 2\n VmRSS: 3\nvmrss: 4\nVmDat: 6\nVmPinned 7\nVmLib:", p);
    EXPECT_EQ(p.VmRSS, 2);
    EXPECT_EQ(p.VmData, 5);
    EXPECT_EQ(p.VmPin, 0);
    EXPECT_EQ(p.VmLib, 0);
}

TEST_F(Processes, StatusPiecesOfALongLine) {
    for (size_t length : {510U, 511U, 512U}) { // after 511 characters the key begins a new piece
        TProc p;
        getStatus(std::string(length, 'x') + "VmRSS: 9\n", p);
        EXPECT_EQ(p.VmRSS, length == 511 ? 9 : 0) << length;
    }
}

TEST_F(Processes, IOLines) {
    TCounters c;
    c.wbytes = 99; // is overwritten
    getIO("rchar: 1\nwchar: 2\nsyscr: 3\nsyscw: 4\nread_bytes: 5\ncancelled_write_bytes: 6\nwrite_bytes:7\nRchar: 8\n",
          c);
    EXPECT_EQ(c.rchar, 1);
    EXPECT_EQ(c.wchar, 2);
    EXPECT_EQ(c.syscr, 3);
    EXPECT_EQ(c.syscw, 4);
    EXPECT_EQ(c.rbytes, 5);
    EXPECT_EQ(c.wbytes, 0); // the key has a blank
    getIO("rchar: 18446744073709551615\nwchar: x\nsyscr: -3", c);
    EXPECT_EQ(c.rchar, 9223372036854775808.0);
    EXPECT_EQ(c.wchar, 0);
    EXPECT_EQ(c.syscr, -3);
}

// --- cmdline

TEST_F(Processes, CommandLines) {
    using namespace std::string_literals;
    const struct {
        std::string file, line;
    } cases[] = {{"", ""},
                 {"\0"s, ""},
                 {"\0\0x"s, ""},
                 {"\0x\0"s, " x"},
                 {"a\0"s, "a"},
                 {"a"s, "a"},
                 {"a\0b\0"s, "a b"},
                 {"a\0\0b\0"s, "a"},
                 {"a\0b\nc\0"s, "a b\n"},
                 {"\n", "\n"},
                 {std::string(6142, 'n') + "\0"s, std::string(6142, 'n')},
                 {std::string(6143, 'n') + "\0"s, std::string(6143, 'n')},
                 {std::string(6144, 'n') + "\0"s, std::string(6143, 'n')},
                 {std::string(6141, 'n') + "\0x\0"s, std::string(6141, 'n') + " x"},
                 {std::string(6142, 'n') + "\0x\0"s, std::string(6142, 'n')}};
    std::string texts = "before";
    for (auto& c : cases) {
        const size_t start = texts.size();
        const auto range = getCommandLine(c.file, texts);
        EXPECT_EQ(range.first, start);
        EXPECT_EQ(texts.substr(range.first, range.count), c.line) << c.file.substr(0, 20);
        EXPECT_EQ(texts.size(), start + range.count);
    }
}

// --- fdinfo, targets

TEST_F(Processes, DescriptorFiles) {
    using namespace std::string_literals;
    const struct {
        std::string file;
        int64_t pos;
        int32_t flags;
    } cases[] = {{"pos:\t1024\nflags:\t0100002\n", 1024, 0x100002},
                 {"pos:\t1024\nflags:\t0100002", 1024, 0},
                 {"pos:\t1\n", 1, 0},
                 {"", 0, 0},
                 {"x\nflags:\t04000\nflags:\t02\n", 0, 0x4000},
                 {"flags:\t02\npos:\t1\n", 0, 0},
                 {"pos:   -8\nflags:   02\n", -8, 2},
                 {"pos:7\nflags:02\n", 7, 2},
                 {"pos:\nflags:\n", 0, 0},
                 {"pos:\t5\nflags: \n", 5, 0},
                 {"pos:\t5\nflags:  ", 5, 0},
                 {"pos:\t5\nflags:\t\n", 5, 0},
                 {"pos:\t5\nflags:xF\n", 5, 15},
                 {"pos:\t5\nflags \t02\n", 5, 0}, // the key ends in a colon
                 {"pos:" + std::string(56, ' ') + "5\nflags:\t01\n", 5, 1},
                 {"pos:" + std::string(57, ' ') + "5\nflags:\t01\n", 5, 0}, // the newline is the second line
                 {"pos:" + std::string(58, ' ') + "5\nflags:\t01\n", 0, 0},
                 {"pos:\t1\nflags:" + std::string(53, ' ') + "x7\n", 1, 7},
                 {"pos:\t1\nflags:" + std::string(54, ' ') + "x7\n", 1, 0},
                 {"pos:\t9223372036854775808\nflags:\t0FFFFFFFF\n", std::numeric_limits<int64_t>::max(), -1},
                 {"pos:\t1\0\nflags:\t02\n"s, 1, 2}};
    for (auto& c : cases) {
        TFDInfo fd;
        getFDInfo(c.file, fd);
        EXPECT_EQ(fd.pos, c.pos) << c.file;
        EXPECT_EQ(fd.flags, c.flags) << c.file;
    }
}

TEST_F(Processes, DescriptorTypes) {
    const struct {
        const char* dest;
        int type;
        int64_t inode;
    } cases[] = {{"socket:[4711]", 1, 4711},
                 {"socket:[", 1, 0},
                 {"socket:4711", 0, 0},
                 {"pipe:[99]", 2, 99},
                 {"pipe:", 0, 0},
                 {"/dev/null", 0, 0},
                 {"anon_inode:[eventpoll]", 3, 0},
                 {"anon_inode:", 3, 0},
                 {"anon_inod", 0, 0},
                 {"", 0, 0},
                 {"socket:[x]", 1, 0},
                 {"pipe:[-5]", 2, -5},
                 {"/socket:[1]", 0, 0}};
    for (auto& c : cases) {
        TFDInfo fd;
        getFDType(c.dest, fd);
        EXPECT_EQ(fd.fdtype, c.type) << c.dest;
        EXPECT_EQ(fd.inode, c.inode) << c.dest;
    }
}
