// The sockets of other network namespaces: asked for by the helper process, which enters a namespace for one question.
#include "sample/sock.h"

#include "base/clock.h"

#include <algorithm>

#include <netinet/in.h>
#include <sys/socket.h>

uint16_t SockSampler::spaceOf(uint32_t inode) {
    auto& spaces = now->spaces;
    uint16_t unused = 0;
    for (uint16_t at = 1; at < spaces.size(); at++) {
        if (!spaces[at].free && spaces[at].inode == inode) return at;
        if (spaces[at].free && !unused) unused = at;
    }
    if (!unused && spaces.size() >= MostSpaces) return 0;
    if (!unused) unused = static_cast<uint16_t>(spaces.size()), spaces.emplace_back();
    spaces[unused] = SockSpace();
    spaces[unused].inode = inode;
    return unused;
}

void SockSampler::removeSpace(uint16_t at) {
    for (uint32_t i = 0; i < now->table.slots.size(); i++)
        if (!now->table.slots[i].free && now->table.slots[i].space == at) drop(i);
    now->spaces[at] = SockSpace();
    now->spaces[at].free = true;
}

// All sockets of a protocol whose counters moved; of the others those that hold something.
void SockSampler::askOther(uint16_t at) {
    auto& space = now->spaces[at];
    const auto &is = space.now, &was = space.before;
    Asking ask;
    ask.space = at;
    const bool paired = space.known && space.paired;
    ask.tcp = !paired || is.tcp != was.tcp || is.levels.tcp4 != was.levels.tcp4 || is.levels.tcp6 != was.levels.tcp6;
    ask.udp = !paired || is.udp != was.udp || is.levels.udp4 != was.levels.udp4 || is.levels.udp6 != was.levels.udp6;
    std::string all;
    const auto addList = [&](uint8_t protocol, uint8_t family) { all += listRequest(protocol, family); };
    constexpr size_t MostQueued = 16; // more are listed
    for (const uint8_t protocol : {uint8_t{IPPROTO_TCP}, uint8_t{IPPROTO_UDP}}) {
        bool& whole = protocol == IPPROTO_TCP ? ask.tcp : ask.udp;
        wanted.clear();
        queuedOf(at, protocol, wanted);
        whole |= wanted.size() > MostQueued;
        for (const auto& listener : now->listeners) {
            const auto& socket = now->table.slots[listener.socket];
            whole |= protocol == IPPROTO_TCP && !socket.free && socket.space == at && socket.receive_queue > 0;
        }
        if (whole) {
            space.listed = true;
            addList(protocol, AF_INET);
            const auto six = protocol == IPPROTO_TCP ? is.levels.tcp6 : is.levels.udp6;
            if (six > 0 || space.counts[groupOf(protocol, AF_INET6)].sockets > 0) addList(protocol, AF_INET6);
        } else {
            space.asked += wanted.size();
            for (const auto socket : wanted) all += singleRequestOf(now->table.slots[socket]);
        }
    }
    if (all.empty()) return;
    Question question;
    question.kind = Question::Kind::Sockets;
    question.words = {root.path("/proc/" + std::to_string(space.pid) + "/ns/net"), std::move(all)};
    ask.ticket = helper.ask(std::move(question));
    asking.push_back(ask);
}

void SockSampler::takeOthers() {
    for (const auto& ask : asking) {
        auto& space = now->spaces[ask.space];
        Answer answer;
        const auto state = helper.take(ask.ticket, answer);
        if (state != Helper::State::Answered) {
            helper.forget(ask.ticket); // asked again in the next pass
            space.now.known = false;
            continue;
        }
        if (answer.error) {
            forbidden += answer.error == EPERM || answer.error == EACCES;
            space.now.known = false;
            continue;
        }
        takeAll(ask.space, answer.text);
        space.known |= ask.tcp;
        if (answer.cut) continue;
        if (ask.tcp) sweep(ask.space, IPPROTO_TCP);
        if (ask.udp) sweep(ask.space, IPPROTO_UDP);
    }
    asking.clear();
}

void SockSampler::sampleOthers() {
    constexpr int64_t Patience = 250000; // microseconds, for all namespaces together
    const auto& present = owners.spaces();
    for (uint16_t at = 1; at < now->spaces.size(); at++) {
        const auto isThis = [&](auto& space) { return space.inode == now->spaces[at].inode; };
        if (!now->spaces[at].free && std::none_of(present.begin(), present.end(), isThis)) removeSpace(at);
    }
    for (const auto& there : present) {
        if (there.inode == now->spaces[0].inode) continue;
        const auto at = spaceOf(there.inode);
        if (at == 0) break;
        auto& space = now->spaces[at];
        space.pid = there.pid;
        if (!readCounters(space)) continue;
        readSlow(space);
        if (answers) askOther(at);
    }
    if (asking.empty()) return;
    helper.await(getMonotonic() + Patience, Helper::Await::NoTools);
    takeOthers();
}
