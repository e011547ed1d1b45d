// /proc/PID/mountinfo: the mounts of one namespace.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct MountInfo {
    uint64_t id = 0, parent = 0;
    uint32_t major = 0, minor = 0; // of the filesystem; a number of its own (major 0) for btrfs, overlay, nfs ...
    std::string root;              // the mounted part of the filesystem: "/", a directory (bind), a subvolume
    std::string point;             // where
    std::string options, type, source, superOptions;
};

// One mount: 36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue
// False: not such a line. Octal escapes (\040 \011 \012 \134) are decoded.
bool parseMountInfoLine(std::string_view line, MountInfo& mount);
// All of them, in their order; damaged lines are left out.
std::vector<MountInfo> parseMountInfo(std::string_view text);

// The value of one of the options, "upperdir" of "rw,upperdir=/a,workdir=/b", its escapes (\, \: \\) decoded; empty
// when there is none.
std::string mountOption(std::string_view options, std::string_view name);
// The text with \ooo decoded.
std::string unescapeOctal(std::string_view text);
