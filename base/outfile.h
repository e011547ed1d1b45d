// A file that is written: a log, an export.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

class OutFile {
    int fd = -1;

public:
    enum class How {
        New,    // made, or emptied
        Append, // made, or written at its end
    };
    OutFile() = default;
    OutFile(OutFile&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    OutFile& operator=(OutFile&& other) noexcept {
        std::swap(fd, other.fd);
        return *this;
    }
    ~OutFile() { close(); }
    // A file of its own rights 0640 (less the umask). False when it cannot be made, and errno tells why.
    bool open(const std::string& path, How how);
    // Standard output instead.
    void openStandard();
    bool isOpen() const { return fd >= 0; }
    // All of the text, or false, and errno tells why: a part of it may have been written.
    bool write(std::string_view text);
    bool sync();                  // waits until the bytes are on the disk (fdatasync)
    bool truncate(uint64_t size); // cuts it back, for an interval that was written in part
    bool size(uint64_t& bytes);
    bool close();
};
