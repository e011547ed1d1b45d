#include "base/door.h"

#include "base/door/room.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

// O_NONBLOCK: a FIFO or a device that somebody put in a file's place cannot block the run. Other files are read the
// same with it.
static constexpr int OpenFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

bool HeldPlace::open(const char* path) {
    close();
    fd = ::open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
    return fd >= 0;
}

bool HeldPlace::open(const Place& at, const char* name) {
    close();
    fd = openat(at.handle(), name, O_PATH | O_DIRECTORY | O_CLOEXEC);
    return fd >= 0;
}

void HeldPlace::close() {
    if (fd >= 0) ::close(fd);
    fd = -1;
}

bool Directory::hold(void* opened) {
    dir = opened;
    fd = opened ? dirfd(static_cast<DIR*>(opened)) : -1;
    return opened != nullptr;
}

bool Directory::open(const char* path) {
    close();
    return hold(opendir(path));
}

bool Directory::open(const Place& at, const char* name) {
    close();
    const int opened = openat(at.handle(), name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0) return false;
    if (hold(fdopendir(opened))) return true;
    ::close(opened);
    return false;
}

bool Directory::next(Entry& entry) {
    const dirent* d = readdir(static_cast<DIR*>(dir));
    if (d) entry = {d->d_name, d->d_ino};
    return d != nullptr;
}

void Directory::close() {
    if (dir) closedir(static_cast<DIR*>(dir)); // closes its descriptor, too
    hold(nullptr);
}

namespace {
// Closes the file also when there is no memory for its text.
struct Opened {
    int fd;
    ~Opened() { close(fd); }
};
} // namespace

static bool readOpened(int fd, Contents& text, Reading how, size_t most) {
    if (fd < 0) return text.noted(errno), false;
    const Opened file{fd};
    readAll(text, how, most, [&](char* to, size_t size) { return read(file.fd, to, size); });
    text.noted(text.error);
    return true;
}

bool readFile(const char* path, Contents& text, Reading how, size_t most) {
    return readOpened(open(path, OpenFlags), text, how, most);
}

bool readFile(const Place& at, const char* name, Contents& text, Reading how, size_t most) {
    return readOpened(openat(at.handle(), name, OpenFlags), text, how, most);
}

bool canOpen(const char* path) {
    const int fd = open(path, OpenFlags);
    if (fd >= 0) close(fd);
    return fd >= 0;
}

ptrdiff_t readLink(const Place& at, const char* name, char* target, size_t size) {
    return readlinkat(at.handle(), name, target, size);
}

bool inodeOf(const char* path, uint64_t& inode) {
    struct stat status;
    if (stat(path, &status) != 0) return false;
    inode = status.st_ino;
    return true;
}

bool removeFile(const char* path) { return unlink(path) == 0; }

bool MountTable::open(const char* path) {
    table.reset(setmntent(path, "r"));
    return table != nullptr;
}

const mntent* MountTable::next() { return getmntent(table.get()); }

SpaceAnswer getSpace(const char* dir, TSpace& space) {
    struct stat status;
    if (stat(dir, &status) != 0) return SpaceAnswer::StatFailed;
    const int fd = open(dir, OpenFlags);
    if (fd < 0) return SpaceAnswer::OpenFailed;
    struct statfs fs;
    const int result = fstatfs(fd, &fs);
    const int error = errno;
    close(fd);
    errno = error;
    if (result != 0) return SpaceAnswer::StatfsFailed;
    space = {fs.f_bsize, fs.f_blocks, fs.f_bfree, fs.f_bavail, fs.f_files, fs.f_ffree};
    return SpaceAnswer::Ok;
}

// --- Commands

// popen's work. popen itself would let the command inherit an ignored SIGPIPE, which services are usually started with.
static int spawnShell(std::string& command, int output, int& process) {
    char shell[] = "sh", option[] = "-c";
    char* arguments[] = {shell, option, command.data(), nullptr};
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    int error = posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    if (error == 0) error = posix_spawn(&process, "/bin/sh", &actions, &attributes, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return error;
}

bool ShellCommand::start(const char* command) {
    close();
    std::string text = command;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    const int error = spawnShell(text, ends[1], process);
    ::close(ends[1]);
    output = ends[0];
    if (error == 0) return true;
    process = -1;
    close();
    errno = error;
    return false;
}

bool ShellCommand::read(Contents& text) {
    makeRoom(text, 1);
    ssize_t n = -1;
    do n = ::read(output, text.data.get() + text.size, text.capacity - text.size);
    while (n < 0 && errno == EINTR);
    if (n > 0) text.size += static_cast<size_t>(n);
    return n > 0;
}

void ShellCommand::close() {
    if (output >= 0) ::close(output);
    if (process > 0)
        while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) continue;
    output = process = -1;
}

// --- Constants

bool getHostName(char* name, size_t size) { return gethostname(name, size) == 0; }

int getPageSize() { return static_cast<int>(sysconf(_SC_PAGESIZE)); }

int getClockTicks() { return static_cast<int>(sysconf(_SC_CLK_TCK)); }

TStamp getClock() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return {now.tv_sec, static_cast<int>(now.tv_nsec / 1000000)};
}

void pauseFor(unsigned microseconds) { usleep(microseconds); }

bool isTerminal() { return isatty(STDOUT_FILENO) == 1; }

// Writes all of the text. The part that a full disk or a closed descriptor refuses is lost, and the run goes on.
static void put(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = write(fd, text.data(), text.size());
        if (n > 0) {
            text.remove_prefix(static_cast<size_t>(n));
        } else if (n < 0 && errno == EAGAIN) { // a reader has made the shared descriptor non-blocking, so wait for room
            pollfd ready{fd, POLLOUT, 0};
            if (poll(&ready, 1, -1) < 0 && errno != EINTR) return;
        } else if (n == 0 || errno != EINTR) {
            return;
        }
    }
}

void putOut(std::string_view text) { put(STDOUT_FILENO, text); }

void putErr(std::string_view text) { put(STDERR_FILENO, text); }
