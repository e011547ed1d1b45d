#include "base/held.h"

#include "base/door/room.h"

#include <cerrno>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

// O_NONBLOCK: a FIFO or a device in the place of a file cannot block the run.
static constexpr int FileFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
static constexpr int DirectoryFlags = O_RDONLY | O_CLOEXEC | O_DIRECTORY;

// --- Files

HeldFile& HeldFile::operator=(HeldFile&& other) noexcept {
    path.swap(other.path);
    std::swap(fd, other.fd);
    return *this;
}

void HeldFile::close() {
    if (fd >= 0) ::close(fd);
    fd = -1;
}

bool HeldFile::open(const Place& at, const char* name) {
    close();
    path.clear();
    fd = openat(at.handle(), name, FileFlags);
    return fd >= 0;
}

// The errors of an open file that no longer exists: a group or device (ENODEV), a process (ESRCH), a remote file
// (ESTALE).
static bool isGone(int error) { return error == ENODEV || error == ESRCH || error == ESTALE || error == ENXIO; }

bool HeldFile::read(Contents& text, Reading how, size_t most) {
    for (bool fresh = false; !fresh;) {
        fresh = fd < 0;
        if (fresh) {
            text.size = 0;
            if (path.empty()) return errno = EBADF, false;
            fd = ::open(path.c_str(), FileFlags);
            if (fd < 0) return text.noted(errno), false;
        }
        readAll(text, how, most,
                [&](char* to, size_t size) { return pread(fd, to, size, static_cast<off_t>(text.size)); });
        text.noted(text.error);
        if (text.size > 0 || text.error == 0) return true;
        if (!isGone(text.error)) break;
        close();
        if (path.empty()) break;
    }
    errno = text.error;
    return false;
}

bool HeldFile::changed() {
    if (fd < 0) return false;
    pollfd file{fd, POLLPRI, 0};
    return poll(&file, 1, 0) == 1 && (file.revents & POLLPRI) != 0;
}

// --- Directories

HeldDirectory& HeldDirectory::operator=(HeldDirectory&& other) noexcept {
    std::swap(fd, other.fd);
    return *this;
}

bool HeldDirectory::open(const char* path) {
    close();
    fd = ::open(path, DirectoryFlags);
    return fd >= 0;
}

bool HeldDirectory::open(const Place& at, const char* name) {
    close();
    fd = openat(at.handle(), name, DirectoryFlags);
    return fd >= 0;
}

void HeldDirectory::close() {
    if (fd >= 0) ::close(fd);
    fd = -1;
}

bool Listing::start(const HeldDirectory& of) {
    constexpr size_t Room = 32768; // the same as for readdir of the C library
    buffer.resize(Room);
    at = end = 0;
    fd = of.handle();
    return lseek(fd, 0, SEEK_SET) == 0;
}

static Listing::Kind kindOf(unsigned char type) {
    switch (type) {
    case DT_REG:
        return Listing::Kind::File;
    case DT_DIR:
        return Listing::Kind::Directory;
    case DT_LNK:
        return Listing::Kind::Link;
    default:
        return Listing::Kind::Other;
    }
}

bool Listing::next(Entry& entry) {
    for (;;) {
        if (at >= end) {
            const long n = syscall(SYS_getdents64, fd, buffer.data(), buffer.size());
            if (n <= 0) return false;
            at = 0;
            end = static_cast<size_t>(n);
        }
        const auto* found = reinterpret_cast<const dirent64*>(buffer.data() + at);
        at += found->d_reclen;
        const std::string_view name = found->d_name;
        if (name == "." || name == "..") continue;
        entry = {found->d_name, found->d_ino, kindOf(found->d_type)};
        return true;
    }
}
