#include "sample/volumewatch.h"

#include "parse/uevent.h"

static constexpr int NewsBytes = 1 << 20;        // a machine that scans a thousand paths sends them at once
static constexpr int64_t ToolPatience = 2000000; // microseconds; multipathd answers in milliseconds or hangs

void VolumeSampler::start() {
    // What is listened to and held comes before what is read, so that nothing is missed in between.
    if (!root.isOther()) events.open(NETLINK_KOBJECT_UEVENT, 1, NewsBytes);
    mounts = HeldFile(root, "/proc/self/mountinfo");
    swaps = HeldFile(root, "/proc/swaps");
    partitions = HeldFile(root, "/proc/partitions");
    mounts.read(text);
    swaps.read(text);
    partitionsChanged();
    readVolumes(root, now);
    askMaps = hasMultipath(now);
}

bool VolumeSampler::partitionsChanged() {
    if (events.isOpen()) return false;
    if (!partitions.read(text) || text.view() == known) return false;
    known = text.view();
    return true;
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
    const bool mounted = mounts.changed(), swapped = swaps.changed();
    if (again) {
        readVolumes(root, now);
        askMaps = hasMultipath(now);
        if (!askMaps) now.maps.clear();
    } else if (mounted || swapped) {
        readMounts(root, now);
    }
    return again || news || mounted || swapped;
}

bool VolumeSampler::askMultipathd() {
    Answer answer;
    bool changed = false;
    if (ticket) {
        const auto state = helper.take(ticket, answer);
        if (state == Helper::State::Queued || state == Helper::State::Asked) return false;
        if (state == Helper::State::Late) helper.forget(ticket);
        if (state == Helper::State::Answered && !answer.error && !answer.cut && answer.status == 0)
            if (auto maps = parseMultipathMaps(answer.text)) now.maps = std::move(*maps), changed = true;
        ticket = 0;
    }
    if (askMaps && !root.isOther())
        ticket = helper.ask({
            Question::Kind::Tool, {"multipathd", "show", "maps", "json"},
             ToolPatience
        });
    askMaps = false;
    return changed;
}

bool VolumeSampler::sample() {
    if (samples++ == 0) return start(), true;
    const bool changed = takeNews();
    return askMultipathd() || changed;
}
