// A pager on the real kernel, in a child whose standard output is a file.
#include "base/pager.h"

#include "base/outfile.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

// What the child's standard output gets; `act` gives its status, which must be 0.
static std::string outputOf(const std::function<int()>& act) {
    std::string path = (std::filesystem::temp_directory_path() / "wyrt-pager.XXXXXX").string();
    const int fd = mkstemp(path.data());
    EXPECT_GE(fd, 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(fd, STDOUT_FILENO);
        exit(act());
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    close(fd);
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    std::filesystem::remove(path);
    return text.str();
}

static bool put(const char* text) {
    OutFile out;
    out.openStandard();
    return out.write(text);
}

TEST(RealPager, GetsWhatIsWrittenAndIsWaitedFor) {
    EXPECT_EQ(outputOf([] {
                  Pager pager;
                  if (!pager.start({"sed", "s/^/> /"})) return 1;
                  return put("one\ntwo\n") ? 0 : 2;
              }),
              "> one\n> two\n");
}

TEST(RealPager, OneThatIsMissingChangesNothing) {
    EXPECT_EQ(outputOf([] {
                  Pager pager;
                  if (pager.start({"no-such-pager-of-ours", "-x"})) return 1;
                  if (errno != ENOENT) return 2;
                  if (pager.start({})) return 3;
                  return put("one\n") ? 0 : 4;
              }),
              "one\n");
}

TEST(RealPager, AReaderWhoLeavesEarlyIsNoSignal) {
    EXPECT_EQ(outputOf([] {
                  Pager pager;
                  if (!pager.start({"head", "-n", "1"})) return 1;
                  for (int i = 0; i < 1000000; i++)
                      if (!put("line\n")) return errno == EPIPE ? 0 : 2;
                  return 3;
              }),
              "line\n");
}

TEST(RealPager, CtrlCIsThePagersAlone) {
    EXPECT_EQ(outputOf([] {
                  Pager pager;
                  if (!pager.start({"cat"})) return 1;
                  raise(SIGINT);
                  return put("still there\n") ? 0 : 2;
              }),
              "still there\n");
}
