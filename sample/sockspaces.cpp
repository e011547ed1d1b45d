// The sockets of other network namespaces: asked for by the helper process, which enters a namespace for one question.
#include "sample/sock.h"

#include "base/clock.h"
#include "sample/sockrequest.h"

#include <algorithm>

#include <netinet/in.h>
#include <sys/socket.h>

static constexpr uint8_t Protocols[] = {IPPROTO_TCP, IPPROTO_UDP};

// The place of a namespace, a new one if need be. 0: there is no room for another one.
uint16_t SockSampler::spaceOf(uint32_t inode) {
    auto& spaces = now->spaces;
    const auto known = places.find(inode);
    if (known != places.end()) return known->second;
    uint16_t place = static_cast<uint16_t>(spaces.size());
    if (!unusedPlaces.empty()) place = unusedPlaces.extract(unusedPlaces.begin()).value();
    else if (spaces.size() < MostSpaces) spaces.emplace_back();
    else return 0;
    spaces[place] = SockSpace();
    spaces[place].inode = inode, spaces[place].fresh = true;
    places[inode] = place;
    return place;
}

void SockSampler::dropSockets(uint16_t at) {
    for (const uint8_t protocol : Protocols) now->table.each(at, protocol, [&](uint32_t socket) { drop(socket); });
}

void SockSampler::removeSpace(uint16_t at) {
    dropSockets(at);
    places.erase(now->spaces[at].inode);
    unusedPlaces.insert(at);
    now->spaces[at] = SockSpace();
    now->spaces[at].free = true;
}

// The kernel gives a new namespace the lowest inode number that is free: that of one which ended since the last pass.
void SockSampler::identify(uint16_t at, uint64_t cookie) {
    auto& space = now->spaces[at];
    if (cookie == 0 || cookie == space.cookie) return;
    if (space.cookie != 0) {
        dropSockets(at);
        space.fresh = true, space.paired = space.known = false;
    }
    space.cookie = cookie;
}

// The sockets of other namespaces with something in a queue, by namespace.
void SockSampler::gatherQueued() {
    queuedThere.clear();
    for (const auto at : now->queued) {
        const auto& socket = now->table.slots[at];
        if (!socket.free && socket.space != 0) queuedThere.push_back({socket.space, at});
    }
    compared += now->queued.size();
    std::stable_sort(queuedThere.begin(), queuedThere.end(), [](auto& a, auto& b) { return a.space < b.space; });
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
    const auto [first, last] = std::equal_range(queuedThere.begin(), queuedThere.end(), QueuedThere{at, 0},
                                                [](auto& a, auto& b) { return a.space < b.space; });
    for (const uint8_t protocol : Protocols) {
        bool& whole = protocol == IPPROTO_TCP ? ask.tcp : ask.udp;
        wanted.clear();
        for (auto held = first; held != last; ++held) {
            const auto& socket = now->table.slots[held->socket];
            if (socket.protocol != protocol) continue;
            // Several listeners can have the same address.
            if (socket.state == SocketState::Listen) whole = true;
            else wanted.push_back(held->socket);
        }
        whole |= wanted.size() > MostQueued;
        if (whole) {
            addList(protocol, AF_INET);
            const auto six = protocol == IPPROTO_TCP ? is.levels.tcp6 : is.levels.udp6;
            if (six > 0 || space.counts[groupOf(protocol, AF_INET6)].sockets > 0) addList(protocol, AF_INET6);
        } else {
            space.asked += wanted.size();
            for (const auto socket : wanted) all += socketRequest(now->table.slots[socket]);
        }
    }
    if (all.empty()) return;
    Question question;
    question.kind = Question::Kind::Sockets;
    question.words = {root.path("/proc/" + std::to_string(space.pid) + "/ns/net"), std::move(all)};
    question.from = space.inode;
    question.piece = [this, at](const Answer& part) {
        goesOn = true;
        identify(at, part.netns);
        takeAll(at, part.text);
    };
    ask.ticket = helper.ask(std::move(question));
    asking.push_back(ask);
}

// A long list may take a quarter of the interval, up to a second, as long as more of it comes.
void SockSampler::awaitOthers() {
    constexpr int64_t Patience = 250000, Longest = 1000000; // microseconds, for all namespaces together
    const int64_t began = getMonotonic(), elapsed = now->paired ? now->at_us - now->before_us : 0;
    const int64_t latest = began + std::clamp(elapsed / 4, Patience, Longest);
    int64_t until = began;
    do {
        until = std::min(until + Patience, latest);
        goesOn = false;
        helper.await(until, Helper::Await::NoTools);
    } while (goesOn && until < latest);
}

void SockSampler::takeOthers() {
    for (const auto& ask : asking) {
        auto& space = now->spaces[ask.space];
        Answer answer;
        const auto state = helper.take(ask.ticket, answer);
        const bool answered = state == Helper::State::Answered && answer.error == 0;
        if (state != Helper::State::Answered) helper.forget(ask.ticket);
        const bool refused = state == Helper::State::Refused || state == Helper::State::Unknown;
        if (!refused && state != Helper::State::Answered) unanswered.push_back(space.inode);
        else if (space.inode == slowest) slowest = 0;
        forbidden += answer.error == EPERM || answer.error == EACCES;
        if (answer.error == ENOENT) space.now.known = false; // the namespace has ended
        identify(ask.space, answer.netns);
        // What else moved in it is found out when all are listed in the next pass.
        space.known = answered && (space.known || (ask.tcp && !answer.cut));
        if (!answered) continue;
        space.listed = ask.tcp || ask.udp;
        if (answer.cut) continue;
        if (ask.tcp) sweep(ask.space, IPPROTO_TCP);
        if (ask.udp) sweep(ask.space, IPPROTO_UDP);
    }
}

// The next pass begins with the first namespace that had no answer in time. One that was asked before all others had
// all the time there is: until it answers it is not asked first again.
void SockSampler::chooseFirst() {
    if (!unanswered.empty() && unanswered.front() == now->spaces[asking.front().space].inode)
        slowest = unanswered.front();
    const auto next =
        std::find_if(unanswered.begin(), unanswered.end(), [&](uint32_t inode) { return inode != slowest; });
    if (next != unanswered.end()) nextFirst = *next;
    unanswered.clear();
    asking.clear();
}

// Reads the counters of a namespace, and asks for its sockets.
void SockSampler::sampleOther(const ProcessSpace& there) {
    const auto at = spaceOf(there.inode);
    if (at == 0) return void(now->leftOut++);
    auto& space = now->spaces[at];
    space.pid = there.pid;
    if (!readCounters(space)) return;
    readSlow(space);
    // It may have left meanwhile: the helper is seen in a namespace whose list takes long.
    if (!owners.isThere(there)) return void(space.now = {});
    if (answers) askOther(at);
}

void SockSampler::sampleOthers() {
    const auto& present = owners.spaces(); // by inode
    const auto precedes = [](auto& space, uint32_t inode) { return space.inode < inode; };
    for (uint16_t at = 1; at < now->spaces.size(); at++) {
        const auto inode = now->spaces[at].inode;
        const auto is = std::lower_bound(present.begin(), present.end(), inode, precedes);
        if (!now->spaces[at].free && (is == present.end() || is->inode != inode)) removeSpace(at);
    }
    gatherQueued();
    now->leftOut = 0;
    auto there = std::lower_bound(present.begin(), present.end(), nextFirst, precedes);
    for (size_t i = 0; i < present.size(); i++, ++there) {
        if (there == present.end()) there = present.begin();
        if (there->inode != now->spaces[0].inode) sampleOther(*there);
    }
    if (asking.empty()) return;
    awaitOthers();
    takeOthers();
    chooseFirst();
}
