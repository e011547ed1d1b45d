// The output on real streams: in child processes, because the tests change the standard streams.
#include "base/output.h"

#include "classic/collect/flushed.h"
#include "tests/door/system.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

static std::string readAll(int fd) {
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<size_t>(n));
    return text;
}

TEST_F(System, AFullDiskIsPassedOver) {
    EXPECT_EQ(inChild([] {
                  const int full = open("/dev/full", O_WRONLY);
                  dup2(full, STDOUT_FILENO);
                  for (int i = 0; i < 1000; i++) sayText("text\n"), flushOutput();
              }),
              0);
}

TEST_F(System, AClosedStreamIsPassedOver) {
    EXPECT_EQ(inChild([] {
                  close(STDOUT_FILENO);
                  close(STDERR_FILENO);
                  sayText("text\n"), flushOutput();
                  putErr("error\n");
              }),
              0);
}

TEST_F(System, AClosedPipeEndsTheRun) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const auto act = [&](auto disposition) {
        return inChild([&] {
            signal(SIGPIPE, disposition);
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]), close(ends[1]);
            sayText("text\n"), flushOutput();
        });
    };
    close(ends[0]);
    EXPECT_EQ(act(SIG_DFL), 256 + SIGPIPE);
    EXPECT_EQ(act(SIG_IGN), 0); // the parent asked for this by ignoring SIGPIPE
    close(ends[1]);
}

// The pipe is non-blocking and its reader slow: everything arrives, in order.
TEST_F(System, ASlowReaderGetsEverything) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    const auto content = pattern(300000); // more than a pipe holds
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]), close(ends[1]);
        sayText(content), flushOutput();
        endChild(0);
    }
    close(ends[1]);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(readAll(ends[0]), content);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

// Pending output is written before a command runs and before a pause.
TEST_F(System, FlushedBeforeCommandsAndPauses) {
    const auto name = path("out");
    EXPECT_EQ(inChild([&] {
                  const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
                  dup2(file, STDOUT_FILENO);
                  sayText("first\n");
                  Contents output;
                  runCommand(("echo second >> " + name).c_str(), output);
                  sayText("third\n");
                  pauseFlushed(1);
                  if (fs::file_size(name) != 19) endChild(1);
                  sayText("never flushed\n");
                  endChild(0);
              }),
              0);
    ASSERT_TRUE(readFile(name.c_str(), text));
    EXPECT_EQ(text.view(), "first\nsecond\nthird\n");
}

// Control characters are shown as '?' on a terminal, and only there.
TEST_F(System, OnATerminal) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) GTEST_SKIP() << "no pseudo-terminals here";
    const std::string slave = ptsname(master);
    const auto say = [&](const std::string& file) {
        return inChild([&] {
            const int fd = open(file.c_str(), O_RDWR | O_NOCTTY | O_CREAT, 0600);
            if (fd < 0 || dup2(fd, STDOUT_FILENO) < 0) endChild(1);
            sayText("name \x1b[2J\x9b tail\n");
            if (isTerminal() != (file == slave)) endChild(2);
            flushOutput();
        });
    };
    const int held = open(slave.c_str(), O_RDWR | O_NOCTTY); // keeps the written text until it is read
    ASSERT_GE(held, 0);
    ASSERT_EQ(say(slave), 0);
    char buffer[64];
    const auto n = read(master, buffer, sizeof buffer);
    ASSERT_GT(n, 0);
    EXPECT_EQ(std::string(buffer, static_cast<size_t>(n)), "name ?[2J? tail\r\n"); // the terminal turns \n into \r\n
    close(held), close(master);
    ASSERT_EQ(say(path("out")), 0);
    ASSERT_TRUE(readFile(path("out").c_str(), text));
    EXPECT_EQ(text.view(), "name \x1b[2J\x9b tail\n");
}
