#include "base/outfile.h"

#include "base/accounts.h"
#include "base/door.h"

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

bool OutFile::open(const std::string& path, How how) {
    close();
    constexpr mode_t Rights = 0640; // a log names users, commands and files
    const int extra = how == How::New ? O_TRUNC : how == How::Create ? O_EXCL | O_APPEND : O_APPEND;
    fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | extra, Rights);
    return fd >= 0;
}

void OutFile::openStandard() {
    close();
    fd = STDOUT_FILENO;
}

bool OutFile::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = ::write(fd, text.data(), text.size());
        if (n > 0) {
            text.remove_prefix(static_cast<size_t>(n));
        } else if (n < 0 && errno == EAGAIN) { // a reader that made the shared end non-blocking: wait for room
            pollfd ready{fd, POLLOUT, 0};
            if (poll(&ready, 1, -1) < 0 && errno != EINTR) return false;
        } else if (n == 0) {
            return errno = EIO, false;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool OutFile::sync() { return fdatasync(fd) == 0 || errno == EINVAL || errno == EROFS; } // a pipe cannot be synced

bool OutFile::truncate(uint64_t size) { return ftruncate(fd, static_cast<off_t>(size)) == 0; }

bool OutFile::size(uint64_t& bytes) {
    struct stat status;
    if (fstat(fd, &status) != 0) return false;
    bytes = static_cast<uint64_t>(status.st_size);
    return true;
}

void OutFile::shareWithAdm() {
    constexpr mode_t Rights = 0640;
    constexpr auto Same = static_cast<uid_t>(-1);
    Contents groups;
    if (readFile("/etc/group", groups))
        if (const auto adm = accountId(groups.view(), "adm"))
            if (fchown(fd, Same, *adm) != 0) errno = 0; // it stays with the program's own group
    fchmod(fd, Rights);
}

bool OutFile::close() {
    const int was = fd;
    fd = -1;
    return was < 0 || was == STDOUT_FILENO || ::close(was) == 0;
}
