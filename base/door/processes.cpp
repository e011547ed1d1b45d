#include "base/door/processes.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

std::vector<char*> argumentsOf(std::span<const std::string> words) {
    std::vector<char*> arguments;
    for (const auto& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    return arguments;
}

void beKillable() {
    const int fd = open("/proc/self/oom_score_adj", O_RDWR);
    if (fd < 0) return;
    char first = 0;
    const bool spared = read(fd, &first, 1) == 1 && first == '-';
    if (spared && pwrite(fd, "0", 1, 0) != 1) errno = 0; // it goes on as it is
    close(fd);
}

void closeFrom(int first) {
    if (syscall(SYS_close_range, static_cast<unsigned>(first), ~0U, 0U) == 0) return;
    rlimit limit{}; // a kernel before 5.9
    constexpr rlim_t Most = 65536;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur > Most) limit.rlim_cur = Most;
    for (int fd = first; fd < static_cast<int>(limit.rlim_cur); fd++) close(fd);
}

bool hasEnded(int pid, int& status) {
    status = 0;
    pid_t ended;
    do ended = waitpid(pid, &status, WNOHANG);
    while (ended < 0 && errno == EINTR);
    return ended != 0; // also when somebody else has waited for it
}

int shellStatus(int status) { return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status); }
