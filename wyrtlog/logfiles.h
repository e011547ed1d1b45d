// The files that a command's operands name.
#pragma once

#include "record/log.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

// A file, and what its name says when a recorder has named it.
struct LogPath {
    std::string path;
    bool kept = false; // a recorder's: it has one head, and its times never fall
    bool once = false; // standard input or another pipe: what was read of it is gone
    // Its intervals end from one to the other; a recorder's newest file has no end.
    int64_t begin_ms = std::numeric_limits<int64_t>::min(), end_ms = std::numeric_limits<int64_t>::max();
};

// In the operands' order: of a folder the logs in it (*.wyrt, *.wyrt.zst, *.wyrt.gz ...). No operands are LogFolder.
// A folder that cannot be read is a line on standard error, and sets `status`.
enum class Report { Yes, No };
std::vector<LogPath> logPaths(const std::vector<std::string>& operands, int& status, Report report = Report::Yes);
// Whether an operand can be read only once, from its start to its end: "-", or a pipe that has a name.
bool isReadOnce(const std::string& operand);
// Whether writing a file would destroy one of the logs: it is one of them, by whatever name.
bool isOneOf(const std::vector<std::string>& operands, const std::string& path);
// Removes the recorders' files that cannot have an interval of the span.
void leaveOutOthers(std::vector<LogPath>& paths, const Bounds& bounds);
