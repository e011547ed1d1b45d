#include "model/net.h"

#include "model/amounts.h"

#include <algorithm>
#include <iterator>

#include <linux/rtnetlink.h>
#include <sys/socket.h>

// --- Traffic

static void setTraffic(const LinkCount& before, const LinkCount& now, LinkRow& row) {
    static constexpr struct {
        uint64_t LinkCounters::* from;
        std::optional<uint64_t> LinkRow::* to;
        bool isCause;
    } Amounts[] = {
        {&LinkCounters::rx_bytes,     &LinkRow::rx_bytes,     false},
        {&LinkCounters::tx_bytes,     &LinkRow::tx_bytes,     false},
        {&LinkCounters::rx_packets,   &LinkRow::rx_packets,   false},
        {&LinkCounters::tx_packets,   &LinkRow::tx_packets,   false},
        {&LinkCounters::rx_errors,    &LinkRow::rx_errors,    false},
        {&LinkCounters::tx_errors,    &LinkRow::tx_errors,    false},
        {&LinkCounters::rx_dropped,   &LinkRow::rx_dropped,   false},
        {&LinkCounters::tx_dropped,   &LinkRow::tx_dropped,   false},
        {&LinkCounters::multicast,    &LinkRow::multicast,    false},
        {&LinkCounters::collisions,   &LinkRow::collisions,   false},
        {&LinkCounters::rx_length,    &LinkRow::rx_length,    true },
        {&LinkCounters::rx_over,      &LinkRow::rx_over,      true },
        {&LinkCounters::rx_crc,       &LinkRow::rx_crc,       true },
        {&LinkCounters::rx_frame,     &LinkRow::rx_frame,     true },
        {&LinkCounters::rx_fifo,      &LinkRow::rx_fifo,      true },
        {&LinkCounters::rx_missed,    &LinkRow::rx_missed,    true },
        {&LinkCounters::rx_nohandler, &LinkRow::rx_nohandler, true },
        {&LinkCounters::tx_aborted,   &LinkRow::tx_aborted,   true },
        {&LinkCounters::tx_carrier,   &LinkRow::tx_carrier,   true },
        {&LinkCounters::tx_fifo,      &LinkRow::tx_fifo,      true },
        {&LinkCounters::tx_heartbeat, &LinkRow::tx_heartbeat, true },
        {&LinkCounters::tx_window,    &LinkRow::tx_window,    true },
    };
    for (auto& amount : Amounts)
        if (!amount.isCause || now.by_cause)
            row.*amount.to = grown(before.counters.*amount.from, now.counters.*amount.from);
    // What a full ring could not take is a drop like the others; /proc/net/dev adds it up, too.
    if (row.rx_dropped && row.rx_missed) *row.rx_dropped += *row.rx_missed;
}

// --- What it is

// "10.2.0.7 2001:db8::7": the addresses of one interface. Those that hold on the link or the machine alone are of
// interest where there is no other.
static std::string addressesOf(const std::vector<Address>& addresses, uint32_t index) {
    const auto from = std::lower_bound(addresses.begin(), addresses.end(), index,
                                       [](auto& address, uint32_t i) { return address.index < i; });
    const auto to = std::find_if(from, addresses.end(), [&](auto& address) { return address.index != index; });
    const auto isWide = [](const Address& address) { return address.scope < RT_SCOPE_LINK; };
    const bool wide = std::any_of(from, to, isWide);
    std::string text;
    for (auto at = from; at != to; ++at) {
        if (wide && !isWide(*at)) continue;
        if (!text.empty()) text += ' ';
        text += at->text;
    }
    return text;
}

static const LinkFacts* findLink(const NetSample* sample, uint32_t index) {
    if (!sample || !sample->facts) return nullptr;
    auto& links = sample->facts->links;
    const auto at =
        std::lower_bound(links.begin(), links.end(), index, [](auto& link, uint32_t i) { return link.index < i; });
    return at != links.end() && at->index == index ? &*at : nullptr;
}

static void describe(const NetSample& now, const LinkFacts& link, LinkRow& row) {
    if (link.numbered) row.index = link.index;
    row.name = link.name, row.kind = link.kind, row.counted = link.counted;
    row.state = stateName(link.state);
    row.addresses = addressesOf(now.facts->addresses, link.index);
    if (const auto* master = findLink(&now, link.master)) row.master = master->name;
    if (link.mtu) row.mtu = link.mtu;
    row.speed = link.speed;
}

static bool isChanged(const NetSample& before, const NetSample& now, const LinkFacts& link) {
    if (before.facts == now.facts) return false;
    const auto* was = findLink(&before, link.index);
    return !was || was->name != link.name || was->kind != link.kind || was->state != link.state ||
           was->master != link.master || was->mtu != link.mtu || was->speed != link.speed ||
           was->counted != link.counted || was->carrier_changes != link.carrier_changes ||
           addressesOf(before.facts->addresses, link.index) != addressesOf(now.facts->addresses, link.index);
}

// --- Rows

namespace {
// Walks along a list in the order of its indices.
template <typename T> class Follower {
    const std::vector<T>& list;
    size_t at = 0;

public:
    explicit Follower(const std::vector<T>& of) : list(of) {}
    const T* find(uint32_t index) {
        while (at < list.size() && list[at].index < index) at++;
        return at < list.size() && list[at].index == index ? &list[at] : nullptr;
    }
};
} // namespace

// The counters that an interface's amounts start from. False: they are not known.
static bool baseOf(const NetSample& before, const NetSample& now, const LinkCount& count, const LinkCount* partner,
                   LinkCount& base) {
    const auto arrival = std::find_if(now.arrived.begin(), now.arrived.end(),
                                      [&](auto& arrived) { return arrived.index == count.index; });
    base.counters = {};
    if (arrival != now.arrived.end() && (arrival->replaced || !partner)) return base.counters = arrival->counters, true;
    if (partner) return base = *partner, true;
    return before.complete && !before.lost && !now.lost; // new: all that it counted
}

static void addTraffic(const LinkTraffic& row, LinkTraffic& sum) {
    static constexpr std::optional<uint64_t> LinkTraffic::* Amounts[] = {
        &LinkTraffic::rx_bytes,  &LinkTraffic::tx_bytes,  &LinkTraffic::rx_packets, &LinkTraffic::tx_packets,
        &LinkTraffic::rx_errors, &LinkTraffic::tx_errors, &LinkTraffic::rx_dropped, &LinkTraffic::tx_dropped,
    };
    for (auto amount : Amounts)
        if (row.*amount) sum.*amount = (sum.*amount).value_or(0) + *(row.*amount);
}

static void linkRows(const NetSample& before, const NetSample& now, bool complete, Rows<LinkRow>& rows, LinksRow& all) {
    Follower partners(before.counts);
    Follower facts(now.facts->links);
    for (auto& count : now.counts) {
        const auto* link = facts.find(count.index);
        const auto* partner = partners.find(count.index);
        if (!link) continue; // came while the interfaces were listed: the next sample knows it
        LinkRow row;
        LinkCount base;
        if (baseOf(before, now, count, partner, base)) setTraffic(base, count, row);
        const auto* was = findLink(&before, count.index);
        if (was && was->carrier_changes && link->carrier_changes)
            row.carrier_changes = grown(*was->carrier_changes, *link->carrier_changes);
        const bool active = isActive(row);
        all.links++, all.idle += !active, all.counted += link->counted;
        if (link->counted) addTraffic(row, all);
        if (!complete && !active && !isChanged(before, now, *link)) continue;
        describe(now, *link, row);
        rows.rows.push_back(std::move(row));
    }
}

static void addressRow(const NetSample& sample, const Address& address, bool present, Rows<AddressRow>& rows) {
    auto& row = rows.rows.emplace_back();
    row.index = address.index, row.address = address.text, row.prefix = address.prefix;
    row.family = address.family == AF_INET6 ? 6 : 4;
    row.scope = scopeName(address.scope), row.present = present;
    if (const auto* link = findLink(&sample, address.index)) row.name = link->name;
}

static void addressRows(const NetSample& before, const NetSample& now, bool complete, Rows<AddressRow>& rows) {
    if (!complete && before.facts == now.facts) return;
    auto& were = before.facts->addresses;
    auto& are = now.facts->addresses;
    std::vector<Address> changed;
    std::set_difference(were.begin(), were.end(), are.begin(), are.end(), std::back_inserter(changed));
    for (auto& address : changed) addressRow(before, address, false, rows);
    changed.clear();
    if (!complete) std::set_difference(are.begin(), are.end(), were.begin(), were.end(), std::back_inserter(changed));
    for (auto& address : complete ? are : changed) addressRow(now, address, true, rows);
}

void netRows(const NetSample* before, const NetSample& now, bool complete, Rows<LinkRow>& links, Rows<LinksRow>& all,
             Rows<AddressRow>& addresses) {
    if (!now.known || !now.facts) return;
    links.sampled = all.sampled = addresses.sampled = true;
    if (!before || !before->known || !before->facts) return;
    links.elapsed_us = all.elapsed_us = addresses.elapsed_us = now.at_us - before->at_us;
    linkRows(*before, now, complete, links, all.rows.emplace_back());
    addressRows(*before, now, complete, addresses);
}
