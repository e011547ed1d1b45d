#include "base/child.h"

#include "base/door/processes.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

// From linux/ioprio.h, which older systems do not have.
static constexpr int OneProcess = 1, IdleClass = 3 << 13;
static constexpr int LowestPriority = 19;

[[noreturn]] static void beChild(std::span<char* const> programs, char* const* words) {
    const int nothing = open("/dev/null", O_RDWR);
    if (nothing < 0 || dup2(nothing, STDIN_FILENO) < 0 || dup2(nothing, STDOUT_FILENO) < 0) _exit(126);
    closeFrom(STDERR_FILENO + 1);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    beKillable();
    setpriority(PRIO_PROCESS, 0, LowestPriority);
    syscall(SYS_ioprio_set, OneProcess, 0, IdleClass);
    for (const int number : {SIGPIPE, SIGINT, SIGTERM, SIGHUP}) signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    int status = 127;
    for (char* program : programs) {
        execvp(program, words);
        if (errno != ENOENT && errno != ENOTDIR) status = 126;
    }
    _exit(status);
}

bool Child::start(std::span<const std::string> programs, const std::vector<std::string>& words) {
    stop();
    std::vector<char*> paths;
    for (const auto& program : programs)
        if (!program.empty()) paths.push_back(const_cast<char*>(program.c_str()));
    const auto arguments = argumentsOf(words);
    const pid_t child = fork();
    if (child == 0) beChild(paths, arguments.data());
    pid = child;
    return child > 0;
}

std::optional<int> Child::ended() {
    int status = 0;
    if (pid < 0 || !hasEnded(pid, status)) return {};
    pid = -1;
    return shellStatus(status);
}

void Child::stop() {
    if (pid > 0) kill(pid, SIGTERM);
    int status;
    while (pid > 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    pid = -1;
}
