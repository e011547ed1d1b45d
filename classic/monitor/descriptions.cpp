// Monitored applications describe their threads in files "./desc/PID-TID". The first line is the time at which it was
// written (seconds since the epoch), the second one a text.
#include "classic/monitor/format.h"
#include "classic/monitor/proc.h"

#include "base/output.h"
#include "base/words.h"
#include "classic/collect/messages.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_map>

static constexpr size_t TimeLimit = 256, DescriptionLimit = 64; // of the two lines, with the terminator

Text<64> readDescription(std::string_view fileText, int64_t STime) {
    Lines first(fileText, TimeLimit);
    std::string_view line;
    // A description older than the thread belongs to an earlier thread with the same number.
    if (!first.next(line) || toLong(line) < STime) return {};
    // Quirk: the last character is dropped, whether or not it is a newline. Seen by tests/worlds/desc-lookup.
    Lines second(first.left(), DescriptionLimit);
    return second.next(line) ? dropLast(line) : std::string_view{};
}

Text<64> getDescription(int32_t pid, int32_t threadid, int64_t STime) {
    static Contents text;
    const auto path = Text<64>().addf("./desc/%d-%d", pid, threadid);
    if (!readFile(path.c_str(), text, Reading::Whole, TimeLimit + DescriptionLimit)) return {};
    return readDescription(text.view(), STime);
}

// --- Clean-up

int32_t readDescriptionTime(std::string_view fileText) {
    constexpr size_t Limit = 512;
    std::string_view line;
    Lines(fileText, Limit).next(line);
    return toInt(line);
}

// The start times of the processes, by pid.
using TStarts = std::unordered_map<int32_t, int64_t>;

static TStarts getStarts(const TProcTable& table) {
    TStarts starts;
    for (auto& p : table.procs) {
        const auto [known, isNew] = starts.emplace(p.pid, p.STime);
        if (!isNew) known->second = std::min(known->second, p.STime);
    }
    return starts;
}

// Whether a process with this pid runs and had started by then, so that the description can be its own.
static bool isRunning(const TStarts& starts, int32_t pid, int32_t time) {
    const auto found = starts.find(pid);
    return found != starts.end() && found->second <= time;
}

static void cleanDescription(const std::string& path, int32_t pid, const TStarts& starts) {
    static Contents text;
    constexpr size_t Most = 511; // one line
    if (!readFile(path.c_str(), text, Reading::Whole, Most))
        return sayMessage("[ERROR] Failed to open file(%s) [ENO(%d):%s]", path.c_str(), errno, strerror(errno));
    const int32_t time = readDescriptionTime(text.view());
    if (time > 0 && isRunning(starts, pid, time)) return;
    say("Remove %s(started at %s) in desc directory for thread description\n", path.c_str(),
        GetTimeString(time).c_str());
    removeFile(path.c_str());
}

void cleanDescriptions(const TProcTable& table) {
    Directory directory;
    if (!directory.open("./desc/")) {
        if (errno != ENOENT)
            sayMessage("[ERROR] Failed to open thread desc directory [ENO(%d):%s]", errno, strerror(errno));
        return;
    }
    const auto starts = getStarts(table);
    for (Directory::Entry entry; directory.next(entry);) {
        const int32_t pid = toInt(std::string_view(entry.name)); // "1234-5678", and 0 for "." and ".."
        if (pid >= 1) cleanDescription(std::string("./desc/") + entry.name, pid, starts);
    }
}
