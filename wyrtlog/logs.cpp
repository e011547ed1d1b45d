#include "wyrtlog/logs.h"

#include "base/held.h"
#include "base/infile.h"
#include "base/refusal.h"
#include "wyrtlog/unpack.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>

// --- Files

// Only these are logs: other files may stand in the same folder.
static bool isLogName(std::string_view name) {
    const auto at = name.rfind(".wyrt");
    if (at == name.npos || at == 0) return false;
    const auto rest = name.substr(at + std::string_view(".wyrt").size());
    return rest.empty() || rest.front() == '.';
}

std::vector<std::string> logFiles(const std::vector<std::string>& operands, int& status) {
    std::vector<std::string> files;
    for (auto& operand : operands.empty() ? std::vector<std::string>{LogFolder} : operands) {
        HeldDirectory folder;
        Listing listing;
        if (operand == "-" || !folder.open(operand.c_str())) {
            if (operand == LogFolder && operands.empty()) status = failed(inQuotes(operand) + ": " + strerror(errno));
            else files.push_back(operand);
            continue;
        }
        if (!listing.start(folder)) {
            status = failed(inQuotes(operand) + ": " + strerror(errno));
            continue;
        }
        Listing::Entry entry{};
        while (listing.next(entry)) // links lead to a file that the folder has anyway
            if (entry.kind != Listing::Kind::Link && entry.kind != Listing::Kind::Directory && isLogName(entry.name))
                files.push_back(operand + (operand.ends_with('/') ? "" : "/") + entry.name);
    }
    return files;
}

// --- One of them

namespace {
// A log that is read up to its next interval, which waits for its turn.
class OpenLog {
    std::string name;
    InFile file;
    Unpacker unpacker{[this](char* to, size_t size) { return file.read(to, size); }};

public:
    LogReader reader{[this](char* to, size_t size) { return unpacker.read(to, size); }};
    LogReader::Found found = LogReader::Found::End;
    Interval interval;
    uint64_t number = 0;         // no two open logs have the same
    int64_t time_ms = INT64_MIN; // when its turn is; what has no time of its own comes as soon as it is found

    OpenLog(std::string path, Want want) : name(std::move(path)) {
        if (want == Want::Lines) reader.leaveOutRows();
    }
    bool open() { return name == "-" ? (file.openStandard(), true) : file.open(name); }
    const std::string& path() const { return name; }
    bool isOver() const { return found == LogReader::Found::Torn || found == LogReader::Found::End; }
    // Reads on to its next interval, head or end.
    void advance() {
        found = reader.next(interval);
        if (found == LogReader::Found::Interval && !interval.damaged)
            time_ms = std::max(time_ms, interval.time.epoch_ms);
    }
    // Why it could not be read to its end; empty: it could.
    std::string failure() const { return file.failure() ? strerror(file.failure()) : unpacker.failure(); }
};

// A file with the time of its first interval.
struct Waiting {
    std::string path;
    int64_t time_ms;
};

// The last interval of each run that was given out, and the log that had it.
struct Given {
    uint64_t number = 0;
    int64_t time_ms = 0;
    uint64_t log = 0;
};
} // namespace

// --- All of them

static std::unique_ptr<OpenLog> opened(const std::string& path, Want want, int& status) {
    auto log = std::make_unique<OpenLog>(path, want);
    if (log->open()) return log;
    status = failed(inQuotes(path) + ": " + strerror(errno));
    return nullptr;
}

static int64_t firstTime(OpenLog& log) {
    do log.advance();
    while (log.found == LogReader::Found::Head);
    return log.time_ms;
}

namespace {
// The logs are opened when their time comes, so that of a folder of a month's logs few are open at a time.
class Merge {
    const OnFound& onFound;
    int& status;
    Want want;
    std::vector<Waiting> waiting; // in order of time
    size_t begun = 0;             // of them, opened
    uint64_t numbered = 0;        // logs
    std::vector<std::unique_ptr<OpenLog>> logs;
    std::map<std::string, Given, std::less<>> given; // by run

    void open(const std::string& path) {
        auto log = opened(path, want, status);
        if (!log) return;
        log->number = ++numbered;
        log->advance();
        logs.push_back(std::move(log));
    }
    std::vector<std::unique_ptr<OpenLog>>::iterator next() {
        return std::min_element(logs.begin(), logs.end(), [](auto& a, auto& b) { return a->time_ms < b->time_ms; });
    }
    // Another log has had it.
    bool isAgain(const OpenLog& log) {
        auto& last = given[log.reader.head().run];
        const auto& interval = log.interval;
        if (interval.damaged || log.reader.headDamaged()) return false;
        if (last.log && last.log != log.number && interval.number <= last.number &&
            interval.time.epoch_ms <= last.time_ms)
            return true;
        last = {interval.number, interval.time.epoch_ms, log.number};
        return false;
    }

public:
    Merge(const OnFound& f, Want wanted, int& exitStatus) : onFound(f), status(exitStatus), want(wanted) {}
    void add(const std::vector<std::string>& paths) {
        for (auto& path : paths) {
            if (path == "-" || paths.size() == 1) open(path);
            else if (auto log = opened(path, Want::Lines, status)) waiting.push_back({path, firstTime(*log)});
        }
        std::stable_sort(waiting.begin(), waiting.end(), [](auto& a, auto& b) { return a.time_ms < b.time_ms; });
    }
    // False at the end, and when the caller has had enough.
    bool step() {
        auto first = next();
        while (begun < waiting.size() && (first == logs.end() || waiting[begun].time_ms <= (*first)->time_ms)) {
            open(waiting[begun++].path);
            first = next();
        }
        if (first == logs.end()) return false;
        auto& log = **first;
        const bool again = log.found == LogReader::Found::Interval && isAgain(log);
        if (!again && !onFound(log.reader, log.found, log.interval)) return false;
        if (!log.isOver()) return log.advance(), true;
        if (const auto why = log.failure(); !why.empty()) status = failed(inQuotes(log.path()) + ": " + why);
        logs.erase(first);
        return true;
    }
};
} // namespace

int eachFound(const Asked& asked, const OnFound& onFound, Want want) {
    int status = Done;
    Merge merge(onFound, want, status);
    merge.add(logFiles(asked.logs, status));
    while (merge.step()) {
    }
    return status;
}
