// The door: the only way to files, directories, mounts, commands, accounts, the clock, the pause and the two output
// streams. base/door.cpp is the real door; the tests link a made-up machine in its place. When a function returns
// false, errno has the reason.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include <mntent.h>

// Closes a handle with its own function when its owner ends.
template <auto Close> struct Closer {
    template <typename H> void operator()(H* h) const { Close(h); }
};

// --- Files

// A file's text in a buffer that is reused from file to file.
struct Contents {
    std::unique_ptr<char[]> data;
    size_t capacity = 0;
    size_t size = 0;
    int error = 0; // errno of a read that failed after the open (EISDIR, ESRCH, ...); `size` bytes were read before it
    std::string_view view() const { return {data.get(), size}; }
};

// How a file is read.
enum class Reading {
    Whole,  // until a read returns nothing: for files that the kernel returns page by page
    Single, // until a read does not fill the buffer: for files that the kernel returns in one piece
};

// An open directory, from which relative names start.
class Place {
protected:
    int fd = -1;

public:
    Place() = default;
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place() { close(); }
    bool open(const char* path);
    bool open(const Place& at, const char* name);
    void close();
    int handle() const { return fd; }
};

// A directory whose entries can be read, in the file system's order, "." and ".." included. It is a place, too.
class Directory : public Place {
    void* dir = nullptr;
    bool hold(void* opened); // takes over an open directory; null: opening failed

public:
    Directory() = default;
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    ~Directory() { close(); }
    struct Entry {
        const char* name; // valid until the next call
        uint64_t inode;
    };
    bool open(const char* path);
    bool open(const Place& at, const char* name);
    bool next(Entry& entry);
    void close();
};

// Reads at most `most` bytes of a file. False when it cannot be opened. A directory can be opened, but has no text.
// Opening never blocks, whatever the name leads to.
bool readFile(const char* path, Contents& text, Reading how = Reading::Whole, size_t most = SIZE_MAX);
bool readFile(const Place& at, const char* name, Contents& text, Reading how = Reading::Whole, size_t most = SIZE_MAX);
// Whether the file can be opened for reading.
bool canOpen(const char* path);
// The target of a symbolic link, at most `size` bytes, not terminated; -1 when it cannot be read.
ptrdiff_t readLink(const Place& at, const char* name, char* target, size_t size);
// The inode number of the path's target.
bool inodeOf(const char* path, uint64_t& inode);
// Deletes a name.
bool removeFile(const char* path);

// --- Mounted filesystems

// The entries of a mount table, by the C library's own rules (octal escapes decoded).
class MountTable {
    std::unique_ptr<FILE, Closer<endmntent>> table;

public:
    bool open(const char* path);
    // Null at the end; valid until the next call.
    const mntent* next();
};

// The answer of fstatfs for a directory, unsigned like the kernel's counts.
struct TSpace {
    long bsize = 0;                             // block size, bytes
    uint64_t blocks = 0, bfree = 0, bavail = 0; // in blocks
    uint64_t files = 0, ffree = 0;              // inodes
};
enum class SpaceAnswer { Ok, StatFailed, OpenFailed, StatfsFailed };
// Asks the filesystem mounted at the directory: stat, open read-only, fstatfs. These calls block as long as the
// filesystem does not answer (a network filesystem whose server is gone).
SpaceAnswer getSpace(const char* dir, TSpace& space);

// --- Commands, accounts, constants

// Runs a command in a shell and collects its standard output. Flushes pending output first.
bool runCommand(const char* command, Contents& text);
// The account name of a user id.
bool getUserName(uint32_t uid, std::string& name);
bool getHostName(char* name, size_t size);
int getPageSize();   // bytes
int getClockTicks(); // per second

// --- Clock

struct TStamp {
    time_t seconds = 0; // since the epoch
    int millis = 0;     // 0 to 999
    double value() const { return static_cast<double>(seconds) + millis / 1000.0; }
};
TStamp getClock();
// Flushes pending output and sleeps.
void pauseFor(unsigned microseconds);

// --- Output streams, used by base/output.h

bool isTerminal();                  // whether standard output is one
void putOut(std::string_view text); // to standard output, as much as it accepts
void putErr(std::string_view text); // to standard error
