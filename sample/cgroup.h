// The control groups of the machine, as a tree, with what each used at the last two times it was read.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "parse/cgroup.h"
#include "sample/diskkind.h"
#include "sample/groupnames.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A number that may be missing, in 8 bytes: a machine can have ten thousand groups.
class GroupNumber {
    static constexpr uint64_t Missing = UINT64_MAX;
    uint64_t number = Missing;

public:
    GroupNumber() = default;
    GroupNumber(const std::optional<uint64_t>& value) : number(value.value_or(Missing)) {} // NOLINT: it is one
    operator std::optional<uint64_t>() const {                                             // NOLINT
        return number == Missing ? std::nullopt : std::optional(number);
    }
    bool operator==(const GroupNumber&) const = default;
};

// Since the group was made.
struct GroupCounters {
    GroupNumber cpu_us, user_us, system_us, periods, throttled_periods, throttled_us;
    GroupNumber cpu_some_us, cpu_full_us, memory_some_us, memory_full_us, io_some_us, io_full_us;
    GroupNumber memory_high, memory_max, oom_kills;
};

// Its state now. Limits that are not set are missing.
struct GroupLevels {
    GroupNumber memory, memory_high, memory_max, swap, swap_max, pids, pids_max, quota_us, period_us;
    bool operator==(const GroupLevels&) const = default;
};

struct Group {
    static constexpr uint32_t None = UINT32_MAX;
    // --- its place in the tree; positions in CgroupSample::groups
    uint32_t parent = None, child = None, next = None; // the first child; the next sibling. Children by name
    uint16_t depth = 0;
    std::string name; // the last part of its path; of the root empty

    // --- what it is
    GroupKind kind = GroupKind::Group;
    bool named = false; // the title is a name; otherwise it is what the path has
    std::string title;  // of a container or pod: its name, or the first 12 digits of its id; of a unit its name

    // --- what it did
    bool read = false;          // in this pass; otherwise nothing moved in it
    bool born = false;          // after the first pass: its counters began at 0
    uint8_t readings = 0;       // 1: there is nothing to subtract, but where it was born
    bool levelsChanged = false; // or its name is known since this pass
    GroupCounters before, now;
    GroupLevels levels;
    bool hasIo = false; // the kernel counts its I/O
    std::vector<GroupIo> ioBefore, ioNow;

    // --- the sampler's own
    HeldDirectory directory;  // version 2; only some hundreds of them stay open
    uint64_t digest = 0;      // of the files that show whether anything moved in it or below
    uint64_t descendants = 0; // how many groups are below, as the kernel counts them
    uint64_t inode = 0;
    uint32_t pass = 0;       // in which it was visited
    uint8_t hierarchies = 0; // version 1: which of them have the group, a bit each
    uint8_t tries = 0;       // how often its name was looked for
    bool still = false;      // in this pass, and all below it
    bool listed = false;     // the groups below it are known
    bool relist = false;     // one of them was found to be gone
    bool gone = false;       // it was removed; its place is free after its parent has been listed
};

// A disk that groups used.
struct GroupDisk {
    std::string name;                // sda; empty: not known
    bool pseudo = false;             // its transfers are those of files, or of memory
    std::vector<DeviceNumber> below; // the disks that it stands on, which may count the same transfers
};

struct CgroupSample {
    int64_t at_us = 0, before_us = 0;        // monotonic, of this pass and of the last one
    bool known = false;                      // the machine has control groups
    bool paired = false;                     // this was not the first pass
    bool second = false;                     // version 2
    std::deque<Group> groups;                // the root is the first; some places are free
    uint64_t count = 0;                      // without the root
    std::map<DeviceNumber, GroupDisk> disks; // by number, those that groups used

    // The group that follows in the order of the tree, each before its children; None at the end. `skip`: without the
    // groups below it.
    uint32_t after(uint32_t at, bool skip = false) const;
    // "/system.slice/ssh.service"
    std::string pathOf(uint32_t at) const;
};

class CgroupSampler {
    Root root;
    Contents text;
    Listing listing;
    KeyPlan cpuPlan, eventsPlan;
    std::string mounts[5]; // version 2: the first. Version 1: cpu, cpuacct, memory, pids, blkio; empty: there is none
    bool mounted = false, second = false;
    std::vector<uint32_t> unused; // places of groups that ended
    uint32_t pass = 0;
    uint32_t cursor = 0; // the next group whose levels are read though nothing moved
    size_t held = 0;     // open directories
    struct Found {
        std::string name;
        uint64_t inode = 0;
        uint8_t hierarchies = 0;
    };
    std::vector<Found> found; // what a listing gave
    GroupNames names;
    uint32_t disksRead = 0; // the pass in which the names of disks were last forgotten

    void findMounts();
    void addMount(std::string_view type, std::string_view options, const std::string& point);
    bool readText(const Place& at, const char* name);
    std::optional<uint64_t> number(const Place& at, const char* name);
    std::optional<uint64_t> limit1(const Place& at, const char* name);
    void pressure(const Place& at, const char* name, GroupNumber& some_us, GroupNumber& full_us);

    void setTitle(std::string_view parent, Group& group);
    void takeNames(CgroupSample& sample);
    void nameDisks(CgroupSample& sample, const Group& group);

    uint32_t add(CgroupSample& sample, uint32_t parent, const Found& what);
    void remove(CgroupSample& sample, uint32_t at);
    void collect(const HeldDirectory& directory, uint8_t hierarchy);
    void list(CgroupSample& sample, uint32_t at, const HeldDirectory* place);
    void merge(CgroupSample& sample, uint32_t at);

    const HeldDirectory* enter(const CgroupSample& sample, uint32_t at, HeldDirectory& own);
    // What shows whether something moved in a group or below it.
    struct Signs {
        GroupCpu cpu;
        GroupMemoryEvents events;
        std::optional<uint64_t> descendants;
        bool hasIo = false;
        uint64_t digest = 0; // of all of it
    };
    bool readSigns(const Place& at, bool isRoot, Signs& signs);
    void readLevels2(const Place& at, Group& group);
    void readMoved2(CgroupSample& sample, const Place& at, const Signs& signs, Group& group);
    void visit2(CgroupSample& sample, uint32_t at);
    bool readIo1(const Place& at, Group& group);
    void readCpu1(const Place& at, GroupCounters& now, GroupLevels& levels);
    void readMemory1(const Place& at, GroupCounters& now, GroupLevels& levels);
    void visit1(CgroupSample& sample, uint32_t at);
    bool walk(CgroupSample& sample);
    void refreshSome(CgroupSample& sample);

public:
    static constexpr uint16_t MostDepth = 64; // groups further down are part of those above them, and not shown
    static constexpr size_t MostHeld = 400;   // others are opened each time: a process may often open 1,024 files only
    static constexpr uint32_t Turn = 32;      // passes in which the levels of all still groups are read again
    CgroupSampler(const Root& where, Helper& asked) : root(where), names(where, asked) {}
    // The same sample each time: it keeps the tree.
    void sample(CgroupSample& now);
    uint64_t notAllowed() const { return text.denied + names.notAllowed(); }
};
