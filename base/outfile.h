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
        New,    // created or emptied
        Append, // created, or written at its end
        Create, // created; fails with EEXIST when there is one
    };
    OutFile() = default;
    OutFile(OutFile&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    OutFile& operator=(OutFile&& other) noexcept {
        std::swap(fd, other.fd);
        return *this;
    }
    ~OutFile() { close(); }
    // Opens a file with the rights 0640 (less the umask). False when that fails; errno has the reason.
    bool open(const std::string& path, How how);
    // Standard output instead.
    void openStandard();
    bool isOpen() const { return fd >= 0; }
    // Writes all of the text. False when that fails, with the reason in errno; a part may have been written.
    bool write(std::string_view text);
    bool sync();                  // waits until the bytes are on the disk (fdatasync)
    bool truncate(uint64_t size); // cuts it back, for an interval that was written in part
    bool size(uint64_t& bytes);
    // Lets the group adm read it, where there is such a group and this program may: 0640 whatever the umask.
    void shareWithAdm();
    bool close();
};
