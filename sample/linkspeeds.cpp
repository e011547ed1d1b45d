#include "sample/linkspeeds.h"

#include <utility>

#include <linux/if.h>

// The driver of a veth or a tunnel would make up a figure.
static bool hasSpeed(const Link& link) {
    const bool real = link.kind.empty() || link.kind == "bond" || link.kind == "team" || link.kind == "vlan";
    return real && !(link.flags & IFF_LOOPBACK) && (link.flags & IFF_RUNNING);
}

void LinkSpeeds::forget(uint32_t index) {
    const auto known = speeds.find(index);
    if (known == speeds.end()) return;
    helper.forget(known->second.ticket);
    speeds.erase(known);
}

void LinkSpeeds::ask(const Link& link) {
    if (!hasSpeed(link)) return forget(link.index);
    const auto known = speeds.find(link.index);
    if (known != speeds.end() && known->second.name == link.name &&
        known->second.carrier_changes == link.carrier_changes)
        return;
    auto& speed = speeds[link.index]; // the old answer holds until the new one comes
    helper.forget(speed.ticket);
    Question question;
    question.kind = Question::Kind::Speed;
    question.words = {link.name};
    speed.name = link.name, speed.carrier_changes = link.carrier_changes;
    speed.ticket = helper.ask(std::move(question));
}

void LinkSpeeds::take() {
    for (auto& [index, speed] : speeds) {
        if (speed.ticket == 0) continue;
        Answer answer;
        const auto state = helper.take(speed.ticket, answer);
        if (state == Helper::State::Queued || state == Helper::State::Asked || state == Helper::State::Late) continue;
        speed.ticket = 0;
        if (state == Helper::State::Refused) speed.name.clear(); // asked again with the next sample
        speed.bits.reset();
        if (state != Helper::State::Answered || answer.error || answer.mbit <= 0) continue;
        speed.bits = static_cast<uint64_t>(answer.mbit) * 1000000;
    }
}

std::optional<uint64_t> LinkSpeeds::of(uint32_t index) const {
    const auto at = speeds.find(index);
    return at == speeds.end() ? std::nullopt : at->second.bits;
}
