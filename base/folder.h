// Changes in a folder of files. Part of the door: base/door/folder.cpp is the real one. When a function returns false,
// errno has the reason.
#pragma once

#include <utility>

// Also true when the folder exists. Rights 0750.
bool makeFolder(const char* path);
// Replaces what has the new name, in one step.
bool renameFile(const char* from, const char* to);
// Makes a symbolic link. False when something has that name.
bool makeLink(const char* target, const char* path);
// Waits until the names in the folder are on the disk.
bool syncFolder(const char* path);

// The right to be the only program that writes to a folder. It ends with the program, however that ends.
class FolderLock {
    int fd = -1;

public:
    FolderLock() = default;
    FolderLock(FolderLock&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    FolderLock& operator=(FolderLock&& other) noexcept {
        std::swap(fd, other.fd);
        return *this;
    }
    ~FolderLock() { release(); }
    // False with EWOULDBLOCK: another program has it.
    bool take(const char* path);
    void release();
};
