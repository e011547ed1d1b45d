// Files and directories that are opened once and read many times. Each read of a kernel file from its start gives its
// present content.
#pragma once

#include "base/door.h"
#include "base/root.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

// A file that stays open. With a path, the first read opens it, and it is opened again when the kernel reports that the
// open file no longer exists (a device or group that was removed and made again). A file opened in a Place has no path
// to open again: its reads fail from then on.
class HeldFile {
    std::string path;
    int fd = -1;

public:
    HeldFile() = default;
    explicit HeldFile(std::string_view name) : path(name) {}
    HeldFile(const Root& root, std::string_view name) : path(root.path(name)) {}
    HeldFile(HeldFile&& other) noexcept : path(std::move(other.path)), fd(std::exchange(other.fd, -1)) {}
    HeldFile& operator=(HeldFile&& other) noexcept;
    ~HeldFile() { close(); }
    bool open(const Place& at, const char* name);
    // Reads the present content, at most `most` bytes. False when the file cannot be read; errno has the reason. True
    // when the read fails after its first bytes; `text.error` has the reason.
    bool read(Contents& text, Reading how = Reading::Whole, size_t most = SIZE_MAX);
    // Whether the kernel has reported a change since the file was opened or since the last call. Works for
    // /proc/self/mountinfo and /proc/swaps, and for /proc/mdstat, whose change is reported until it is read again.
    // False when the file is not open.
    bool changed();
    bool isOpen() const { return fd >= 0; }
    void close();
};

// A directory that stays open without a buffer of its own. It is a Place for the files in it.
class HeldDirectory : public Place {
public:
    HeldDirectory() = default;
    HeldDirectory(HeldDirectory&& other) noexcept { std::swap(fd, other.fd); }
    HeldDirectory& operator=(HeldDirectory&& other) noexcept;
    ~HeldDirectory() { close(); }
    bool open(const char* path);
    bool open(const Place& at, const char* name);
    void close();
    bool isOpen() const { return fd >= 0; }
};

// Reads the entries of held directories, one directory after another, with one buffer. "." and ".." are left out.
class Listing {
    std::string buffer;
    size_t at = 0, end = 0;
    [[maybe_unused]] int fd = -1; // the made-up machine needs none

public:
    enum class Kind { File, Directory, Link, Other };
    struct Entry {
        const char* name; // valid until the next call
        uint64_t inode;
        Kind kind; // Other also when the filesystem does not report it
    };
    // Starts again with the present entries of the directory.
    bool start(const HeldDirectory& of);
    // False at the end, and when the directory no longer exists.
    bool next(Entry& entry);
};
