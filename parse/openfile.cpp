#include "parse/openfile.h"

#include "base/numbers.h"

#include <fcntl.h>

// The value of a line "key:\t123", which is taken off the text when it has this key.
template <typename N> static bool takeValue(std::string_view& text, std::string_view key, N& value, int base = 10) {
    if (!text.starts_with(key)) return false;
    auto rest = text.substr(key.size());
    std::string_view line;
    if (!takeLine(rest, line) || !line.starts_with('\t') || !toNumber(line.substr(1), value, base)) return false;
    text = rest;
    return true;
}

std::optional<OpenFileInfo> parseOpenFile(std::string_view text) {
    OpenFileInfo info;
    int64_t position = 0; // signed in the kernel; no regular file has a position below 0
    if (!takeValue(text, "pos:", position) || !takeValue(text, "flags:", info.flags, 8)) return {};
    info.position = position < 0 ? 0 : static_cast<uint64_t>(position);
    if (uint32_t mount = 0; takeValue(text, "mnt_id:", mount)) info.mount = mount;
    if (uint64_t inode = 0; takeValue(text, "ino:", inode)) info.inode = inode;
    return info;
}

bool hasContent(uint32_t flags) { return (flags & (O_PATH | O_DIRECTORY)) == 0 || (flags & O_TMPFILE) == O_TMPFILE; }

bool canRead(uint32_t flags) { return (flags & O_PATH) == 0 && (flags & O_ACCMODE) != O_WRONLY; }

bool canWrite(uint32_t flags) { return (flags & O_PATH) == 0 && (flags & O_ACCMODE) != O_RDONLY; }

std::string flagWords(uint32_t flags) {
    static constexpr struct {
        uint32_t bits;
        const char* word;
    } Words[] = {
        {O_APPEND,  " append" },
        {O_DIRECT,  " direct" },
        {O_SYNC,    " sync"   },
        {O_DSYNC,   " dsync"  }, // a part of O_SYNC
        {O_NOATIME, " noatime"},
        {O_TMPFILE, " tmpfile"},
    };
    if (flags & O_PATH) return "path";
    const auto access = flags & O_ACCMODE;
    std::string words = access == O_RDONLY ? "read" : access == O_WRONLY ? "write" : "read write";
    for (auto& flag : Words) {
        if ((flags & flag.bits) != flag.bits || (flag.bits == O_DSYNC && (flags & O_SYNC) == O_SYNC)) continue;
        words += flag.word;
    }
    return words;
}
