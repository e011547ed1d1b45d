#include "base/program.h"
#include "base/terminal.h"
#include "tests/unit/child.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

// The side of a new terminal on which somebody types; below 0: there is none.
static int newTerminal() {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    return master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ? -1 : master;
}

// A child in the foreground of a terminal of its own, 100 columns wide. Returns what `act` returned there.
template <typename Act> static int onTerminal(int master, const Act& act) {
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        const int slave = open(ptsname(master), O_RDWR);
        if (slave < 0 || ioctl(slave, TIOCSCTTY, 0) != 0) endChild(90);
        const winsize size{24, 100, 0, 0};
        ioctl(slave, TIOCSWINSZ, &size);
        dup2(slave, STDIN_FILENO);
        dup2(slave, STDOUT_FILENO);
        endChild(act());
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 91;
}

static bool isEchoing() {
    termios settings{};
    return tcgetattr(STDIN_FILENO, &settings) == 0 && (settings.c_lflag & ECHO) && (settings.c_lflag & ICANON);
}

TEST(Terminal, KeysComeOneByOneAndTheTerminalIsAsBefore) {
    const int master = newTerminal();
    if (master < 0) GTEST_SKIP() << "no terminals here";
    ASSERT_EQ(write(master, "q", 1), 1);
    EXPECT_EQ(onTerminal(master,
                         [] {
                             const auto size = getTerminalSize();
                             if (!size || size->columns != 100 || size->rows != 24) return 1;
                             if (!isEchoing()) return 2;
                             {
                                 Keys keys;
                                 if (!keys.work() || keys.handle() != STDIN_FILENO || isEchoing()) return 3;
                                 keys.renew();
                                 pollfd input{keys.handle(), POLLIN, 0};
                                 if (poll(&input, 1, 5000) != 1 || keys.take() != 'q' || keys.take()) return 4;
                             }
                             return isEchoing() ? 0 : 5;
                         }),
              0);
    close(master);
}

// The shell has put the program into the background, and reads the keys itself.
static int inBackground(pid_t shell) {
    Keys keys;
    if (!keys.work()) return 1;
    if (tcsetpgrp(STDIN_FILENO, shell) != 0) return 2;
    return keys.handle() == -1 && !keys.take() ? 0 : 3;
}

// It goes on there, and its end does not stop it either.
TEST(Terminal, AProgramInTheBackgroundIsNotStopped) {
    const int master = newTerminal();
    if (master < 0) GTEST_SKIP() << "no terminals here";
    ASSERT_EQ(write(master, "q", 1), 1);
    EXPECT_EQ(onTerminal(master,
                         [] {
                             const pid_t shell = getpgrp();
                             int go[2];
                             if (pipe(go) != 0) return 10;
                             const pid_t program = fork();
                             if (program == 0) {
                                 char letter = 0;
                                 if (read(go[0], &letter, 1) != 1) _exit(11);
                                 _exit(inBackground(shell));
                             }
                             if (setpgid(program, program) != 0 || tcsetpgrp(STDIN_FILENO, program) != 0) return 12;
                             if (write(go[1], "g", 1) != 1) return 13;
                             int status = -1;
                             waitpid(program, &status, WUNTRACED);
                             if (WIFSTOPPED(status)) kill(program, SIGKILL);
                             return WIFEXITED(status) ? WEXITSTATUS(status) : 14;
                         }),
              0);
    close(master);
}

TEST(Terminal, AFileIsNone) {
    const pid_t child = fork();
    if (child == 0) {
        const int file = open("/dev/null", O_RDWR);
        dup2(file, STDIN_FILENO);
        dup2(file, STDOUT_FILENO);
        Keys keys;
        endChild(!keys.work() && keys.handle() == -1 && !keys.take() && !getTerminalSize() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(Program, KnowsWhereItIs) {
    EXPECT_EQ(ownPath().substr(0, 1), "/");
    EXPECT_NE(ownPath().find("door-tests"), std::string::npos);
    EXPECT_TRUE(mayRunThreads());
}

TEST(Program, BecomesNothingThatIsNotThere) {
    char name[] = "nothing";
    char* const arguments[] = {name, nullptr};
    EXPECT_EQ(becomeProgram("/nowhere/at/all", arguments), ENOENT);
    EXPECT_EQ(becomeProgram("/dev/null", arguments), EACCES);
}
