// Commands in a shell: what they print is read up to a bound, and none is left behind.
#include "base/door.h"

#include "classic/collect/flushed.h"
#include "tests/door/system.h"

#include <chrono>
#include <cstdlib>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

TEST_F(System, CommandsAreRunInAShell) {
    ASSERT_TRUE(runCommand("printf 'a b\\n'; exit 3", text));
    EXPECT_EQ(text.view().substr(0, 4), "a b\n");
    ASSERT_TRUE(runCommand("true", text));
    EXPECT_EQ(text.view(), "");
    ASSERT_TRUE(runCommand("no-such-command-here 2>/dev/null", text));
    EXPECT_EQ(text.view(), "");
    ASSERT_TRUE(runCommand("head -c 100000 /dev/zero | tr '\\0' x", text)); // more than the buffer, more than a pipe
    EXPECT_EQ(text.size, 100000U);
    EXPECT_EQ(text.view().find_first_not_of('x'), std::string_view::npos);
}

// The output is read as it comes, and the end of the command is awaited.
TEST_F(System, CommandsAreReadAsTheyPrint) {
    while (wait(nullptr) > 0) {
    } // what earlier tests have killed
    using Clock = std::chrono::steady_clock;
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    const int fifo = open(path("fifo").c_str(), O_RDWR | O_CLOEXEC);
    ShellCommand command;
    ASSERT_TRUE(command.start(("echo first; read go <" + path("fifo") + "; echo second").c_str()));
    text.size = 0;
    ASSERT_TRUE(command.read(text));
    EXPECT_EQ(text.view(), "first\n");
    ASSERT_EQ(write(fifo, "go\n", 3), 3);
    ASSERT_TRUE(command.read(text));
    EXPECT_EQ(text.view(), "first\nsecond\n");
    EXPECT_FALSE(command.read(text));
    EXPECT_EQ(text.view(), "first\nsecond\n");
    close(fifo);
    const auto again = Clock::now();
    ASSERT_TRUE(command.start("exec >&-; sleep 0.2"));
    EXPECT_FALSE(command.read(text));
    command.close();
    EXPECT_GE(Clock::now() - again, std::chrono::milliseconds(200));
    EXPECT_EQ(wait(nullptr), -1); // no zombie is left
}

TEST_F(System, CommandsInheritNothing) {
    HeldPlace place;
    ASSERT_TRUE(place.open(folder.c_str()));
    ASSERT_TRUE(runCommand("ls -l /proc/self/fd/ 2>&1", text));
    EXPECT_EQ(text.view().find("wyrt-door"), std::string_view::npos);
}

// In KiB.
static long peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// SIGPIPE ends a command that never stops printing, also when this program runs with the signal ignored.
TEST_F(System, CommandsThatNeverStopPrinting) {
    for (const char* tool : {"yes", "while :; do echo y; done", "while :; do echo y; done | cat", "cat /dev/zero"})
        for (auto disposition : {SIG_DFL, SIG_IGN})
            EXPECT_EQ(inChild([&] {
                          signal(SIGPIPE, disposition);
                          constexpr size_t Limit = 100;
                          const long before = peakMemory();
                          CommandLines lines(tool, Limit);
                          std::string_view line;
                          if (!lines.next(line)) endChild(1);
                          if (line != (*tool == 'c' ? "" : "y\n")) endChild(2); // a NUL ends a line's text
                          if (peakMemory() > before + 4096) endChild(3);
                      }),
                      0)
                << tool;
}

// Where the whole output is wanted, there is a bound.
TEST_F(System, TheWholeOutputIsBounded) {
    EXPECT_EQ(inChild([] {
                  Contents report;
                  if (!runCommand("yes", report)) endChild(1);
                  if (report.size != MostOutput) endChild(2);
                  if (peakMemory() > 200000) endChild(3);
              }),
              0);
}
