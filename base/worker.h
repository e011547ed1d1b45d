// Processes that do what may hang: a worker answers one question after another; a tool is a program that runs once. The
// rest of the program uses base/helper.h.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// The space of a filesystem, unsigned like the kernel's counts.
struct Space {
    uint64_t block = 0;                       // bytes
    uint64_t blocks = 0, free = 0, avail = 0; // in blocks
    uint64_t files = 0, files_free = 0;       // inodes
    bool read_only = false;
};

struct Answer;

struct Question {
    enum class Kind {
        Space, // words: DIR. The answer of statvfs
        Speed, // words: INTERFACE. The speed that its driver reports
        File,  // words: PATH. Its text from byte `from` on, at most 64 KiB
        Names, // words: DIRECTORY. The names in it from the `from`th on, a newline after each; at most 64 KiB
        // words: NAMESPACE REQUESTS. The messages of the answers to requests of SOCK_DIAG, which stand one after the
        // other, in the network namespace that this file leads to; ENOENT when it has not the inode number `from`.
        // `piece` gets them as they come
        Sockets,
        Tool, // words: PROGRAM ARGUMENT... What it prints; no shell, found in /usr/sbin:/usr/bin:/sbin:/bin
    };
    Kind kind = Kind::Space;
    std::vector<std::string> words;
    int64_t patience_us = 1000000; // its time; a tool is killed when it is over
    size_t most = size_t{4} << 20; // bytes of a tool's output
    uint64_t from = 0;
    // Gets the whole messages in `text`, of an answer that has no bound, until the question is answered or forgotten.
    // It must not ask the helper for anything.
    std::function<void(const Answer& part)> piece = nullptr;
};

struct Answer {
    int error = 0;        // errno of the question, 0: it was answered. ETIMEDOUT: a tool that was killed
    int64_t asked_us = 0; // monotonic, when the helper got it
    int64_t took_us = 0;  // until the answer; of one that is late, until now
    Space space;
    int64_t mbit = -1;  // speed in Mbit/s; -1: the driver does not know it
    std::string text;   // of a file or directory; of a tool, its standard output
    bool cut = false;   // there is more of it; of sockets, some may be missing
    uint64_t netns = 0; // of sockets, the cookie of their namespace, which no other one has; 0: not known (before 5.14)
    bool more = false;  // the text is a piece, and the rest of the answer follows (between worker and helper)
    int status = 0;     // of a tool, as the shell has it: 128 + N when signal N ended it, 127 when it was not found
};

// What has arrived from a process.
enum class Came { Nothing, Answer, End }; // End: the process has ended, or is of no use

// A process that answers the questions sent to it, in their order. It has no open file besides its end of a socket. It
// is killed when it is destroyed, which does not wait.
class Worker {
    int fd = -1, pid = -1;

public:
    Worker() = default;
    Worker(Worker&& other) noexcept { swap(other); }
    Worker& operator=(Worker&& other) noexcept {
        swap(other);
        return *this;
    }
    ~Worker();
    void swap(Worker& other) noexcept {
        std::swap(fd, other.fd);
        std::swap(pid, other.pid);
    }
    bool start();
    // `number` comes back with the answer. False: it takes no more for now.
    bool send(const Question& question, uint64_t number);
    // Does not wait.
    Came receive(Answer& answer, uint64_t& number);
    void kill();
    // Whether the process is gone, after kill(). One that ended stays in the process table until this was asked, and
    // one that hangs in the kernel ends later.
    bool isGone();
    int handle() const { return fd; }
};

// A tool that runs once.
class Tool {
    int fd = -1, pid = -1;
    bool killed = false;
    size_t most = 0;
    Answer answer;

public:
    Tool() = default;
    Tool(Tool&& other) noexcept { swap(other); }
    Tool& operator=(Tool&& other) noexcept {
        swap(other);
        return *this;
    }
    ~Tool();
    void swap(Tool& other) noexcept {
        std::swap(fd, other.fd);
        std::swap(pid, other.pid);
        std::swap(killed, other.killed);
        std::swap(most, other.most);
        std::swap(answer, other.answer);
    }
    bool start(const Question& question);
    // Does not wait. The answer comes when the tool has ended; End: it was killed and has ended.
    Came receive(Answer& to);
    void kill();
    int handle() const { return fd; } // -1: it has closed its output and goes on
};
