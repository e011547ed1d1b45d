// Open files that moved or were written (FILE), and all of them together (FILES).
#pragma once

#include "record/kind.h"

#include <cstdint>
#include <optional>
#include <string>

// One open file description, once, whichever descriptors and processes share it. The evidence is
// - moved: its position moved;
// - opened: the same, and it was opened in the interval, so its position counts from 0;
// - shared: it moved, and several processes that ran have it;
// - passed: it moved at some time since it was last looked at, and no process that ran is known to have it;
// - written: its size or time changed while its position stood still.
struct FileRow {
    uint64_t pid = 0, start = 0; // as in PROC; of those that have it and ran, the one that read and wrote most
    uint64_t descriptor = 0;     // there
    uint64_t inode = 0, mount_id = 0;
    std::string name;       // of the process
    std::string user, unit; // of the process
    std::string path;       // as the process sees it; without " (deleted)"
    bool deleted = false;
    std::string flags;                         // words: "read write append direct sync"
    std::string mount, type;                   // where its filesystem is mounted; kind of the filesystem
    std::string volume, disk;                  // device that holds it, by name; the disks below it
    std::string device;                        // number of the device, 8:16
    std::string mark;                          // "=": the figures are exact; "~": they are inferred
    std::string evidence;                      // "moved", "opened", "shared", "passed", "written"
    std::optional<uint64_t> forward, backward; // bytes that its position moved
    std::optional<int64_t> growth;             // of its size, bytes
    std::optional<uint64_t> position, size;    // bytes
    std::optional<uint64_t> sharers;           // descriptors that share it, as far as they are known
};
inline constexpr auto FileKind = kind<FileRow>(
    "FILE", id("pid", &FileRow::pid), id("start", &FileRow::start), id("fd", &FileRow::descriptor),
    id("inode", &FileRow::inode), id("mnt_id", &FileRow::mount_id), label("name", &FileRow::name),
    label("user", &FileRow::user), label("unit", &FileRow::unit), label("path", &FileRow::path),
    level("deleted", "", &FileRow::deleted), label("flags", &FileRow::flags), label("mount", &FileRow::mount),
    label("type", &FileRow::type), label("volume", &FileRow::volume), label("disk", &FileRow::disk),
    label("dev", &FileRow::device), label("mark", &FileRow::mark), label("evidence", &FileRow::evidence),
    amount("forward", "B", &FileRow::forward), amount("backward", "B", &FileRow::backward),
    amount("growth", "B", &FileRow::growth), level("position", "B", &FileRow::position),
    level("size", "B", &FileRow::size), level("sharers", "", &FileRow::sharers));

struct FilesRow {
    uint64_t processes = 0;          // whose descriptors were looked at in this interval
    uint64_t descriptors = 0;        // of them
    uint64_t not_allowed = 0;        // processes that ran and whose descriptors could not be read
    uint64_t moved = 0, written = 0; // open files, by their evidence; with those that found no room
    uint64_t known = 0;              // descriptors of all processes whose files were looked at, since the start
};
inline constexpr auto FilesKind = kind<FilesRow>(
    "FILES", level("processes", "", &FilesRow::processes), level("descriptors", "", &FilesRow::descriptors),
    level("not_allowed", "", &FilesRow::not_allowed), level("moved", "", &FilesRow::moved),
    level("written", "", &FilesRow::written), level("known", "", &FilesRow::known));
