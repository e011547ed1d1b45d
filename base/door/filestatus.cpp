#include "base/filestatus.h"

#include <fcntl.h>
#include <sys/stat.h>

static bool ask(int at, const char* name, FileStatus& status) {
    struct statx answer{};
    if (statx(at, name, AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT, STATX_BASIC_STATS, &answer) != 0) return false;
    status.inode = answer.stx_ino;
    status.size = answer.stx_size;
    status.major = answer.stx_dev_major;
    status.minor = answer.stx_dev_minor;
    status.modified_ns = answer.stx_mtime.tv_sec * 1000000000 + answer.stx_mtime.tv_nsec;
    status.mode = answer.stx_mode;
    return true;
}

bool getFileStatus(const char* path, FileStatus& status) { return ask(AT_FDCWD, path, status); }

bool getFileStatus(const Place& at, const char* name, FileStatus& status) { return ask(at.handle(), name, status); }
