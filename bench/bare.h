// The bare readers open, read and close the same files as a sample and parse nothing. For made-up files they split the
// text into words.
#pragma once

#include "base/door.h"
#include "classic/collect/flushed.h"

#include <string>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

// --- The machine's files

struct TBare {
    DIR* dir;
    int at;
    explicit TBare(int from, const char* name) {
        at = openat(from, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        dir = at < 0 ? nullptr : fdopendir(at);
    }
    ~TBare() {
        if (dir) closedir(dir);
    }
    TBare(const TBare&) = delete;
    TBare& operator=(const TBare&) = delete;
    // The next name that is not "." or "..".
    const char* next() {
        const dirent* entry = nullptr;
        while (dir && (entry = readdir(dir)) && entry->d_name[0] == '.') {
        }
        return entry ? entry->d_name : nullptr;
    }
};

inline char bareBuffer[16384];

inline void bareRead(int at, const char* name) {
    const int fd = openat(at, name, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    if (read(fd, bareBuffer, sizeof bareBuffer) < 0) {
    } // the process has ended meanwhile
    close(fd);
}

inline void bareThreads(int proc, const std::string& name) {
    TBare tasks(proc, (name + "task").c_str());
    while (const char* thread = tasks.next())
        for (const char* file : {"/stat", "/io"}) bareRead(tasks.at, (std::string(thread) + file).c_str());
}

inline void bareDescriptors(int proc, std::string name) {
    const int info = openat(proc, (name + "fdinfo").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    TBare fds(proc, name.append("fd/").c_str());
    while (const char* fd = fds.next()) {
        if (readlinkat(fds.at, fd, bareBuffer, sizeof bareBuffer) < 0) continue;
        bareRead(info, fd);
    }
    close(info);
}

inline void bareSample(bool threads, bool descriptors) {
    TBare proc(AT_FDCWD, "/proc");
    while (const char* process = proc.next()) {
        if (process[0] < '0' || process[0] > '9') continue;
        const std::string name = std::string(process) + "/";
        for (const char* file : {"stat", "status", "io", "cmdline"}) bareRead(proc.at, (name + file).c_str());
        if (threads) bareThreads(proc.at, name);
        if (descriptors) bareDescriptors(proc.at, name);
    }
}

// Reads a file that the kernel returns page by page.
inline void bareFile(const char* path) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    while (read(fd, bareBuffer, sizeof bareBuffer) > 0) {
    }
    close(fd);
}

// Asks each mounted filesystem for its space. The mount table is read with the C library's rules.
inline void bareMounts() {
    MountTable table;
    if (!table.open("/etc/mtab")) return;
    TSpace space;
    while (const auto* mount = table.next()) getSpace(mount->mnt_dir, space);
}

// --- Made-up text

inline size_t bareWords = 0; // counts the words, so that the compiler cannot drop the loop

inline void bareSplit(std::string_view text) {
    bool inside = false;
    for (char c : text) {
        const bool blank = c == ' ' || c == '\t' || c == '\n';
        if (inside && blank) bareWords++;
        inside = !blank;
    }
}

inline void bareSplitFile(const char* path) {
    static Contents text;
    if (readFile(path, text)) bareSplit(text.view());
}

inline void bareSplitCommand(const char* command) {
    static Contents text;
    if (runCommand(command, text)) bareSplit(text.view());
}
