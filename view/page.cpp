#include "view/page.h"

#include "view/format.h"

#include <algorithm>
#include <climits>

static std::string_view startOf(Tone tone) {
    switch (tone) {
    case Tone::Title:
        return "\x1B[1m";
    case Tone::Bad:
        return "\x1B[1;31m";
    case Tone::Notice: // magenta: yellow cannot be read on white
        return "\x1B[35m";
    case Tone::Dim:
        return "\x1B[2m";
    case Tone::Plain:
        break;
    }
    return {};
}

static std::string_view cutBeforeNumber(std::string_view text, size_t width) {
    constexpr std::string_view Number = "0123456789.", Goes = "0123456789.KMGTPE%";
    const auto kept = cutToWidth(text, width);
    if (kept.size() == text.size() || kept.empty() || Goes.find(text[kept.size()]) == Goes.npos) return kept;
    return kept.substr(0, kept.find_last_not_of(Number) + 1); // npos + 1: 0
}

void Page::piece(std::string_view text, size_t& used, Tone tone) {
    if (columns) text = cutBeforeNumber(text, columns - std::min(columns, used));
    used += textWidth(text);
    const auto start = colors && !text.empty() ? startOf(tone) : std::string_view{};
    out += start, out += text;
    if (!start.empty()) out += "\x1B[0m";
}

void Page::newline() {
    // Blanks at the end of a line are not printed.
    while (out.ends_with(' ')) out.pop_back();
    out += '\n';
}

void Page::line(std::string_view text, Tone tone) {
    size_t used = 0;
    piece(text, used, tone);
    newline();
}

void Page::more(size_t rows) {
    if (rows > 0) line("     " + std::to_string(rows) + " more (-n)", Tone::Dim);
}

void Page::clauses(std::string_view text, Tone tone) {
    size_t used = 0;
    clauses(text, used, tone);
    newline();
}

void Page::clauses(std::string_view text, size_t& used, Tone tone) {
    const size_t room = columns - std::min(columns, used);
    if (columns && textWidth(text) > room) {
        const auto fitting = text.substr(0, cutToWidth(text, room).size() + 2); // with what may follow a clause
        const auto comma = fitting.rfind(", "), semicolon = fitting.rfind("; ");
        const auto end = comma == fitting.npos       ? semicolon
                         : semicolon == fitting.npos ? comma
                                                     : std::max(comma, semicolon);
        text = text.substr(0, end);
    }
    piece(text, used, tone);
}

// --- Tables

// The columns that fit. Whole columns are left out by rank; among those of equal rank the last one first.
static std::vector<bool> fitting(std::span<const Column> columns, const std::vector<size_t>& widths, size_t room) {
    std::vector<bool> shown(columns.size(), true);
    size_t needed = 0;
    for (size_t i = 0; i < columns.size(); i++) needed += widths[i] + (i ? 1 : 0);
    if (columns.back().cut) needed -= widths.back() - std::max(columns.back().width, textWidth(columns.back().title));
    while (room && needed > room) {
        size_t worst = columns.size();
        for (size_t i = 0; i < columns.size(); i++)
            if (shown[i] && columns[i].rank > 0 && (worst == columns.size() || columns[i].rank >= columns[worst].rank))
                worst = i;
        if (worst == columns.size()) break;
        shown[worst] = false;
        needed -= widths[worst] + 1;
    }
    return shown;
}

void Table::show(Page& page, std::string_view note) const {
    std::vector<size_t> widths;
    for (auto& column : columns) widths.push_back(std::max(column.width, textWidth(column.title)));
    for (size_t i = 0; i < cells.size(); i++) {
        auto& width = widths[i % columns.size()];
        width = std::max(width, textWidth(cells[i].text));
    }
    const auto shown = fitting(columns, widths, page.width());
    const auto row = [&](auto textOf, auto toneOf, std::string_view end) {
        size_t used = 0;
        bool first = true;
        for (size_t i = 0; i < columns.size(); i++) {
            if (!shown[i]) continue;
            const std::string_view text = textOf(i);
            const std::string padding(widths[i] - std::min(widths[i], textWidth(text)), ' ');
            if (!first) page.piece(" ", used);
            first = false;
            if (!columns[i].left) page.piece(padding, used);
            page.piece(text, used, toneOf(i));
            if (columns[i].left) page.piece(padding, used);
        }
        if (!end.empty()) page.piece("  ", used), page.piece(end, used, Tone::Dim);
        page.newline();
    };
    size_t needed = 2 + textWidth(note);
    for (size_t i = 0; i < columns.size(); i++) needed += shown[i] ? widths[i] + (i ? 1 : 0) : 0;
    const bool fits = page.width() == 0 || needed <= page.width();
    row([&](size_t i) { return columns[i].title; }, [](size_t) { return Tone::Title; },
        fits ? note : std::string_view{});
    for (size_t at = 0; at + columns.size() <= cells.size(); at += columns.size())
        row([&](size_t i) -> std::string_view { return cells[at + i].text; },
            [&](size_t i) { return cells[at + i].tone; }, {});
    if (!fits && !note.empty()) page.line(std::string(widths[0] + 1, ' ').append(note), Tone::Dim);
}
