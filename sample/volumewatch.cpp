#include "sample/volumewatch.h"

#include "parse/uevent.h"

#include <algorithm>

static constexpr int NewsBytes = 1 << 20;        // a machine that scans a thousand paths sends them at once
static constexpr int64_t ToolPatience = 2000000; // microseconds; multipathd answers in milliseconds or hangs
static constexpr int64_t LvmPatience = 1000000;  // it reads every disk that may belong to a group

void VolumeSampler::start() {
    // What is listened to and held comes before what is read, so that nothing is missed in between.
    if (!root.isOther()) events.open(NETLINK_KOBJECT_UEVENT, 1, NewsBytes);
    mounts = HeldFile(root, "/proc/self/mountinfo");
    swaps = HeldFile(root, "/proc/swaps");
    partitions = HeldFile(root, "/proc/partitions");
    raids = HeldFile(root, "/proc/mdstat");
    mounts.read(text);
    swaps.read(text);
    partitionsChanged();
    readAll();
}

void VolumeSampler::readAll() {
    if (!raids.isOpen()) raids.read(text); // it is there since the first array
    readVolumes(root, now);
    askMaps = hasMultipath(now), askGroups = hasLvm(now);
}

bool VolumeSampler::partitionsChanged() {
    if (events.isOpen()) return false;
    if (!partitions.read(text) || text.view() == known) return false;
    known = text.view();
    return true;
}

// An array that loses a member, or begins to be repaired, has no uevent. The kernel announces it in another way, but
// not how far a repair has come.
bool VolumeSampler::raidsChanged() {
    constexpr uint64_t SyncTurn = 64; // samples
    const bool announced = raids.changed();
    if (announced) raids.read(text); // which ends the announcement
    const bool turn = samples % SyncTurn == 0 && std::any_of(now.devices.begin(), now.devices.end(), isSyncing);
    return (announced || turn) && readRaids(root, now);
}

bool VolumeSampler::takeNews() {
    bool again = partitionsChanged(), news = false;
    while (events.isOpen() && events.take(text)) {
        const auto event = parseUevent(text.view());
        if (!event || event->subsystem != "block") continue;
        news = true;
        if (takeUevent(now, text.view())) again = true;
        else askMaps = true; // its other paths, groups and checkers may have changed with it
    }
    if (events.overruns() != lost) again = true;
    lost = events.overruns();
    const bool mounted = mounts.changed(), swapped = swaps.changed(), raid = raidsChanged();
    if (again) {
        readAll();
        if (!askMaps) now.maps.clear();
        if (!askGroups) now.groups.clear();
    } else if (mounted || swapped) {
        readMounts(root, now);
    }
    return again || news || mounted || swapped || raid;
}

// What a tool has printed, once it has ended well; empty: it failed or came too late. None: it is still at work.
std::optional<std::string> VolumeSampler::takeOutput(Helper::Ticket& asked) {
    Answer answer;
    const auto state = helper.take(asked, answer);
    if (state == Helper::State::Queued || state == Helper::State::Asked) return {};
    if (state == Helper::State::Late) helper.forget(asked);
    asked = 0;
    const bool good = state == Helper::State::Answered && !answer.error && !answer.cut && answer.status == 0;
    return good ? std::move(answer.text) : std::string();
}

bool VolumeSampler::askMultipathd() {
    bool changed = false;
    if (ticket) {
        const auto output = takeOutput(ticket);
        if (!output) return false;
        if (auto maps = parseMultipathMaps(*output)) now.maps = std::move(*maps), changed = true;
    }
    if (askMaps && !root.isOther())
        ticket = helper.ask({
            Question::Kind::Tool, {"multipathd", "show", "maps", "json"},
             ToolPatience
        });
    askMaps = false;
    return changed;
}

// The sizes of groups stand in no file.
bool VolumeSampler::askLvm() {
    bool changed = false;
    if (groupsTicket) {
        const auto output = takeOutput(groupsTicket);
        if (!output) return false;
        if (auto groups = parseVolumeGroups(*output)) now.groups = std::move(*groups), changed = true;
    }
    if (askGroups && !root.isOther())
        groupsTicket = helper.ask({
            Question::Kind::Tool,
            {"vgs", "--reportformat", "json", "--units", "b", "-o", "vg_name,vg_size,vg_free,vg_attr"},
            LvmPatience
        });
    askGroups = false;
    return changed;
}

bool VolumeSampler::sample() {
    if (samples++ == 0) return start(), true;
    const bool changed = takeNews(), maps = askMultipathd();
    return askLvm() || maps || changed;
}
