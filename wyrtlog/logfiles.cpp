#include "wyrtlog/logfiles.h"

#include "base/filestatus.h"
#include "base/held.h"
#include "base/refusal.h"
#include "record/lognames.h"
#include "wyrtlog/options.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>
#include <string_view>

#include <sys/stat.h>

// --- Names

// Only these are logs: other files may stand in the same folder.
static bool isLogName(std::string_view name) {
    const auto at = name.rfind(".wyrt");
    if (at == name.npos || at == 0) return false;
    const auto rest = name.substr(at + std::string_view(".wyrt").size());
    return rest.empty() || rest.front() == '.';
}

static std::string_view fileName(std::string_view path) { return path.substr(path.rfind('/') + 1); } // npos + 1: 0

// The name without what compressing it adds.
static std::string_view stemOf(std::string_view name) {
    for (const std::string_view end : {".zst", ".gz"})
        if (name.ends_with(end)) return name.substr(0, name.size() - end.size());
    return name;
}

static LogPath pathOf(std::string path) {
    LogPath log;
    const auto time = logNameTime(fileName(path));
    log.path = std::move(path);
    if (time) log.kept = true, log.begin_ms = *time;
    return log;
}

// A recorder goes on with its next file when an hour ends, or earlier. Where the clock was set back, a file has later
// times than the name after its own, but none after its hour.
static void setEnds(std::vector<LogPath>& paths) {
    constexpr int64_t HourMs = 3600000, Rounded = 1000;       // names have whole seconds
    std::map<std::string_view, std::vector<LogPath*>> series; // by folder and host
    for (auto& log : paths)
        if (log.kept) series[std::string_view(log.path).substr(0, log.path.rfind('-'))].push_back(&log);
    for (auto& [host, logs] : series) {
        std::sort(logs.begin(), logs.end(), [](auto* a, auto* b) { return a->begin_ms < b->begin_ms; });
        for (size_t i = 0; i < logs.size(); i++) {
            size_t next = i + 1;
            while (next < logs.size() && logs[next]->begin_ms == logs[i]->begin_ms) next++;
            if (next == logs.size()) continue;
            const int64_t hourEnd = (logs[i]->begin_ms / HourMs + 1) * HourMs;
            logs[i]->end_ms = std::max(hourEnd, logs[next]->begin_ms) + Rounded;
        }
    }
}

void leaveOutOthers(std::vector<LogPath>& paths, const Bounds& bounds) {
    setEnds(paths);
    std::erase_if(paths, [&](const LogPath& log) {
        return log.kept && (log.begin_ms > bounds.until_ms || log.end_ms <= bounds.since_ms);
    });
}

// --- Files

// Links in a folder lead to a file that it has anyway. A file that is compressed at the moment is there twice.
static void addFolder(const std::string& folder, Listing& listing, std::vector<LogPath>& paths) {
    std::set<std::string, std::less<>> names;
    Listing::Entry entry{};
    while (listing.next(entry))
        if (entry.kind != Listing::Kind::Link && entry.kind != Listing::Kind::Directory && isLogName(entry.name))
            names.emplace(entry.name);
    for (auto& name : names)
        if (stemOf(name) == name || !names.contains(stemOf(name)))
            paths.push_back(pathOf(folder + (folder.ends_with('/') ? "" : "/") + name));
}

bool isReadOnce(const std::string& operand) {
    FileStatus status;
    return operand == "-" || (getFileStatus(operand.c_str(), status) && !S_ISREG(status.mode) && !S_ISDIR(status.mode));
}

std::vector<LogPath> logPaths(const std::vector<std::string>& operands, int& status, Report report) {
    std::vector<LogPath> paths;
    for (auto& operand : operands.empty() ? std::vector<std::string>{LogFolder} : operands) {
        HeldDirectory folder;
        Listing listing;
        const bool opened = operand != "-" && folder.open(operand.c_str());
        if (opened && listing.start(folder)) addFolder(operand, listing, paths);
        else if (!opened && !operands.empty()) {
            paths.push_back(pathOf(operand));
            paths.back().once = isReadOnce(operand);
        } else if (report == Report::Yes) {
            const bool missing = operands.empty() && errno == ENOENT;
            status = failed(inQuotes(operand) + ": " + strerror(errno) +
                            (missing ? "; name a log, or let wyrt record --dir " + operand + " keep some" : ""));
        }
    }
    return paths;
}

static bool areOneFile(const FileStatus& one, const FileStatus& other) {
    return one.inode == other.inode && one.major == other.major && one.minor == other.minor;
}

bool isOneOf(const std::vector<std::string>& operands, const std::string& path) {
    FileStatus file;
    if (!getFileStatus(path.c_str(), file) || !S_ISREG(file.mode)) return false;
    int status = Done;
    const auto logs = logPaths(operands, status, Report::No);
    return std::any_of(logs.begin(), logs.end(), [&](auto& log) {
        FileStatus other;
        return getFileStatus(log.path == "-" ? "/dev/stdin" : log.path.c_str(), other) && areOneFile(file, other);
    });
}
