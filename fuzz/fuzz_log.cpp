// Logs: frames have every byte once, however the log comes in pieces; a span that is found without reading everything
// has all of its intervals; what was read as whole is written and read again as it was. With an odd first byte, lengths
// and checksums are mended first, so that more is whole.
#include "fuzz/check.h"
#include "record/seek.h"
#include "record/sum.h"
#include "tests/mended.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

static LogFrames::Read piecesOf(std::string_view log, size_t most) {
    return [log, most, at = size_t{0}](char* to, size_t size) mutable {
        const size_t n = std::min({size, most, log.size() - at});
        memcpy(to, log.data() + at, n);
        return at += n, n;
    };
}

static void checkFrames(std::string_view log, size_t most) {
    LogFrames frames(piecesOf(log, most));
    std::string all;
    Frame frame;
    for (LogFrames::Found found{}; (found = frames.next(frame)) != LogFrames::Found::End;) {
        check(frame.at == all.size());
        check(!frame.good || frame.dated);
        all.append(frame.text).append(frame.end);
        for (auto text = frame.text; !text.empty();) {
            const auto run = takeLineRun(text);
            check(run.count > 0 && run.lines.starts_with(run.tag));
        }
    }
    check(all == log && frames.bytesRead() == log.size());
}

namespace {
struct Place { // of a whole interval
    uint64_t begin = 0, end = 0;
    Moment time;
};
} // namespace

static std::vector<Place> placesOf(std::string_view log) {
    std::vector<Place> places;
    LogFrames frames(piecesOf(log, log.size()));
    for (Frame frame; frames.next(frame) == LogFrames::Found::Frame;)
        if (frame.good && !frame.isHead)
            places.push_back({frame.at, frame.at + frame.text.size() + frame.end.size(), frame.ending.time});
    return places;
}

static void checkSeek(std::string_view log, const std::vector<Place>& places) {
    const ReadAt readAt = [&](uint64_t at, char* to, size_t size) {
        return at < log.size() ? log.copy(to, size, at) : 0;
    };
    for (auto& place : places) {
        const Bounds bounds{place.time.epoch_ms - 1, place.time.epoch_ms + 5000};
        check(bisected(readAt, 0, log.size(), bounds.since_ms) <= log.size());
        const auto part = walked(readAt, log.size(), bounds);
        if (!part) continue;
        check(part->head <= part->begin && part->begin <= part->end && part->end <= log.size());
    }
}

static std::string written(const Interval& interval) {
    std::string log;
    LogWriter writer;
    writer.head({"1", "h", "b", "r"}, {}, {}, log);
    writer.interval(interval, log);
    return log;
}

static void checkRows(std::string_view log) {
    LogReader reader(piecesOf(log, 1000));
    IntervalSum sum;
    Interval interval;
    for (LogReader::Found found{}; (found = reader.next(interval)) != LogReader::Found::End;) {
        if (found != LogReader::Found::Interval || interval.damaged) continue;
        sum.add(interval);
        const auto text = written(interval);
        LogReader again(piecesOf(text, text.size()));
        Interval same;
        check(again.next(same) == LogReader::Found::Head && !again.headDamaged());
        check(again.next(same) == LogReader::Found::Interval);
        check(written(same) == text);
    }
    if (sum.intervals()) check(!written(sum.result()).empty());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::string_view given(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string log = data[0] % 2 ? mended(given) : std::string(given);
    for (const size_t most : {size_t{1}, size_t{100}, log.size() + 1}) checkFrames(log, most);
    checkSeek(log, placesOf(log));
    checkRows(log);
    return 0;
}
