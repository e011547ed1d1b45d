// The only door to the machine: files, directories, mounts, commands, accounts, the clock, the pause and the two output
// streams. base/door.cpp is the real one; the tests link a made-up machine in its place. When a function returns false,
// errno has the reason.
#pragma once

#include <cerrno>
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

// The text of a file or a command, in a buffer that is used again for the next one.
struct Contents {
    std::unique_ptr<char[]> data;
    size_t capacity = 0;
    size_t size = 0;
    int error = 0; // errno of a read that failed after the open (EISDIR, ESRCH, ...); `size` bytes were read before it
    uint64_t denied = 0; // files that a right forbade to read into this buffer, so far
    // Counts a failure if a right was the reason. Gives it back.
    int noted(int reason) {
        denied += reason == EACCES || reason == EPERM;
        return reason;
    }
    std::string_view view() const { return {data.get(), size}; }
};

// When the reading of a file ends.
enum class Reading {
    Whole,  // when a read gives nothing: for files that the kernel hands out page by page
    Single, // when a read does not fill the buffer: for files that the kernel makes in one piece
};

// Where relative names start: a directory that one of the two classes below holds open. Only they open and close it.
class Place {
protected:
    int fd = -1;
    Place() = default;
    ~Place() = default;

public:
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    int handle() const { return fd; }
};

// A place whose entries are not read.
class HeldPlace : public Place {
public:
    ~HeldPlace() { close(); }
    bool open(const char* path);
    bool open(const Place& at, const char* name);
    void close();
};

// A place whose entries can be read, in the file system's order, "." and ".." included.
class Directory : public Place {
    void* dir = nullptr;
    bool hold(void* opened); // keeps what was opened; null: nothing was

public:
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

// The answer of fstatfs for a directory; unsigned, as the kernel counts.
struct TSpace {
    long bsize = 0;                             // block size, bytes
    uint64_t blocks = 0, bfree = 0, bavail = 0; // in blocks
    uint64_t files = 0, ffree = 0;              // inodes
};
enum class SpaceAnswer { Ok, StatFailed, OpenFailed, StatfsFailed };
// Asks the filesystem mounted at the directory: stat, open read-only, fstatfs. These calls do not return before the
// filesystem answers, which a network filesystem may never do when its server is gone.
SpaceAnswer getSpace(const char* dir, TSpace& space);

// --- Commands

// A command that runs in a shell, and its standard output, read as it comes.
class ShellCommand {
    int output = -1, process = -1;

public:
    ShellCommand() = default;
    ShellCommand(const ShellCommand&) = delete;
    ShellCommand& operator=(const ShellCommand&) = delete;
    ~ShellCommand() { close(); }
    bool start(const char* command);
    // Adds the next bytes of the output to the text. False when the output has ended.
    bool read(Contents& text);
    // Closes the pipe and waits until the command has ended. SIGPIPE ends a command that goes on printing: the command
    // starts with that signal's default action, even when this program was started with SIGPIPE ignored.
    void close();
};

// --- Accounts, constants

// The account name of a user id, as the C library finds it: a directory service may take as long as it likes.
bool getUserName(uint32_t uid, std::string& name);
// The name that /etc/passwd has for it, which takes no service.
bool readUserName(uint32_t uid, std::string& name);
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
// Sleeps.
void pauseFor(unsigned microseconds);

// --- Output streams, used by base/output.h

bool isTerminal();                  // whether standard output is one
void putOut(std::string_view text); // to standard output, as much as it accepts
void putErr(std::string_view text); // to standard error
