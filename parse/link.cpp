#include "parse/link.h"

#include "parse/attributes.h"

#include <iterator>

#include <arpa/inet.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

// The kernel appends new counters to the structure: old kernels send a shorter one.
static bool takeCounters(std::string_view value, LinkCounters& counters) {
    static constexpr struct {
        __u64 rtnl_link_stats64::* from;
        uint64_t LinkCounters::* to;
    } Counters[] = {
        {&rtnl_link_stats64::rx_bytes,            &LinkCounters::rx_bytes    },
        {&rtnl_link_stats64::tx_bytes,            &LinkCounters::tx_bytes    },
        {&rtnl_link_stats64::rx_packets,          &LinkCounters::rx_packets  },
        {&rtnl_link_stats64::tx_packets,          &LinkCounters::tx_packets  },
        {&rtnl_link_stats64::rx_errors,           &LinkCounters::rx_errors   },
        {&rtnl_link_stats64::tx_errors,           &LinkCounters::tx_errors   },
        {&rtnl_link_stats64::rx_dropped,          &LinkCounters::rx_dropped  },
        {&rtnl_link_stats64::tx_dropped,          &LinkCounters::tx_dropped  },
        {&rtnl_link_stats64::multicast,           &LinkCounters::multicast   },
        {&rtnl_link_stats64::collisions,          &LinkCounters::collisions  },
        {&rtnl_link_stats64::rx_length_errors,    &LinkCounters::rx_length   },
        {&rtnl_link_stats64::rx_over_errors,      &LinkCounters::rx_over     },
        {&rtnl_link_stats64::rx_crc_errors,       &LinkCounters::rx_crc      },
        {&rtnl_link_stats64::rx_frame_errors,     &LinkCounters::rx_frame    },
        {&rtnl_link_stats64::rx_fifo_errors,      &LinkCounters::rx_fifo     },
        {&rtnl_link_stats64::rx_missed_errors,    &LinkCounters::rx_missed   },
        {&rtnl_link_stats64::tx_aborted_errors,   &LinkCounters::tx_aborted  },
        {&rtnl_link_stats64::tx_carrier_errors,   &LinkCounters::tx_carrier  },
        {&rtnl_link_stats64::tx_fifo_errors,      &LinkCounters::tx_fifo     },
        {&rtnl_link_stats64::tx_heartbeat_errors, &LinkCounters::tx_heartbeat},
        {&rtnl_link_stats64::tx_window_errors,    &LinkCounters::tx_window   },
        {&rtnl_link_stats64::rx_nohandler,        &LinkCounters::rx_nohandler},
    };
    if (value.size() < offsetof(rtnl_link_stats64, tx_compressed)) return false;
    rtnl_link_stats64 stats{};
    memcpy(&stats, value.data(), std::min(value.size(), sizeof stats));
    for (auto& counter : Counters) counters.*counter.to = stats.*counter.from;
    return true;
}

std::optional<Link> parseLink(std::string_view payload) {
    ifinfomsg body;
    if (!takeBody(payload, body) || body.ifi_family != AF_UNSPEC || body.ifi_index <= 0) return {};
    Link link;
    link.index = static_cast<uint32_t>(body.ifi_index);
    link.flags = body.ifi_flags;
    eachAttribute(payload, [&](int type, std::string_view value) {
        uint32_t number = 0;
        LinkCounters counters;
        switch (type) {
        case IFLA_IFNAME:
            link.name = attributeText(value);
            break;
        case IFLA_MTU:
            attributeNumber(value, link.mtu);
            break;
        case IFLA_MASTER:
            attributeNumber(value, link.master);
            break;
        case IFLA_LINK:
            attributeNumber(value, link.lower);
            break;
        case IFLA_LINK_NETNSID:
            link.lower_abroad = true;
            break;
        case IFLA_OPERSTATE:
            attributeNumber(value, link.state);
            break;
        case IFLA_CARRIER_CHANGES:
            if (attributeNumber(value, number)) link.carrier_changes = number;
            break;
        case IFLA_STATS64:
            if (takeCounters(value, counters)) link.counters = counters;
            break;
        case IFLA_LINKINFO:
            eachAttribute(value, [&](int inner, std::string_view text) {
                if (inner == IFLA_INFO_KIND) link.kind = attributeText(text);
            });
            break;
        default:
            break;
        }
    });
    return link;
}

bool parseLinkCounters(std::string_view payload, uint32_t& index, LinkCounters& counters) {
    if_stats_msg body;
    if (!takeBody(payload, body)) return false;
    bool found = false;
    eachAttribute(payload, [&](int type, std::string_view value) {
        if (type == IFLA_STATS_LINK_64) found |= takeCounters(value, counters);
    });
    index = body.ifindex;
    return found;
}

std::optional<Address> parseAddress(std::string_view payload) {
    ifaddrmsg body;
    if (!takeBody(payload, body)) return {};
    const size_t size = body.ifa_family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr);
    if (body.ifa_family != AF_INET && body.ifa_family != AF_INET6) return {};
    // Where the other end of a point-to-point link has an address, IFA_ADDRESS is that one and IFA_LOCAL is ours.
    std::string_view any, local;
    eachAttribute(payload, [&](int type, std::string_view value) {
        if (value.size() != size) return;
        if (type == IFA_ADDRESS) any = value;
        if (type == IFA_LOCAL) local = value;
    });
    if (local.empty()) local = any;
    char text[INET6_ADDRSTRLEN];
    if (local.empty() || !inet_ntop(body.ifa_family, local.data(), text, sizeof text)) return {};
    Address address;
    address.index = body.ifa_index;
    address.family = body.ifa_family;
    address.prefix = body.ifa_prefixlen;
    address.scope = body.ifa_scope;
    address.text = text;
    return address;
}

std::string_view stateName(uint8_t state) {
    static constexpr std::string_view Names[] = {"unknown", "notpresent", "down", "lowerlayerdown",
                                                 "testing", "dormant",    "up"};
    return state < std::size(Names) ? Names[state] : "unknown";
}

std::string_view scopeName(uint8_t scope) {
    switch (scope) {
    case RT_SCOPE_UNIVERSE:
        return "global";
    case RT_SCOPE_SITE:
        return "site";
    case RT_SCOPE_LINK:
        return "link";
    case RT_SCOPE_HOST:
        return "host";
    case RT_SCOPE_NOWHERE:
        return "nowhere";
    default:
        return {};
    }
}
