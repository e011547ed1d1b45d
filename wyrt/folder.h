// A log in a folder of files: record/lognames.h has their names. A new file begins with each piece that has a head;
// closed files are compressed, and the oldest removed.
#pragma once

#include "base/folder.h"
#include "wyrt/logfile.h"
#include "wyrt/packer.h"
#include "wyrt/retention.h"

#include <cstdint>
#include <string>
#include <vector>

class LogFolder : public LogTarget {
    std::string dir, host;
    KeepLimits limits;
    FolderLock lock;
    LogFile file;
    std::string openName;         // of the open file; empty: none is open
    bool turned = false;          // the piece at hand has its new file
    uint64_t packing = 0;         // room set aside for the file that is being compressed
    std::vector<KeptFile> closed; // the oldest first
    TrustedClock clock;
    Packer packer;
    int failure = 0;

    std::string path(std::string_view name) const { return std::string(dir).append("/").append(name); }
    void list();
    void remove(const std::string& name);
    void finishLeftovers();
    void finish(const std::string& name);
    bool turn(int64_t time_ms);
    bool create(int64_t time_ms);
    bool makeAgain();
    void linkCurrent();
    void removeOld(int64_t time_ms);
    bool makeRoom(uint64_t needed);
    uint64_t used() const;
    Room room(uint64_t needed) const;
    void pack();

public:
    LogFolder(std::string folder, std::string hostName, KeepLimits keep)
        : dir(std::move(folder)), host(std::move(hostName)), limits(keep) {}
    // Becomes the folder's only recorder, and finishes what an earlier one left. False: errno has the reason,
    // EWOULDBLOCK: there is another recorder.
    bool open();
    Wrote write(const Piece& piece) override;
    bool sync() override { return !file.isOpen() || file.sync(); }
    void end() override;
    bool isGone() const override;
    int error() const override { return failure; }
};
