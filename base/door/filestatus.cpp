#include "base/filestatus.h"

#include <algorithm>

#include <fcntl.h>
#include <linux/kcmp.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

// A file's time can be set to any year; one beyond the range (1678 to 2262) is taken for its end.
static int64_t nanoseconds(const statx_timestamp& time) {
    constexpr int64_t Second = 1000000000, Most = INT64_MAX / Second - 1;
    return std::clamp<int64_t>(time.tv_sec, -Most, Most) * Second + time.tv_nsec;
}

static bool ask(int at, const char* name, FileStatus& status) {
    struct statx answer{};
    if (statx(at, name, AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT, STATX_BASIC_STATS, &answer) != 0) return false;
    status.inode = answer.stx_ino;
    status.size = answer.stx_size;
    status.major = answer.stx_dev_major;
    status.minor = answer.stx_dev_minor;
    status.modified_ns = nanoseconds(answer.stx_mtime);
    status.mode = answer.stx_mode;
    status.deviceMajor = answer.stx_rdev_major;
    status.deviceMinor = answer.stx_rdev_minor;
    status.links = answer.stx_nlink;
    return true;
}

bool getFileStatus(const char* path, FileStatus& status) { return ask(AT_FDCWD, path, status); }

bool getFileStatus(const Place& at, const char* name, FileStatus& status) { return ask(at.handle(), name, status); }

std::optional<bool> isOneOpenFile(DescriptorOf one, DescriptorOf other) {
    const long order = syscall(SYS_kcmp, one.pid, other.pid, KCMP_FILE, one.number, other.number);
    return order < 0 ? std::nullopt : std::optional(order == 0);
}
