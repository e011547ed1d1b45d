#include "base/infile.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

bool InFile::open(const std::string& path) {
    close();
    // O_NONBLOCK: a pipe under a log's name that nobody writes to must not hold the program.
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) return false;
    struct stat status{};
    if (fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) {
        const int reason = S_ISDIR(status.st_mode) ? EISDIR : errno;
        close();
        errno = reason;
        return false;
    }
    // A named pipe that has a writer is read like any other.
    const int flags = fcntl(fd, F_GETFL);
    if (flags >= 0) fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    return true;
}

void InFile::openStandard() {
    close();
    fd = dup(STDIN_FILENO);
}

size_t InFile::read(char* to, size_t size) {
    for (;;) {
        const ssize_t n = ::read(fd, to, size);
        if (n >= 0) return static_cast<size_t>(n);
        if (errno == EINTR) continue;
        error = errno;
        return 0;
    }
}

bool InFile::skip(uint64_t bytes) { return lseek(fd, static_cast<off_t>(bytes), SEEK_CUR) >= 0; }

std::optional<uint64_t> InFile::size() {
    struct stat status{};
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) return {};
    return static_cast<uint64_t>(status.st_size);
}

size_t InFile::readAt(uint64_t at, char* to, size_t size) {
    for (;;) {
        const ssize_t n = pread(fd, to, size, static_cast<off_t>(at));
        if (n >= 0 || errno != EINTR) return n > 0 ? static_cast<size_t>(n) : 0;
    }
}

bool InFile::goTo(uint64_t at) { return lseek(fd, static_cast<off_t>(at), SEEK_SET) >= 0; }

void InFile::close() {
    if (fd >= 0) ::close(fd);
    fd = -1;
    error = 0;
}
