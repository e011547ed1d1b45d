#include "sample/fs.h"

#include "base/clock.h"

#include <algorithm>
#include <utility>

// The kernel announces changes of its mounts; without one the list stays as it was read.
void FsSampler::readMounts() {
    if (readOnce && mountinfo.isOpen() && !mountinfo.changed()) return;
    order.clear();
    readOnce = mountinfo.read(text);
    if (!readOnce) return;
    for (auto& mount : filesystemsOf(parseMountInfo(text.view()))) {
        auto& known = kept[mount.id];
        const bool same = known.entry.point == mount.point && known.entry.source == mount.source &&
                          known.entry.major == mount.major && known.entry.minor == mount.minor;
        if (!same) {
            helper.forget(known.ticket);
            known = {};
            known.entry.mount = mount.id;
            known.entry.major = mount.major, known.entry.minor = mount.minor;
            known.entry.point = mount.point, known.entry.source = mount.source, known.entry.type = mount.type;
            known.entry.remote = isRemoteFs(mount.type);
        }
        order.push_back(mount.id);
    }
}

static uint64_t usedOf(const Space& space) { return (space.blocks - std::min(space.free, space.blocks)) * space.block; }

// Keeps a figure each half minute, of the last five minutes, from which growth is told.
void FsSampler::remember(Kept& known, int64_t now) {
    constexpr int64_t Step = 30000000, Memory = 300000000; // microseconds
    const uint64_t used = usedOf(known.entry.space);
    if (known.pasts.empty() || now - known.pasts.back().at_us >= Step) known.pasts.push_back({now, used});
    while (known.pasts.size() > 1 && now - known.pasts.front().at_us > Memory) known.pasts.pop_front();
    known.entry.past_us = known.pasts.front().at_us, known.entry.past_used = known.pasts.front().used;
}

void FsSampler::take(Kept& known) {
    Answer answer;
    switch (helper.take(known.ticket, answer)) {
    case Helper::State::Answered:
        known.ticket = 0;
        known.entry.asked_us = 0;
        known.entry.error = text.noted(answer.error);
        known.entry.known = answer.error == 0;
        known.entry.space = answer.space;
        known.entry.answered_us = answer.asked_us + answer.took_us;
        if (known.entry.known) remember(known, known.entry.answered_us);
        return;
    case Helper::State::Refused:
    case Helper::State::Unknown:
        known.ticket = 0;
        return;
    case Helper::State::Late:
        known.entry.asked_us = answer.asked_us;
        return;
    case Helper::State::Queued:
    case Helper::State::Asked:
        return;
    }
}

void FsSampler::sample(FsSample& now) {
    // Local filesystems answer at once; whoever has not answered by then is late, and its answer comes in a later
    // sample.
    constexpr int64_t Patience = 200000, Wait = 50000; // microseconds
    samples++;
    readMounts();
    now.at_us = getMonotonic();
    now.known = readOnce;
    for (const auto id : order) {
        auto& known = kept[id];
        known.seen = samples;
        // What is in another root is not mounted here.
        if (known.ticket || root.isOther()) continue;
        Question question;
        question.words = {known.entry.point};
        question.patience_us = Patience;
        known.ticket = helper.ask(std::move(question));
    }
    helper.await(now.at_us + Wait, Helper::Await::NoTools);
    now.entries.clear();
    for (const auto id : order) {
        auto& known = kept[id];
        if (known.ticket) take(known);
        now.entries.push_back(known.entry);
    }
    std::erase_if(kept, [&](auto& item) {
        if (item.second.seen == samples) return false;
        helper.forget(item.second.ticket);
        return true;
    });
}
