#include "sample/net.h"

#include "base/clock.h"
#include "base/numbers.h"
#include "parse/attributes.h"
#include "parse/netdev.h"

#include <algorithm>
#include <cerrno>

#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

// --- Requests

namespace {
// RTM_GETLINK with an attribute that says what to leave out.
struct LinksBody {
    ifinfomsg info{};
    nlattr header{sizeof(nlattr) + sizeof(uint32_t), IFLA_EXT_MASK};
    uint32_t mask = 0;
};
} // namespace

static std::string linksRequestOf(bool withCounters) {
    LinksBody body;
    if (!withCounters) body.mask = RTEXT_FILTER_SKIP_STATS;
    return dumpRequest(RTM_GETLINK, body);
}

static std::string countsRequestOf() {
    if_stats_msg body{};
    body.filter_mask = IFLA_STATS_FILTER_BIT(IFLA_STATS_LINK_64);
    return dumpRequest(RTM_GETSTATS, body);
}

NetSampler::NetSampler(const Root& where, Helper& asked)
    : root(where), speeds(asked), linksRequest(linksRequestOf(false)), countsRequest(countsRequestOf()),
      addressesRequest(dumpRequest(RTM_GETADDR, ifaddrmsg{})), devices(where, "/proc/net/dev") {
    if (root.isOther()) return;
    constexpr int Room = 1 << 20; // bytes: thousands of interfaces that come at once
    questions.open(NETLINK_ROUTE);
    listening = news.open(NETLINK_ROUTE, RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR, Room);
}

// --- News

// Interfaces that came are noted with their counters of that moment.
void NetSampler::takeMessages(std::string_view messages, NetSample& now) {
    eachMessage(messages, [&](uint16_t type, std::string_view payload) {
        if (type == RTM_NEWADDR || type == RTM_DELADDR) addressesStale = true;
        if (type != RTM_NEWLINK && type != RTM_DELLINK) return;
        linksStale = true;
        const auto link = parseLink(payload);
        if (!link) return;
        const auto at = std::lower_bound(present.begin(), present.end(), link->index);
        const bool known = at != present.end() && *at == link->index;
        if (type == RTM_DELLINK) {
            if (known) present.erase(at);
            goneNow.push_back(link->index);
            std::erase_if(now.arrived, [&](auto& arrival) { return arrival.index == link->index; });
            speeds.forget(link->index);
            return;
        }
        if (known) return;
        present.insert(at, link->index);
        if (!link->counters) return void(now.lost = true);
        const auto went = [&](auto& list) { return std::find(list.begin(), list.end(), link->index) != list.end(); };
        now.arrived.push_back({link->index, went(gone) || went(goneNow), *link->counters});
    });
}

void NetSampler::takeNews(NetSample& now) {
    while (news.take(message)) takeMessages(message.view(), now);
    if (news.overruns() == overruns) return;
    overruns = news.overruns();
    linksStale = addressesStale = presentStale = now.lost = true;
}

// --- Answers

// What changes while it is listed is asked for again, a few times.
Asked NetSampler::askPatiently(std::string& request) {
    auto asked = questions.ask(request, text);
    for (int again = 0; again < 3 && asked == Asked::Interrupted; again++) asked = questions.ask(request, text);
    return asked;
}

template <typename T> static void sortByIndex(std::vector<T>& list) {
    const auto before = [](const T& a, const T& b) { return a.index < b.index; };
    if (!std::is_sorted(list.begin(), list.end(), before)) std::stable_sort(list.begin(), list.end(), before);
    // A list that changed while it was sent can have one twice.
    const auto same = [](const T& a, const T& b) { return a.index == b.index; };
    list.erase(std::unique(list.begin(), list.end(), same), list.end());
}

void NetSampler::readAddresses(NetFacts& to) {
    const auto asked = askPatiently(addressesRequest);
    addressesStale = asked != Asked::Whole || !listening;
    if (asked == Asked::Failed) {
        if (facts) to.addresses = facts->addresses; // until they can be read again
        return;
    }
    eachMessage(text.view(), [&](uint16_t type, std::string_view payload) {
        if (type != RTM_NEWADDR) return;
        if (auto address = parseAddress(payload)) to.addresses.push_back(std::move(*address));
    });
    std::sort(to.addresses.begin(), to.addresses.end());
}

// What the interfaces are; with their counters where the kernel has no request for these alone.
bool NetSampler::readLinks(NetSample& now, bool withCounters) {
    const auto asked = askPatiently(linksRequest);
    if (asked == Asked::Failed) return false;
    linksStale = asked == Asked::Interrupted || !listening;
    auto fresh = std::make_shared<NetFacts>();
    if (withCounters) now.counts.clear();
    eachMessage(text.view(), [&](uint16_t type, std::string_view payload) {
        auto link = type == RTM_NEWLINK ? parseLink(payload) : std::nullopt;
        if (!link) return;
        if (withCounters && link->counters) now.counts.push_back({link->index, true, *link->counters});
        LinkFacts& known = fresh->links.emplace_back();
        static_cast<Link&>(known) = std::move(*link);
        known.counters.reset();
    });
    if (withCounters) sortByIndex(now.counts), now.complete = asked == Asked::Whole;
    sortByIndex(fresh->links);
    markCounted(fresh->links);
    if (facts && !addressesStale) fresh->addresses = facts->addresses;
    else readAddresses(*fresh);
    if (presentStale) {
        presentStale = false;
        present.clear();
        for (auto& link : fresh->links) present.push_back(link.index);
    }
    facts = std::move(fresh);
    return true;
}

Asked NetSampler::readCounts(NetSample& now) {
    now.counts.clear();
    const auto asked = askPatiently(countsRequest);
    if (asked == Asked::Failed) return asked;
    eachMessage(text.view(), [&](uint16_t type, std::string_view payload) {
        LinkCount count;
        if (type == RTM_NEWSTATS && parseLinkCounters(payload, count.index, count.counters))
            now.counts.push_back(count);
    });
    sortByIndex(now.counts);
    now.complete = asked == Asked::Whole;
    return asked;
}

bool NetSampler::hasUnknown(const NetSample& now) const {
    return std::any_of(now.counts.begin(), now.counts.end(),
                       [&](auto& count) { return !facts || !findLink(facts->links, count.index); });
}

// Facts that news, or the lack of a listening socket, have made old.
bool NetSampler::refresh(NetSample& now) {
    if (!facts || linksStale || !listening) return readLinks(now, !hasCounts);
    if (!addressesStale) return true;
    auto fresh = std::make_shared<NetFacts>();
    fresh->links = facts->links;
    readAddresses(*fresh);
    facts = std::move(fresh);
    return true;
}

// --- Speeds

void NetSampler::refreshSpeeds() {
    for (auto& link : facts->links) speeds.ask(link);
    speeds.take();
    const auto differs = [&](auto& link) { return link.speed != speeds.of(link.index); };
    if (std::none_of(facts->links.begin(), facts->links.end(), differs)) return;
    auto fresh = std::make_shared<NetFacts>(*facts);
    for (auto& link : fresh->links) link.speed = speeds.of(link.index);
    facts = std::move(fresh);
}

// --- A sample

void NetSampler::sampleLive(NetSample& now) {
    takeNews(now);
    const bool old = !facts || linksStale;
    if (!refresh(now)) return;
    if (hasCounts) {
        const auto asked = readCounts(now);
        if (asked == Asked::Failed && (errno == EOPNOTSUPP || errno == EINVAL)) { // kernels before 4.7
            hasCounts = false;
            linksRequest = linksRequestOf(true);
            if (!readLinks(now, true)) return;
        } else if (asked == Asked::Failed) {
            return;
        } else if (hasUnknown(now) && !readLinks(now, false)) {
            return;
        }
    } else if (!old && listening && !readLinks(now, true)) {
        return;
    }
    takeNews(now); // of what came while the answers were made
    refreshSpeeds();
    now.known = true;
}

void NetSampler::sample(NetSample& now) {
    now.at_us = getMonotonic();
    now.known = now.complete = now.lost = false;
    now.counts.clear(), now.arrived.clear();
    gone.swap(goneNow), goneNow.clear();
    if (root.isOther()) sampleFiles(now);
    else sampleLive(now);
    now.facts = facts;
}

// --- Below another root

// What /sys/class/net says of an interface: its number, its kind, and the state it was in when it was first seen.
LinkFacts NetSampler::factsOf(std::string_view name) {
    const std::string dir = root.path("/sys/class/net/" + std::string(name) + "/");
    const auto word = [&](const char* file) {
        if (name.find('/') != name.npos || !readFile((dir + file).c_str(), text, Reading::Single, 4096))
            return std::string();
        return std::string(text.view().substr(0, text.view().find('\n')));
    };
    LinkFacts link;
    link.name = name;
    link.numbered = toNumber(word("ifindex"), link.index) && link.index > 0;
    if (!link.numbered) link.index = invented++;
    toNumber(word("mtu"), link.mtu);
    const auto state = word("operstate");
    for (uint8_t i = 0; i <= IF_OPER_UP; i++)
        if (stateName(i) == state) link.state = i;
    if (const auto type = word("uevent"); type.starts_with("DEVTYPE=")) link.kind = type.substr(8);
    if (link.kind == "wlan" || link.kind == "wwan") link.kind.clear(); // hardware
    if (name == "lo") link.flags = IFF_LOOPBACK;
    return link;
}

void NetSampler::sampleFiles(NetSample& now) {
    Contents list; // `text` is needed for the facts
    if (!devices.read(list)) return;
    bool changed = !facts;
    auto rest = list.view();
    for (std::string_view line; takeLine(rest, line);) {
        Netdev device;
        if (!parseNetdevLine(line, device) || device.name.empty()) continue;
        auto known = named.find(device.name);
        if (known == named.end()) {
            known = named.emplace(device.name, factsOf(device.name)).first;
            changed = true;
        }
        auto& count = now.counts.emplace_back();
        count.index = known->second.index;
        count.by_cause = false;
        const auto set = [](uint64_t& to, int64_t from) { to = static_cast<uint64_t>(from); };
        set(count.counters.rx_bytes, device.rx_bytes), set(count.counters.tx_bytes, device.tx_bytes);
        set(count.counters.rx_packets, device.rx_packets), set(count.counters.tx_packets, device.tx_packets);
        set(count.counters.rx_errors, device.rx_errors), set(count.counters.tx_errors, device.tx_errors);
        set(count.counters.rx_dropped, device.rx_dropped), set(count.counters.tx_dropped, device.tx_dropped);
        set(count.counters.multicast, device.rx_multicast), set(count.counters.collisions, device.tx_collisions);
    }
    sortByIndex(now.counts);
    now.known = now.complete = true;
    if (named.size() > now.counts.size()) {
        const auto isListed = [&](uint32_t index) {
            const auto at = std::lower_bound(now.counts.begin(), now.counts.end(), index,
                                             [](auto& count, uint32_t i) { return count.index < i; });
            return at != now.counts.end() && at->index == index;
        };
        std::erase_if(named, [&](auto& link) { return !isListed(link.second.index); });
        changed = true;
    }
    if (!changed) return;
    auto fresh = std::make_shared<NetFacts>();
    for (auto& [name, link] : named) fresh->links.push_back(link);
    sortByIndex(fresh->links);
    markCounted(fresh->links);
    facts = std::move(fresh);
}
