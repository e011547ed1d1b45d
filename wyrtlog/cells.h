// The cells of a log's lines, and what they hold. Exports and sums work on the lines themselves, because making rows of
// them first would take longer than all the rest.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The cells of one line, as long as the line exists.
class Cells {
    const char* text = nullptr;
    std::vector<uint32_t> ends; // ends[i]: where the comma or the end after cell i - 1 is
    size_t count = 0;

public:
    // Splits a line without its newline.
    void split(std::string_view line);
    size_t size() const { return count; }
    // Empty: the line has no such cell.
    std::string_view operator[](size_t i) const {
        if (i >= count) return {};
        const size_t from = i == 0 ? 0 : ends[i] + size_t{1};
        return {text + from, ends[i + 1] - from};
    }
};

// The number in a cell; none: it is none, or it does not fit. Empty cells are none, too.
std::optional<int64_t> signedOf(std::string_view cell);
std::optional<uint64_t> wholeOf(std::string_view cell);
std::optional<double> realOf(std::string_view cell); // finite

// Whether a cell is a number as JSON has it, so that it can be copied as it is: 0, 12, -7, 1.5, 2.5e-07.
bool isPlainNumber(std::string_view cell);

// Copies a cell of 1 to 16 digits, as JSON has them, to where there is room for 16, and moves `to` on. The cell may be
// read up to `end`. False: it is something else, or nothing is known to be quick on this CPU.
bool putDigits(std::string_view cell, const char* end, char*& to);

// Whether a cell is text that is the same in the log, in JSON, in CSV and to people: printable ASCII without any
// character that these quote.
bool isPlainText(std::string_view cell);

// Appends a cell's text as UTF-8 without NUL: escapes become the bytes that they stand for, but for bytes that are not
// part of a character and for NUL, which stay as the log has them, \xHH. False: the cell is damaged.
bool appendText(std::string_view cell, std::string& out);
// The same of any bytes.
void appendValid(std::string_view text, std::string& out);
