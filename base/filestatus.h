// The kernel's information about a file.
#pragma once

#include "base/door.h"

#include <cstdint>
#include <optional>

struct FileStatus {
    uint64_t inode = 0, size = 0;
    uint32_t major = 0, minor = 0;             // of the device that the file is on
    int64_t modified_ns = 0;                   // since 1970
    uint32_t mode = 0;                         // type and rights, as in st_mode
    uint32_t deviceMajor = 0, deviceMinor = 0; // of a device file: what it stands for
    uint32_t links = 1;                        // names that the file has; 0: it was deleted
};

// Follows links. Uses what this machine knows and does not ask a remote server (AT_STATX_DONT_SYNC). False when there
// is no such file; errno has the reason.
bool getFileStatus(const char* path, FileStatus& status);
bool getFileStatus(const Place& at, const char* name, FileStatus& status);

// Whether two descriptors stand for one open file, with one position: made by fork, dup, or handed over. None where the
// kernel does not answer (rights, a kernel without kcmp) or one of them is gone.
struct DescriptorOf {
    int pid = 0, number = 0;
};
std::optional<bool> isOneOpenFile(DescriptorOf one, DescriptorOf other);
