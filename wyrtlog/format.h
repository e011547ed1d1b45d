// One format that a log is exported to. Each is a file of its own: csv.cpp, jsonl.cpp ...
#pragma once

#include "base/outfile.h"
#include "wyrtlog/output.h"
#include "wyrtlog/sheets.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class Format {
public:
    Format() = default;
    Format(const Format&) = delete;
    Format& operator=(const Format&) = delete;
    virtual ~Format() = default;

    // The next intervals are those of this head. False: it cannot go on, see failure().
    virtual bool head(const LogHead& head, const Sheets& sheets) = 0;
    // An interval begins. False: it is not wanted, because the file has it already.
    virtual bool begin(const Interval& interval) = 0;
    // One record of it. False: a cell does not fit its field; nothing of the record was taken.
    virtual bool line(const Sheet& sheet, const Cells& cells, std::string_view text) = 0;
    // The interval is over, and its records are kept, or forgotten because one of them is damaged. False: it cannot go
    // on.
    virtual bool end(bool keep) = 0;
    // Writes what it has of whole intervals, because the next one is waited for. False: it cannot go on.
    virtual bool flush() { return true; }
    // All intervals were there.
    virtual bool finish() = 0;
    // Why it could not go on; empty: the reader of the output went away.
    virtual std::string failure() const = 0;
    // What else is to be said when it is over; empty: nothing.
    virtual std::string note() const { return {}; }
};

// --- What the formats of text share

// Bytes to be written, whose room is not cleared before.
class Bytes {
    std::unique_ptr<char[]> bytes;
    size_t used = 0, room = 0;

public:
    // Where at least `size` bytes can be put.
    char* more(size_t size);
    // They were, up to here.
    void putUpTo(const char* end) { used = static_cast<size_t>(end - bytes.get()); }
    size_t size() const { return used; }
    void cut(size_t size) { used = size; }
    void append(std::string_view text);
    std::string_view text() const { return {bytes.get(), used}; }
};

// Copies to where there is room for 32 bytes more than the text has.
inline char* put(char* to, std::string_view text) {
    memcpy(to, text.data(), text.size());
    return to + text.size();
}
// The same of a text that is followed by readable bytes up to `end`, which makes it quicker.
inline char* put(char* to, std::string_view text, const char* end) {
    constexpr size_t Piece = 16;
    if (text.size() > Piece || static_cast<size_t>(end - text.data()) < Piece) return put(to, text);
    memcpy(to, text.data(), Piece);
    return to + text.size();
}

// Finds out quickly that the time and the seconds of a line are those of the line before.
class Stamps {
    std::string time, seconds;
    Moment when;
    int64_t elapsed = 0;

public:
    // False: they are damaged.
    bool take(const Cells& cells) { return takeTime(cells[TimePlace]) && takeSeconds(cells[SecondsPlace]); }
    bool takeTime(std::string_view cell);
    bool takeSeconds(std::string_view cell);
    Moment moment() const { return when; }
    int64_t elapsed_us() const { return elapsed; }
};

// Text to one file or to one for each kind.
class TextFormat : public Format {
    struct Part { // of the output: all of it, or one kind's
        OutFile own;
        Bytes bytes;
        size_t kept = 0; // bytes of whole intervals
    };
    Output* out;        // null: a file for each kind
    std::string folder; // where they are
    std::string suffix; // of their names
    std::vector<std::unique_ptr<Part>> parts;
    std::vector<char> begun;      // by sheet: its header was written
    std::vector<size_t> begunNow; // in this interval
    std::string why;

    Part* partOf(const Sheet& sheet);
    bool flush(Part& part);

protected:
    Stamps stamps;
    std::string host;

    // The first line of a kind, if it has one.
    virtual void header(const Sheet& sheet, Bytes& bytes) { static_cast<void>(sheet), static_cast<void>(bytes); }
    // A record. False as for line().
    virtual bool record(const Sheet& sheet, const Cells& cells, std::string_view text, Bytes& bytes) = 0;
    // The columns of the sheets may have changed.
    virtual void prepare(const Sheets& sheets) = 0;

public:
    explicit TextFormat(Output& file) : out(&file) {}
    TextFormat(std::string path, std::string ending)
        : out(nullptr), folder(std::move(path)), suffix(std::move(ending)) {}
    bool head(const LogHead& head, const Sheets& sheets) override;
    bool begin(const Interval& interval) override;
    bool line(const Sheet& sheet, const Cells& cells, std::string_view text) override;
    bool end(bool keep) override;
    bool flush() override;
    bool finish() override { return flush(); }
    std::string failure() const override { return why; }
};
