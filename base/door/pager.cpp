#include "base/pager.h"

#include "base/door/processes.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

// errno goes to the program if the pager cannot be run; otherwise the kernel closes `failure`.
[[noreturn]] static void bePager(char* const* words, int input, int failure) {
    if (dup2(input, STDIN_FILENO) >= 0) execvp(words[0], words);
    const int error = errno;
    [[maybe_unused]] const auto size = write(failure, &error, sizeof error);
    _exit(127);
}

static int waitFor(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

bool Pager::start(const std::vector<std::string>& words) {
    if (words.empty() || process > 0) return false;
    const auto arguments = argumentsOf(words);
    int pages[2], failure[2];
    if (pipe2(pages, O_CLOEXEC) != 0) return false;
    if (pipe2(failure, O_CLOEXEC) != 0) return close(pages[0]), close(pages[1]), false;
    const pid_t child = fork();
    if (child == 0) bePager(arguments.data(), pages[0], failure[1]);
    close(pages[0]);
    close(failure[1]);
    int error = child < 0 ? errno : 0;
    if (child > 0 && read(failure[0], &error, sizeof error) <= 0) error = 0;
    close(failure[0]);
    if (!error && dup2(pages[1], STDOUT_FILENO) < 0) error = errno;
    close(pages[1]);
    if (error) {
        if (child > 0) waitFor(child);
        return errno = error, false;
    }
    for (const int number : {SIGPIPE, SIGINT, SIGQUIT}) signal(number, SIG_IGN);
    process = child;
    return true;
}

void Pager::finish() {
    if (process <= 0) return;
    close(STDOUT_FILENO);
    waitFor(process);
    process = -1;
}
