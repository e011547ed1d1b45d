#include "base/folder.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

bool makeFolder(const char* path) {
    constexpr mode_t Rights = 0750;
    return mkdir(path, Rights) == 0 || errno == EEXIST;
}

bool renameFile(const char* from, const char* to) { return rename(from, to) == 0; }

bool makeLink(const char* target, const char* path) { return symlink(target, path) == 0; }

static int openFolder(const char* path) { return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC); }

bool syncFolder(const char* path) {
    const int fd = openFolder(path);
    if (fd < 0) return false;
    const bool synced = fsync(fd) == 0 || errno == EINVAL || errno == EROFS; // not every filesystem can
    const int error = errno;
    close(fd);
    return errno = error, synced;
}

bool FolderLock::take(const char* path) {
    release();
    fd = openFolder(path);
    if (fd < 0) return false;
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
    const int error = errno;
    release();
    return errno = error, false;
}

void FolderLock::release() {
    if (fd >= 0) close(fd);
    fd = -1;
}
