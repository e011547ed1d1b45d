// A file that is read piece by piece: a log. Part of the door: base/door/infile.cpp is the real one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

class InFile {
    int fd = -1;
    int error = 0;

public:
    InFile() = default;
    InFile(InFile&& other) noexcept : fd(std::exchange(other.fd, -1)), error(other.error) {}
    InFile& operator=(InFile&&) = delete;
    ~InFile() { close(); }
    // False when it cannot be opened, and errno tells why. A directory cannot.
    bool open(const std::string& path);
    // Standard input instead.
    void openStandard();
    // At most `size` bytes; 0 at the end, and after a read that failed. Waits where the file has to be waited for (a
    // pipe).
    size_t read(char* to, size_t size);
    // Leaves out the next bytes. False where that cannot be done, as in a pipe.
    bool skip(uint64_t bytes);
    // The size of a plain file, which can be read anywhere; none: it is a pipe or a device.
    std::optional<uint64_t> size();
    // At most `size` bytes from this position on; 0 at the end, and where they cannot be read.
    size_t readAt(uint64_t at, char* to, size_t size);
    // The next read begins there.
    bool goTo(uint64_t at);
    // errno of the read that failed; 0: none has.
    int failure() const { return error; }
    void close();
};
