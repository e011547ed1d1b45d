// What the kernel knows of a file by its name.
#pragma once

#include "base/door.h"

#include <cstdint>

struct FileStatus {
    uint64_t inode = 0, size = 0;
    uint32_t major = 0, minor = 0; // of the device that the file is on
    int64_t modified_ns = 0;       // since 1970
    uint32_t mode = 0;             // type and rights, as in st_mode
};

// Follows a link to its end. Asks for what is known here: a remote filesystem is not asked to look again
// (AT_STATX_DONT_SYNC). False when there is no such file, and errno tells why.
bool getFileStatus(const char* path, FileStatus& status);
bool getFileStatus(const Place& at, const char* name, FileStatus& status);
