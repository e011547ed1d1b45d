// A made-up machine in steps, read from a folder of tests/worlds (its format: tests/worlds/README.md). The functions of
// base/door.h answer from the current one.
#pragma once

#include "tests/world/devices.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct TNode {
    enum Kind { File, Dir, Link } kind = Dir;
    std::string text; // a file's content, a link's target
    uint64_t inode = 0;
    std::vector<std::string> entries; // of a directory, in the order in which they were made
};

// The unit in which a made-up disk has room.
inline constexpr uint64_t DiskBlock = 4096;

struct TSpaceFacts {
    uint64_t bsize = 0, blocks = 0, bfree = 0, bavail = 0, files = 0, ffree = 0;
    bool readOnly = false;
};

// Thrown to end a run when the world has no further step.
struct TKilled {};

// Thrown to end a run that became another program.
struct TBecame {};

class World {
    struct Step;
    std::vector<std::vector<std::vector<std::string>>> steps; // directives, each its words and its body
    std::map<std::string, TNode> nodes;
    std::map<std::pair<std::string, std::string>, int> fails; // by operation and path
    std::map<std::string, int64_t> slows, slowCommands;       // milliseconds
    std::map<std::string, TSpaceFacts> spaces;
    std::map<std::string, uint64_t> disks; // size of a filesystem, by the folder where it is mounted
    std::map<std::string, std::string> commands;
    std::set<std::string> noPipes, endlessCommands;
    std::map<uint32_t, std::string> users;
    size_t reached = 0; // the current step
    int64_t now = 0;    // microseconds since the epoch
    uint64_t nextInode = 1000;

    bool started = false; // past step 0

    void load(const std::string& file);
    bool applyClock(const std::string& name, std::string rest);
    bool applyDevice(const std::string& name, std::string rest, const std::vector<std::string>& directive);
    void nextStep();
    void apply(const std::vector<std::string>& directive);
    void make(const std::string& path, TNode::Kind kind, std::string text);
    void drop(const std::string& path);
    const std::pair<const std::string, uint64_t>* diskOf(const std::string& path) const; // null: room without end
    uint64_t usedOf(const std::string& disk) const;                                      // blocks

public:
    std::string program = "wyrt", hostName = "host", zone = "UTC0", log;
    int hostError = 0, pageSize = 4096, clockTicks = 100;
    bool terminal = false;
    TClocks clocks;
    TDevices devices;
    std::string saved; // the folder of this machine that gets copies of written files; empty: none
    std::function<void(const std::string&)>
        watch; // called with each path before it is opened and each command before it runs

    // Throws std::runtime_error with the file and line of what it cannot read.
    explicit World(const std::string& folder);

    const TNode* find(const std::string& path) const; // null: there is none
    // The path with its links followed; the last name of it only when asked for.
    std::string resolved(std::string path, bool last) const;
    int failure(const char* operation, const std::string& path) const; // errno, 0: it works
    void open(const std::string& path);                                // lets the time pass that opening it takes
    bool run(const std::string& command, std::string& text);
    bool endless(const std::string& command) const { return endlessCommands.count(command) > 0; }
    bool space(const std::string& path, TSpaceFacts& facts) const;
    const std::string* user(uint32_t uid) const;
    int64_t clock() const { return now / 1000; } // milliseconds since the epoch
    void advance(int64_t microseconds);          // all clocks
    void pause(unsigned microseconds);
    // Waits until the monotonic clock reaches the deadline or `woken` says so; steps come meanwhile.
    void wait(int64_t deadline, const std::function<bool()>& woken, const std::function<int64_t()>& soonest);
    // Adds to a file, which is made where there is none; errno.
    int append(const std::string& path, std::string_view text);
    int truncate(const std::string& path, uint64_t size);
    int remove(const std::string& path); // errno
    int makeFolder(const std::string& path);
    int makeLink(const std::string& path, const std::string& target);
    int rename(const std::string& from, const std::string& to);
    // The programs that run beside this one, by handle; what runs one, and gives its status.
    std::map<int, std::vector<std::string>> children;
    std::function<int(const std::vector<std::string>& words)> child;

    static std::string normal(std::string_view path);
    static World* current; // the current one
};
