#include "wyrtlog/push/pusher.h"

#include "base/clock.h"
#include "base/door.h"
#include "base/refusal.h"
#include "wyrtlog/statefile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>

static Delivery::World worldOf(Signals& signals) {
    Delivery::World world;
    world.pause = [&signals](int64_t microseconds) {
        waitUntil(getMonotonic() + microseconds, signals);
        return signals.end() == 0;
    };
    world.say = [](const std::string& line) { putErr("wyrt: " + line + "\n"); };
    world.random = [numbers = std::minstd_rand(std::random_device()())]() mutable {
        return static_cast<uint32_t>(numbers());
    };
    return world;
}

static constexpr unsigned AttemptsOnce = 5; // that fail in a row

Pusher::Pusher(const Asked& what, const SeriesChoice& choice, Receiver& receiver, Signals& signals)
    : asked(what), ending(signals), delivery(receiver, worldOf(signals), what.follow ? 0 : AttemptsOnce),
      series([this](std::string_view text) { return batch.append(text), true; }, choice),
      sheets(Choice{kindWords(what.kinds), {}, false}) {}

// --- The cursor

// False: errno tells why.
bool Pusher::saveCursor() { return replaceState(asked.cursor, series.savedText(), LongestTotals); }

static std::string folderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == path.npos ? "." : path.substr(0, std::max<size_t>(slash, 1));
}

// Whether there is no room for a cursor: sending goes on, and what the old one has not is sent again after a restart.
static bool isNoRoom(int error) { return error == ENOSPC || error == EDQUOT || error == EFBIG; }

// Before the oldest of the hosts' last intervals.
static int64_t beginOf(const Totals& totals, int64_t since_ms) {
    int64_t oldest = std::numeric_limits<int64_t>::max();
    for (auto& host : totals.hosts) oldest = std::min(oldest, host.time_ms);
    return totals.hosts.empty() ? since_ms : std::max(since_ms, oldest - ReadAgain);
}

// Goes on where the cursor is, and sees that it can be replaced.
int Pusher::useCursor(Bounds& bounds) {
    const auto folder = folderOf(asked.cursor);
    if (!lock.take(folder.c_str()) && errno == EWOULDBLOCK)
        return failed(inQuotes(folder) + " has the cursor of another push that is running");
    series.leaveOutUntil(bounds.since_ms);
    const auto text = readState(asked.cursor, LongestTotals);
    if (!text && errno != ENOENT) return failed("the cursor " + inQuotes(asked.cursor) + ": " + strerror(errno));
    const auto totals = text ? parseTotals(*text) : std::nullopt;
    if (totals && !series.take(*totals))
        return failed("the cursor " + inQuotes(asked.cursor) +
                      " is of other series (--by, --all-rows); another one can be named by --cursor");
    if (totals) bounds.since_ms = beginOf(*totals, bounds.since_ms);
    if (text && !totals) {
        const auto aside = asked.cursor + ".damaged";
        renameFile(asked.cursor.c_str(), aside.c_str());
        putErr("wyrt: the cursor " + inQuotes(asked.cursor) + " is damaged and now named " + inQuotes(aside) +
               "; all logs are sent again, and counters begin at 0\n");
    }
    if (saveCursor() || isNoRoom(errno)) return Done;
    return failed("the cursor " + inQuotes(asked.cursor) + " cannot be written: " + strerror(errno) +
                  " (--cursor names another file)");
}

// --- The way of the intervals

// Sends the batch. False: it is over.
bool Pusher::deliver() {
    if (batch.empty()) return true;
    result = delivery.deliver(batch);
    if (result != Delivery::Result::Complete) return false;
    batch.clear();
    const bool saved = saveCursor();
    if (!saved && !unsaved)
        failed("the cursor " + inQuotes(asked.cursor) + " cannot be replaced: " + strerror(errno) +
               "; a restart now would send again what was sent since");
    unsaved = !saved;
    return true;
}

bool Pusher::take(const LogReader& reader, Interval& interval) {
    if (headMissed) {
        why = sheets.takeHead(reader);
        if (!why.empty() || !series.head(reader.head(), sheets)) return false;
        headMissed = false;
    }
    if (!series.begin(interval)) return true; // sent before
    const bool good = eachLine(reader.text(), sheets, cells, [this](auto& sheet, auto& all, std::string_view line) {
        return series.line(sheet, all, line);
    });
    if (!good) intervals.leaveOut();
    series.end(good);
    series.flush();
    return batch.size() < Full || deliver();
}

int Pusher::run(Bounds bounds) {
    if (const int status = useCursor(bounds); status != Done) return status;
    const auto onInterval = [this](const LogReader& reader, bool changed, Interval& interval) {
        headMissed = headMissed || changed;
        return ending.end() == 0 && take(reader, interval);
    };
    int status = intervals.each(asked, bounds, onInterval, Want::Lines, this);
    if (!why.empty()) return refused(why, "wyrt push --help");
    if (ending.end() == 0 && result == Delivery::Result::Complete) deliver();
    intervals.reportLeftOut();
    if (const auto note = series.note(); !note.empty()) putErr("wyrt: " + note + "\n");
    if (result == Delivery::Result::GivenUp) return failed("not all is sent; the next push goes on from there");
    return status;
}
