// Files and directories that are opened once and read again and again. Of the kernel's files a read from the start
// gives what they say now.
#pragma once

#include "base/door.h"
#include "base/root.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

// A file that stays open. One with a path is opened by the first read, and opened again when the kernel says that what
// was open is no more (a device or group that was removed and made again). One that was opened in a Place has no path
// to go back to: its reads fail from then on.
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
    // All of the file as it is now, `most` bytes at most. False when there is none, and errno tells why. A read that
    // fails after its first bytes is true, and `text.error` tells why.
    bool read(Contents& text, Reading how = Reading::Whole, size_t most = SIZE_MAX);
    // Whether the kernel has announced a change since the file was opened or this was last asked: of
    // /proc/self/mountinfo, /proc/swaps, /proc/mdstat. False when the file is not open.
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

// The entries of one held directory after the other, in one buffer. "." and ".." are left out.
class Listing {
    std::string buffer;
    size_t at = 0, end = 0;
    int fd = -1;

public:
    enum class Kind { File, Directory, Link, Other };
    struct Entry {
        const char* name; // valid until the next call
        uint64_t inode;
        Kind kind; // Other also where the filesystem does not tell
    };
    // The next entries are those that the directory has now.
    bool start(const HeldDirectory& of);
    // False at the end, and when the directory is no more.
    bool next(Entry& entry);
};
