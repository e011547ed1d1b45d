// What a made-up machine has besides files: clocks, sockets, a terminal, helpers. tests/world/devices.cpp reads their
// directives.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

struct TClocks {
    int64_t monotonic = 1000000000, boot = 1000000000; // microseconds
    std::map<int, uint64_t> cpu;                       // nanoseconds by pid
    uint64_t own = 0;
    bool matchProc = true;
    int pid = 4242;
};

// An answer or a piece of news: real netlink messages.
struct TMessages {
    std::string bytes;
    int error = 0;
    bool interrupted = false;
};

struct TSocket {
    int protocol = 0;
    uint32_t groups = 0;
    std::deque<std::string> news;
    uint64_t lost = 0; // overruns that nobody has seen yet
};

// Whether the kernel tells about tasks that end.
struct TTaskstats {
    enum { None, Works, Silent } kind = None; // Silent: it says yes and sends nothing
    int refusal = 0;                          // errno
};

struct TFileFacts {
    std::optional<uint64_t> size;
    uint32_t major = 8, minor = 1;
    int64_t modified = 0; // nanoseconds
    std::optional<uint64_t> inode;
    char type = 0; // 'f', 'd', 'b', 'c'; 0: that of the node
    uint32_t deviceMajor = 0, deviceMinor = 0, links = 1;
};

struct TQuestion {
    uint64_t number = 0;
    int kind = 0;
    std::string words;
    int64_t since = 0; // when its helper came to it; 0: not yet
    uint64_t from = 0;
    std::string request;  // for sockets
    std::string messages; // of an answer about sockets
    uint64_t given = 0;   // bytes of them
    bool cut = false;     // some may be missing
    uint64_t netns = 0;   // the namespace's cookie
};

struct THeld {
    std::string path;
    uint64_t inode = 0;
    std::string seen; // its text when a change was last asked for
};

struct TDevices {
    std::string release = "6.1.0", machine = "x86_64";
    std::optional<std::pair<int, int>> size; // of the terminal: columns, rows
    std::string keys;
    int end = 0;
    bool pipeClosed = false, resized = false;
    std::map<std::string, TMessages> answers;   // by protocol and key
    std::map<std::string, uint64_t> netCookies; // by the inode number of a network namespace
    std::map<int, int> noSockets;               // errno by protocol
    TTaskstats taskstats;
    std::map<std::string, TFileFacts> facts;
    std::map<std::string, uint64_t> openFiles; // number of the open file, by the descriptor's path /proc/PID/fd/N
    std::set<std::string> hung;                // words of questions
    std::map<std::string, int64_t> delays;     // microseconds, by words
    std::map<std::string, int64_t> speeds;     // Mbit/s
    std::map<std::string, std::string> tools;  // output by words
    std::map<std::string, int> statuses;
    int64_t early = -1, late = 0; // of the step that comes next, microseconds

    // What is open, by handle.
    int lastHandle = 100000;
    std::map<int, TSocket> sockets;
    std::map<int, THeld> held;
    std::map<int, std::deque<TQuestion>> helpers;
    std::map<int, std::string> files; // that are written
    struct Unread {                   // a file that is read
        std::string name, text;
        uint64_t at = 0;    // of the next read
        bool plain = false; // not standard input
    };
    std::map<int, Unread> unread;

    // When the first question of a helper will be answered, monotonic; -1: never, or there is none.
    int64_t readyAt(int handle, int64_t now);
    // Whether a handle has something to read.
    bool isReady(int handle, int64_t now);
};

// The handle of the terminal's keys.
constexpr int KeysHandle = 99999;

// Gives news to the sockets of a protocol that listen to one of the groups. Those that registered for tasks that end
// have the group 1.
void tellAll(TDevices& devices, int protocol, uint32_t groups, const std::string& news);

// Lines of a body (tests/worlds/README.md) as netlink messages. Throws std::runtime_error.
TMessages encodeMessages(const std::string& protocol, const std::string& body);
// `socket` and `unix` lines as messages. What a kernel would answer to requests of SOCK_DIAG, which stand one after the
// other, from the lines of a network namespace: its inode number, or nothing for the machine's own.
std::string socketMessage(const std::string& rest);
std::string unixMessage(const std::string& rest);
TMessages socketsAnswer(const TDevices& devices, const std::string& requests, const std::string& netns);
// The answer to the question for the number of the family TASKSTATS.
std::string familyMessage(uint16_t number);
