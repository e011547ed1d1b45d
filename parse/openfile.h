// The text of /proc/PID/fdinfo/FD as the new form needs it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct OpenFileInfo {
    uint64_t position = 0;         // bytes
    uint32_t flags = 0;            // O_RDONLY, O_APPEND ...
    std::optional<uint32_t> mount; // id of its mount; kernels since 3.15
    std::optional<uint64_t> inode; // since 5.14
};

// pos:	1024
// flags:	0100002
// mnt_id:	29
// ino:	1311
// The first two lines must be there; what follows the others depends on the kind of file. None: not such a text.
std::optional<OpenFileInfo> parseOpenFile(std::string_view text);

// Whether a descriptor with these flags can read or write the content of a regular file or device: one of a directory
// or only of a place in a filesystem (O_PATH) cannot.
bool hasContent(uint32_t flags);
bool canRead(uint32_t flags);
bool canWrite(uint32_t flags);
// "read write append direct sync"
std::string flagWords(uint32_t flags);
