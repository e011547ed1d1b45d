#include "base/program.h"

#include "base/door.h"

#include <cerrno>
#include <climits>

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

bool mayRunThreads() { return true; }
