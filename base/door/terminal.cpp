#include "base/terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

std::optional<TerminalSize> getTerminalSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
    return TerminalSize{size.ws_col, size.ws_row};
}

bool isErrorTerminal() { return isatty(STDERR_FILENO) == 1; }

struct Keys::Kept {
    termios settings{};
};

static void setSingle(const termios& before) {
    termios single = before;
    single.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    single.c_cc[VMIN] = 1;
    single.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &single);
}

// In the background the program would be stopped if it changed the terminal or read from it.
static bool isForeground() { return tcgetpgrp(STDIN_FILENO) == getpgrp(); }

Keys::Keys() {
    auto kept = std::make_unique<Kept>();
    if (tcgetattr(STDIN_FILENO, &kept->settings) != 0 || !isForeground()) return;
    before = std::move(kept);
    setSingle(before->settings);
}

Keys::~Keys() {
    if (before && isForeground()) tcsetattr(STDIN_FILENO, TCSANOW, &before->settings);
}

void Keys::renew() {
    if (before && isForeground()) setSingle(before->settings);
}

int Keys::handle() const { return before && isForeground() ? STDIN_FILENO : -1; }

std::optional<char> Keys::take() {
    pollfd input{handle(), POLLIN, 0};
    if (poll(&input, 1, 0) != 1) return {};
    char key = 0;
    if (read(STDIN_FILENO, &key, 1) == 1) return key;
    before.reset(); // the terminal is gone, so there is nothing to restore
    return {};
}
