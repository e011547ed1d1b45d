// Where a log goes, piece by piece: each piece is a whole interval, with a head before it where one begins.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

struct Piece {
    std::string text;
    int64_t time_ms = 0; // of its interval
    bool begins = false; // it has a head: in a folder, it begins a file

    Piece() = default;
    explicit Piece(std::string lines, int64_t time = 0, bool head = false)
        : text(std::move(lines)), time_ms(time), begins(head) {}
};

enum class Wrote {
    All,
    Later,    // there is no room: the same piece again, when there may be some
    NoReader, // nobody reads it any more
    Lost,     // it cannot be written, and never will be
};

class LogTarget {
public:
    LogTarget() = default;
    LogTarget(const LogTarget&) = delete;
    LogTarget& operator=(const LogTarget&) = delete;
    virtual ~LogTarget() = default;
    // After Later the same piece must come again.
    virtual Wrote write(const Piece& piece) = 0;
    // Waits until everything is on the disk.
    virtual bool sync() = 0;
    // Cuts off a piece that was written in part, and closes.
    virtual void end() = 0;
    // Whether what was written last has lost its name: the next piece should have a head.
    virtual bool isGone() const { return false; }
    // errno of the last write; 0: it was written.
    virtual int error() const = 0;
};
