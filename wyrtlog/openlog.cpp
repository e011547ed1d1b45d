#include "wyrtlog/openlog.h"

#include "record/seek.h"

#include <algorithm>
#include <cstring>
#include <utility>

static bool isLimited(const Bounds& bounds) {
    const Bounds all;
    return bounds.since_ms != all.since_ms || bounds.until_ms != all.until_ms;
}

OpenLog::OpenLog(LogPath path, const Wanted& wanted) : log(std::move(path)), bounds(wanted.bounds) {
    if (wanted.want == Want::Lines) reader.leaveOutRows();
    if (wanted.check == Check::Lengths) reader.trustLengths();
    reader.only(bounds, log.kept);
}

size_t OpenLog::read(char* to, size_t size) {
    for (;;) {
        const size_t n = file.read(to, size);
        if (n > 0 || !follower || file.failure()) return n;
        // What was written before the next log began is read, too.
        const bool last = follower->hasNew();
        if (last || !follower->wait()) return follower = nullptr, 0;
    }
}

void OpenLog::goTo(uint64_t at) {
    if (!file.goTo(at)) return;
    unpacker.forget();
    reader.goTo(at);
}

// Goes to the first interval of the span, in a plain file.
void OpenLog::goToSpan() {
    const auto size = unpacker.isPlain() ? file.size() : std::nullopt;
    if (!size || !isLimited(bounds) || reader.headDamaged()) return;
    const ReadAt readAt = [this](uint64_t at, char* to, size_t bytes) { return file.readAt(at, to, bytes); };
    if (log.kept && bounds.since_ms == Bounds().since_ms) return;
    if (log.kept) return goTo(bisected(readAt, reader.position(), *size, bounds.since_ms));
    const auto part = walked(readAt, *size, bounds);
    if (!part) return;
    if (!follower) stop = part->end;
    if (part->head == 0) return goTo(std::max(part->begin, reader.position()));
    goTo(part->head);
    jump = part->begin;
}

void OpenLog::advance() {
    if (found == LogReader::Found::Head && jump) goTo(std::max(*std::exchange(jump, {}), reader.position()));
    if (found == LogReader::Found::Head && !std::exchange(begun, true)) goToSpan();
    if (reader.position() >= stop) return void(found = LogReader::Found::End);
    found = reader.next(interval);
    anyFrame |= !isOver();
    if (found == LogReader::Found::Interval && !interval.damaged) time_ms = std::max(time_ms, interval.time.epoch_ms);
}

// One whose head was cut short is a log.
bool OpenLog::isNoLog() const {
    return found == LogReader::Found::Torn && !anyFrame && !reader.text().starts_with("#wyrt,");
}

std::string OpenLog::failure() const { return file.failure() ? strerror(file.failure()) : unpacker.failure(); }
