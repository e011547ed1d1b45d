#include "base/program.h"

#include "base/door.h"

#include <algorithm>
#include <cerrno>
#include <climits>

#include <linux/capability.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
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

// A limit would make later allocations fail, so nothing is locked where there is one.
static bool mayLockAll() {
    rlimit limit{};
    if (getrlimit(RLIMIT_MEMLOCK, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY) return true;
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
    if (syscall(SYS_capget, &header, data) != 0) return false;
    return (data[CAP_TO_INDEX(CAP_IPC_LOCK)].effective & CAP_TO_MASK(CAP_IPC_LOCK)) != 0;
}

void keepNoLargeMemory() {
#ifdef __GLIBC__
    constexpr int Large = 1 << 20, LooseEnd = 4 << 20; // bytes; of the heap, which then shrinks
    mallopt(M_MMAP_THRESHOLD, Large);
    mallopt(M_TRIM_THRESHOLD, LooseEnd);
#endif
}

void giveBackMemory() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

bool lockMemory() {
    constexpr int WhenTouched = 4; // MCL_ONFAULT, Linux 4.4
    return mayLockAll() && mlockall(MCL_CURRENT | MCL_FUTURE | WhenTouched) == 0;
}

uint64_t allowDescriptors(uint64_t wanted) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= wanted) return wanted;
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, wanted);
    setrlimit(RLIMIT_NOFILE, &limit);
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 ? std::min<uint64_t>(limit.rlim_cur, wanted) : wanted;
}

bool mayRunThreads() { return true; }
