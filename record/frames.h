// A log as a sequence of heads and intervals whose lines nobody has taken apart yet. Readers of rows, exports and
// checks stand on it.
#pragma once

#include "record/moment.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

// Takes the text up to the next comma, and the comma, off a line.
inline std::string_view takeCell(std::string_view& line) {
    const auto comma = line.find(',');
    const auto cell = line.substr(0, comma);
    line.remove_prefix(comma == line.npos ? line.size() : comma + 1);
    return cell;
}

// The fields of an END line.
struct Ending {
    Moment time;
    int64_t elapsed_us = 0;
    uint64_t number = 0, records = 0, bytes = 0;
    uint32_t sum = 0;
    size_t upToSum = 0; // number of the line's bytes that the checksum covers
};
// The line without its newline. False: it is no such line.
bool parseEnding(std::string_view line, Ending& ending);

// A head or an interval, or what is damaged between two of them.
struct Frame {
    std::string_view text; // its lines without the END; valid until the next call
    std::string_view end;  // the END line with its newline; empty: there is none
    Ending ending;         // where it is dated
    bool dated = false;    // there is an END line, right or not
    bool good = false;     // its checksum is right
    bool isHead = false;
    uint64_t at = 0; // its position in the log
};

class LogFrames {
public:
    // Gives at most `size` bytes to `to`; 0: there are no more.
    using Read = std::function<size_t(char* to, size_t size)>;
    // Lengths: frames whose length is the one that their END has count as good. That is faster, and finds less damage.
    enum class Check { Sums, Lengths };
    enum class Found {
        Frame,
        Torn, // the log ends in the middle of this frame
        End
    };
    explicit LogFrames(Read source, Check how = Check::Sums) : read(std::move(source)), check(how) {}

    Found next(Frame& frame);
    uint64_t bytesRead() const { return position + (filled - begin); }
    // Where the next frame begins.
    uint64_t nextAt() const { return position; }
    void trustLengths() { check = Check::Lengths; }
    // The source has been moved to this position of the log, where a frame begins.
    void goTo(uint64_t at);
    // Larger frames and lines are damaged: they are passed over, and take no more memory than this.
    static constexpr size_t MostBytes = size_t{12} << 20;

private:
    Read read;
    Check check;
    std::unique_ptr<char[]> buffer;
    static constexpr size_t FirstPiece = size_t{1} << 14, LastPiece = size_t{1} << 18; // as the CPU's caches hold
    size_t piece = FirstPiece; // to be read next: the start of a log may be all that is wanted
    size_t room = 0, filled = 0;
    size_t begin = 0, scanned = 0; // where the frame begins; where the line begins that is looked at next
    uint64_t position = 0;         // of `begin` in the log
    bool atEnd = false;
    bool oversized = false; // the frame's beginning has been passed over

    std::string_view textOf(size_t from, size_t to) const { return {buffer.get() + from, to - from}; }
    bool fill();
    bool nextLine(std::string_view& line);
    void passOver(size_t to);
    bool isWhole(size_t from, size_t start, const Ending& ending, Check how) const;
    void finish(size_t to, const Ending* ending, bool good, size_t next, Frame& frame);
};

// Lines of one kind that follow each other.
struct LineRun {
    std::string_view tag;   // DISK; what stands before the first comma
    std::string_view lines; // with their newlines
    size_t count = 0;
};
// Takes the first run off a text that is not empty.
LineRun takeLineRun(std::string_view& text);
