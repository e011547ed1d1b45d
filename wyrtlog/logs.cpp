#include "wyrtlog/logs.h"

#include "base/refusal.h"
#include "wyrtlog/classiclog.h"
#include "wyrtlog/openlog.h"
#include "wyrtlog/progress.h"
#include "wyrtlog/seenrun.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <optional>

namespace {
// The intervals of a run that were given out, and the log that had the last one.
struct Given {
    SeenRun seen;
    uint64_t log = 0;
};

// The logs are opened when their time comes, so that of a folder of a month's logs few are open at a time.
class Merge {
    const OnFound& onFound;
    const Wanted& wanted;
    int& status;
    std::optional<Follower> follower;
    std::vector<LogPath> waiting; // in order of time, the next one last
    uint64_t numbered = 0;        // logs
    std::vector<std::unique_ptr<OpenLog>> logs;
    std::map<std::string, Given, std::less<>> given; // by run
    Progress progress;
    uint64_t bytesOver = 0; // of logs that have been read to their end

    std::unique_ptr<OpenLog> opened(const LogPath& path, const Wanted& how);
    void open(const LogPath& path);
    void add(std::vector<LogPath> paths);
    void report(const std::string& path, const std::string& why);
    void tellProgress(const OpenLog& log);
    bool isAgain(const OpenLog& log);
    bool waitForMore();
    std::vector<std::unique_ptr<OpenLog>>::iterator next() {
        return std::min_element(logs.begin(), logs.end(), [](auto& a, auto& b) { return a->time_ms < b->time_ms; });
    }

public:
    Merge(const Asked& asked, const OnFound& f, const Wanted& how, int& exitStatus);
    // False at the end, and when the caller has had enough.
    bool step();
};
} // namespace

void Merge::report(const std::string& path, const std::string& why) {
    progress.wipe();
    status = failed(inQuotes(path) + ": " + why);
}

void Merge::tellProgress(const OpenLog& log) {
    uint64_t bytes = bytesOver;
    for (const auto& open : logs) bytes += open->reader.bytesRead();
    progress.at(log.interval.time, bytes);
}

std::unique_ptr<OpenLog> Merge::opened(const LogPath& path, const Wanted& how) {
    auto log = std::make_unique<OpenLog>(path, how);
    if (log->open()) return log;
    report(path.path, strerror(errno));
    return nullptr;
}

void Merge::open(const LogPath& path) {
    auto log = opened(path, wanted);
    if (!log) return;
    log->number = ++numbered;
    if (follower && waiting.empty() && !path.once) log->follow(*follower); // the newest
    log->advance();
    logs.push_back(std::move(log));
}

// When the first interval of a log ends: the name of a recorder's tells.
static int64_t firstTime(OpenLog& log) {
    do log.advance();
    while (log.found == LogReader::Found::Head);
    return log.time_ms;
}

void Merge::add(std::vector<LogPath> paths) {
    if (follower) follower->know(paths);
    leaveOutOthers(paths, wanted.bounds);
    for (auto& path : paths) {
        if (path.kept || path.once || paths.size() == 1) continue;
        if (const auto log = opened(path, {Want::Lines})) path.begin_ms = firstTime(*log);
        else path.path.clear();
    }
    std::erase_if(paths, [&](auto& path) { return path.path.empty() || path.begin_ms > wanted.bounds.until_ms; });
    waiting.insert(waiting.end(), paths.begin(), paths.end());
    std::stable_sort(waiting.begin(), waiting.end(), [](auto& a, auto& b) { return a.begin_ms < b.begin_ms; });
    std::reverse(waiting.begin(), waiting.end());
}

Merge::Merge(const Asked& asked, const OnFound& f, const Wanted& how, int& exitStatus)
    : onFound(f), wanted(how), status(exitStatus), progress(showsProgress(asked)) {
    const auto isFile = [](const std::string& operand) { return !isReadOnce(operand); }; // a pipe ends by itself
    if (wanted.follow && (asked.logs.empty() || std::any_of(asked.logs.begin(), asked.logs.end(), isFile)))
        follower.emplace(asked.logs, wanted.watcher);
    auto paths = logPaths(asked.logs, status);
    if (paths.empty() && status == Done && !follower)
        status = failed(asked.logs.size() > 1 ? "there are no logs in these folders"
                                              : inQuotes(asked.logs.empty() ? LogFolder : asked.logs.front()) +
                                                    " is a folder without logs");
    add(std::move(paths));
}

// Another log has had it.
bool Merge::isAgain(const OpenLog& log) {
    constexpr size_t MostRuns = 10000; // a forged log must not take memory without end
    if (given.size() > MostRuns) given.clear();
    const auto& interval = log.interval;
    if (log.found != LogReader::Found::Interval || interval.damaged || log.reader.headDamaged()) return false;
    const auto time_ms = interval.time.epoch_ms;
    auto& run = given[log.reader.head().run];
    if (run.log != log.number && run.seen.has(interval.number, time_ms)) return true;
    run.seen.add(interval.number, time_ms), run.log = log.number;
    return false;
}

static std::string whatElse(std::string_view text) {
    return isClassicLog(text) ? "this is a classic log, which wyrt export reads from a file" : "this is no log of wyrt";
}

// Waits for another log. False: it is over.
bool Merge::waitForMore() {
    if (!follower) return false;
    while (!follower->hasNew())
        if (!follower->wait()) return follower.reset(), false;
    add(follower->takeNew());
    return true;
}

bool Merge::step() {
    auto first = next();
    while (!waiting.empty() && (first == logs.end() || waiting.back().begin_ms <= (*first)->time_ms)) {
        const auto path = waiting.back();
        waiting.pop_back();
        open(path);
        first = next();
    }
    if (first == logs.end()) return waitForMore();
    auto& log = **first;
    const bool other = log.isNoLog();
    if (!other && !isAgain(log) && !onFound(log.reader, log.found, log.interval)) return false;
    if (log.found == LogReader::Found::Interval && !log.interval.damaged) tellProgress(log);
    if (!log.isOver()) return log.advance(), true;
    if (const auto why = log.failure(); !why.empty()) report(log.path(), why);
    else if (other) report(log.path(), whatElse(log.reader.text()));
    bytesOver += log.reader.bytesRead();
    logs.erase(first);
    return true;
}

int eachFound(const Asked& asked, const OnFound& onFound, const Wanted& wanted) {
    int status = Done;
    Merge merge(asked, onFound, wanted, status);
    while (merge.step()) {
    }
    return status;
}
