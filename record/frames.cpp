#include "record/frames.h"

#include "base/numbers.h"
#include "record/crc.h"

#include <algorithm>
#include <cstring>
#include <utility>

// --- END lines

bool parseEnding(std::string_view line, Ending& ending) {
    auto rest = line;
    if (takeCell(rest) != "END") return false;
    const auto time = parseMoment(takeCell(rest));
    const auto elapsed = parseSeconds(takeCell(rest));
    if (!time || !elapsed || !toNumber(takeCell(rest), ending.number) || !toNumber(takeCell(rest), ending.records) ||
        !toNumber(takeCell(rest), ending.bytes))
        return false;
    const auto sum = takeCell(rest);
    if (sum.size() != 8 || sum.find_first_not_of("0123456789abcdef") != sum.npos || !toNumber(sum, ending.sum, 16))
        return false;
    ending.time = *time, ending.elapsed_us = *elapsed;
    ending.upToSum = static_cast<size_t>(sum.data() - line.data());
    return true;
}

// --- Frames

// False at the end of the log.
bool LogFrames::fill() {
    if (atEnd) return false;
    if (room - filled < piece && begin > 0) {
        memmove(buffer.get(), buffer.get() + begin, filled - begin);
        filled -= begin, scanned -= begin, begin = 0;
    }
    if (room - filled < piece) {
        const size_t larger = std::max(filled + piece, std::min(2 * room, MostBytes + 2 * LastPiece));
        auto moved = std::make_unique_for_overwrite<char[]>(larger);
        if (filled > 0) memcpy(moved.get(), buffer.get(), filled);
        buffer = std::move(moved), room = larger;
    }
    const size_t n = read(buffer.get() + filled, piece);
    filled += n;
    atEnd = n == 0;
    piece = std::min(2 * piece, LastPiece);
    return n > 0;
}

// Forgets the text up to there. Its frame is damaged.
void LogFrames::passOver(size_t to) {
    position += to - begin;
    begin = scanned = to;
    oversized = true;
}

// The next line, without its newline. False: the log has no further whole line.
bool LogFrames::nextLine(std::string_view& line) {
    for (size_t searched = 0;;) { // of the line, without success
        const size_t from = scanned + searched;
        const auto* newline = from < filled ? memchr(buffer.get() + from, '\n', filled - from) : nullptr;
        if (newline) {
            const auto at = static_cast<size_t>(static_cast<const char*>(newline) - buffer.get());
            line = textOf(scanned, at);
            scanned = at + 1;
            return true;
        }
        searched = filled - scanned;
        if (filled - begin > MostBytes) passOver(filled), searched = 0;
        if (!fill()) return false;
    }
}

// Whether the text between the two is what the END line at `start` ends.
bool LogFrames::isWhole(size_t from, size_t start, const Ending& ending, Check how) const {
    return how == Check::Lengths || crc32c(textOf(from, start + ending.upToSum)) == ending.sum;
}

void LogFrames::finish(size_t to, const Ending* ending, bool good, size_t next, Frame& frame) {
    frame.text = textOf(begin, to);
    frame.end = textOf(to, next);
    frame.ending = ending ? *ending : Ending{};
    frame.dated = ending != nullptr;
    frame.good = good;
    // A damaged head may have lost its first line.
    frame.isHead = frame.text.starts_with("#wyrt,") || (!good && frame.text.find("\n#") != frame.text.npos);
    frame.at = position;
    position += next - begin;
    begin = scanned = next;
    oversized = false;
}

LogFrames::Found LogFrames::next(Frame& frame) {
    for (std::string_view line; nextLine(line);) {
        const size_t start = scanned - line.size() - 1;
        if (!line.starts_with("END,")) {
            if (scanned - begin > MostBytes) passOver(scanned);
            continue;
        }
        Ending ending;
        if (!parseEnding(line, ending)) {
            // Where a run was cut off, the head of the next one can follow in the same line.
            const auto head = line.find("#wyrt,");
            return finish(start, nullptr, false, head == line.npos ? scanned : start + head, frame), Found::Frame;
        }
        const size_t bytes = start - begin;
        if (ending.bytes < bytes && isWhole(start - ending.bytes, start, ending, Check::Sums)) {
            // The END of the frame before is missing: the text before this one is damaged, this one is whole. The next
            // call finds it again.
            const size_t own = start - ending.bytes;
            return finish(own, nullptr, false, own, frame), Found::Frame;
        }
        const bool good = ending.bytes == bytes && !oversized && isWhole(begin, start, ending, check);
        return finish(start, &ending, good, scanned, frame), Found::Frame;
    }
    if (begin == filled && !oversized) return Found::End;
    finish(filled, nullptr, false, filled, frame);
    return Found::Torn;
}

void LogFrames::goTo(uint64_t at) {
    begin = scanned = filled = 0;
    piece = FirstPiece;
    position = at;
    atEnd = oversized = false;
}

// --- Runs of lines

// Whether the line that begins the text is of this kind.
static bool isOf(std::string_view tag, std::string_view text) {
    return text.size() > tag.size() && text.starts_with(tag) && (text[tag.size()] == ',' || text[tag.size()] == '\n');
}

LineRun takeLineRun(std::string_view& text) {
    LineRun run;
    run.tag = text.substr(0, std::min(text.find('\n'), text.size()));
    run.tag = run.tag.substr(0, run.tag.find(','));
    const char* const from = text.data();
    do {
        const auto* newline = static_cast<const char*>(memchr(text.data(), '\n', text.size()));
        text.remove_prefix(newline ? static_cast<size_t>(newline - text.data()) + 1 : text.size());
        run.count++;
    } while (isOf(run.tag, text));
    run.lines = {from, static_cast<size_t>(text.data() - from)};
    return run;
}
