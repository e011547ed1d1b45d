#include "wyrtlog/follow.h"

#include "base/clock.h"
#include "base/filestatus.h"

#include <utility>

// A file that takes another one's name is another log. One that a recorder named is the same when it is compressed.
static std::string identityOf(const LogPath& log) {
    if (log.kept) return log.path.substr(0, log.path.rfind(".wyrt"));
    FileStatus status;
    if (!getFileStatus(log.path.c_str(), status)) return {};
    return log.path + " " + std::to_string(status.major) + ":" + std::to_string(status.minor) + " " +
           std::to_string(status.inode);
}

static Signals& signalsOf(Watcher* watcher, std::optional<Signals>& own) {
    auto* signals = watcher ? watcher->signals() : nullptr;
    return signals ? *signals : own.emplace();
}

Follower::Follower(const std::vector<std::string>& words, Watcher* by)
    : watcher(by), signals(signalsOf(by, own)), operands(words) {}

void Follower::know(const std::vector<LogPath>& paths) {
    for (auto& log : paths) known[identityOf(log)] = looks;
}

void Follower::forgetOld() {
    std::erase_if(known, [this](auto& file) { return looks - file.second >= Turn; });
}

void Follower::look() {
    looks++;
    int status = 0; // of a folder that is gone for now: it was reported when the program began
    for (auto& log : logPaths(operands, status, Report::No)) {
        auto identity = identityOf(log);
        if (identity.empty()) continue;
        const auto [file, isNew] = known.insert_or_assign(std::move(identity), looks);
        if (isNew) fresh.push_back(log);
    }
    if (looks % Turn == 0) forgetOld();
}

bool Follower::wait() {
    constexpr int64_t Period = 250000; // microseconds: nobody sees a delay, and a day of it costs seconds
    const auto isOver = [this] { return signals.end() != 0 || (own && signals.pipeClosed()); };
    if (isOver() || (watcher && !watcher->idle())) return false;
    waitUntil(getMonotonic() + Period, signals);
    if (isOver()) return false;
    look();
    return true;
}

std::vector<LogPath> Follower::takeNew() { return std::exchange(fresh, {}); }
