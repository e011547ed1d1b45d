// The open files that are known, as a table. Descriptors of all processes refer to it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

// An open file. Descriptors that share it have one position.
struct OpenFile {
    static constexpr uint32_t None = UINT32_MAX;
    enum class Type : uint8_t {
        File,   // a regular file whose status may be asked
        Device, // a block device
        Unasked // taken for a regular file, and never asked
    };
    uint64_t inode = 0;                // where the kernel does not tell: a digest of its path
    uint64_t position = 0, before = 0; // when it was last read; at the sample before that
    uint64_t common = 0;               // its position when all its descriptors were last found to have the same
    uint64_t size = 0;
    int64_t modified_ns = 0, growth = 0;
    uint32_t mount = 0, flags = 0, references = 0;
    uint32_t next = None, previous = None; // in the same bucket
    uint32_t pid = 0, descriptor = 0;      // that it was last read through
    uint32_t closer = 0, closed = 0;       // pid of the last process that closed a descriptor of it; in which pass
    uint32_t pass = 0;                     // in which it was last read
    uint32_t born = 0;                     // in which it was opened; 0: before it was first seen
    uint32_t agreed = 0;                   // descriptors that had this position, in its last pass
    uint32_t holders = 0;                  // of its last pass: position of the first plus 1
    Type type = Type::File;
    bool digested = false; // `inode` is a digest
    bool sized = false;    // `size` and `modified_ns` are known
    bool asked = false;    // for them, in its last pass
    bool written = false;  // one of them changed, in its last pass
    bool changed = false;  // in its last pass
    bool proven = true;    // descriptors share it because the kernel said so; otherwise their positions were equal
    bool free = false;     // a place for another one
};

class OpenFiles {
    static constexpr uint32_t None = OpenFile::None;
    std::deque<OpenFile> files;
    std::vector<uint32_t> unused, dying;
    std::vector<uint32_t> buckets; // the first file of each
    size_t used = 0;

    size_t bucketOf(const OpenFile& file) const;
    void link(uint32_t at);
    void unlink(uint32_t at);

public:
    OpenFile& operator[](uint32_t at) { return files[at]; }
    const OpenFile& operator[](uint32_t at) const { return files[at]; }
    // Returns its place. A file keeps it, and its address, until it is freed.
    uint32_t add(const OpenFile& made);
    // Of the files among which those of this inode and mount are, the first; `next` leads to the others. None: there
    // are none.
    uint32_t firstLike(const OpenFile& made) const { return buckets.empty() ? None : buckets[bucketOf(made)]; }
    // A descriptor of it was closed. None: it had no file.
    void release(uint32_t at);
    // Frees the files that have lost their last descriptor. One may be found again under another number, so this is
    // done when a sample is complete.
    void freeUnused();
};
