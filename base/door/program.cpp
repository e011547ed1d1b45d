#include "base/program.h"

#include "base/door.h"

#include <cerrno>
#include <climits>

#include <sys/wait.h>
#include <unistd.h>

std::string ownPath() {
    char path[PATH_MAX];
    const auto length = readLink(HeldPlace(), "/proc/self/exe", path, sizeof path);
    return {path, length > 0 ? static_cast<size_t>(length) : 0};
}

int becomeProgram(const char* path, char* const argv[]) {
    execvp(path, argv);
    return errno;
}

std::optional<int> endedChild() {
    const pid_t child = fork();
    if (child == 0) _exit(0);
    if (child < 0) return {};
    int status;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return child;
}

bool mayRunThreads() { return true; }
