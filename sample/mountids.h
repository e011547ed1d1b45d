// The mounts by their ids, by which the kernel says where an open file is. No two mounts of the machine have the same,
// as long as they last.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "parse/mountinfo.h"

#include <cstdint>
#include <string>
#include <unordered_map>

class MountIds {
public:
    enum class Kind : uint8_t {
        Local,
        Remote,  // its files are never asked for their status: the server may not answer
        Kernel,  // proc, sysfs and the like: nothing of it is on a disk, and nothing grows
        Unknown, // in no mount table: unmounted while in use, or the kernel's own
    };
    struct Mount {
        Kind kind = Kind::Unknown;
        bool own = false; // in the program's own mount namespace
        uint32_t major = 0, minor = 0;
        std::string point, type, source;
    };
    explicit MountIds(const Root& where) : root(where), table(where, "/proc/self/mountinfo") {}
    // Reads the own table again when the kernel has announced a change. What is known of other namespaces is forgotten
    // now and then, because an id can be given to another mount.
    void renew();
    // Null: not a mount of the program's own namespace, and of no other one that was read.
    const Mount* find(uint32_t id) const;
    // The same; where it is not known, the table of the process is read.
    const Mount& find(uint32_t id, uint32_t pid);

private:
    Root root;
    HeldFile table;
    Contents text;
    std::unordered_map<uint32_t, Mount> mounts;
    unsigned renewals = 0;
    bool known = false;

    void add(const MountInfo& info, bool own);
    void readOf(uint32_t pid);
};
