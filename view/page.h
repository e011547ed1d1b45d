// The lines that an interval is shown as, and the columns of a table.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// One column of a table. Where a terminal is too narrow, the columns with the highest rank go first, whole; those of
// rank 0 never go. A title of several words has no blanks inside: "rMB/s".
struct Column {
    std::string_view title;
    size_t width = 0; // at the least, so that columns stay where they are from interval to interval
    int rank = 0;
    bool left = false; // texts are left-aligned, numbers right-aligned
    bool cut = false;  // the last column only: it is cut down to `width` before another one goes
};

// The meaning of a cell's colour; the page chooses the colour.
enum class Tone : unsigned char {
    Plain,
    Title,  // of an area, and of its columns
    Bad,    // above a limit
    Notice, // near it
    Dim     // unimportant
};

// Lines of text, cut to the width of a terminal where there is one. No number is cut in half: it would be another one.
class Page {
    std::string out;
    size_t columns;
    bool colors;

public:
    // `width` 0: no limit.
    Page(size_t width, bool color) : columns(width), colors(color) {}
    size_t width() const { return columns; }
    // A whole line without its newline.
    void line(std::string_view text, Tone tone = Tone::Plain);
    // A line that says how many rows a table leaves out; none when it has them all.
    void more(size_t rows);
    // A line of clauses, with commas or semicolons between them: those that do not fit are left out whole.
    void clauses(std::string_view text, Tone tone = Tone::Plain);
    // Adds such clauses to a line.
    void clauses(std::string_view text, size_t& used, Tone tone = Tone::Plain);
    // Adds text to a line that tones can change in; `used` is what the line has so far.
    void piece(std::string_view text, size_t& used, Tone tone = Tone::Plain);
    void newline();
    const std::string& text() const { return out; }
};

// Cells row by row, printed as a whole, so that each column is as wide as its widest cell.
class Table {
    std::span<const Column> columns;
    struct Cell {
        std::string text;
        Tone tone;
    };
    std::vector<Cell> cells;

public:
    explicit Table(std::span<const Column> shape) : columns(shape) {}
    // The next cell of the row; rows follow from the number of columns.
    void cell(std::string text, Tone tone = Tone::Plain) { cells.push_back({std::move(text), tone}); }
    bool empty() const { return cells.empty(); }
    // Titles and rows. A note on the whole table stands to the right of the titles, or below the rows where there is no
    // room for it.
    void show(Page& page, std::string_view note = {}) const;
};
