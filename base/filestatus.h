// The kernel's information about a file.
#pragma once

#include "base/door.h"

#include <cstdint>

struct FileStatus {
    uint64_t inode = 0, size = 0;
    uint32_t major = 0, minor = 0; // of the device that the file is on
    int64_t modified_ns = 0;       // since 1970
    uint32_t mode = 0;             // type and rights, as in st_mode
};

// Follows links. Uses what this machine knows and does not ask a remote server (AT_STATX_DONT_SYNC). False when there
// is no such file; errno has the reason.
bool getFileStatus(const char* path, FileStatus& status);
bool getFileStatus(const Place& at, const char* name, FileStatus& status);
