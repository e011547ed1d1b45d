// Which mounts are filesystems with space of their own.
#pragma once

#include "parse/mountinfo.h"

#include <string_view>
#include <vector>

// Whether a type of filesystem has no space of its own, as /proc has none, or must never be asked (autofs mounts what
// it is asked for).
bool isPseudoFs(std::string_view type);
// Whether its files are on another machine or in a program's hands.
bool isRemoteFs(std::string_view type);
// One mount for each filesystem that a path leads to: of several, the first whose root is the filesystem's own.
std::vector<MountInfo> filesystemsOf(const std::vector<MountInfo>& mounts);
