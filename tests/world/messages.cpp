// Netlink messages from the lines of a world.
#include "tests/world/devices.h"
#include "tests/world/lines.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <sstream>
#include <stdexcept>

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/genetlink.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <linux/taskstats.h>
#include <net/if.h>
#include <net/if_arp.h>

namespace {
// One message that is being built.
class Message {
    alignas(nlmsghdr) char room[8192] = {};

public:
    nlmsghdr* header;
    explicit Message(uint16_t type) : header(mnl_nlmsg_put_header(room)) {
        header->nlmsg_type = type;
        header->nlmsg_flags = NLM_F_MULTI;
    }
    void addTo(std::string& bytes) const { bytes.append(room, NLMSG_ALIGN(header->nlmsg_len)); }
};
} // namespace

// The words KEY=VALUE, and those without a sign, in their order.
static std::map<std::string, std::string> wordsOf(std::string rest, std::vector<std::string>& plain) {
    std::map<std::string, std::string> values;
    while (!rest.empty()) {
        const std::string word = cutWord(rest);
        const auto sign = word.find('=');
        if (sign == word.npos) plain.push_back(decoded(word));
        else values[word.substr(0, sign)] = decoded(word.substr(sign + 1));
    }
    return values;
}

static uint32_t number(const std::string& text) { return static_cast<uint32_t>(std::stoul(text, nullptr, 0)); }

static void putStatistics(nlmsghdr* header, const std::map<std::string, std::string>& values) {
    static const std::map<std::string, size_t> Fields = {
        {"rx_packets", offsetof(rtnl_link_stats64, rx_packets)},
        {"tx_packets", offsetof(rtnl_link_stats64, tx_packets)},
        {"rx_bytes", offsetof(rtnl_link_stats64, rx_bytes)},
        {"tx_bytes", offsetof(rtnl_link_stats64, tx_bytes)},
        {"rx_errors", offsetof(rtnl_link_stats64, rx_errors)},
        {"tx_errors", offsetof(rtnl_link_stats64, tx_errors)},
        {"rx_dropped", offsetof(rtnl_link_stats64, rx_dropped)},
        {"tx_dropped", offsetof(rtnl_link_stats64, tx_dropped)},
        {"multicast", offsetof(rtnl_link_stats64, multicast)},
        {"collisions", offsetof(rtnl_link_stats64, collisions)},
        {"rx_length_errors", offsetof(rtnl_link_stats64, rx_length_errors)},
        {"rx_over_errors", offsetof(rtnl_link_stats64, rx_over_errors)},
        {"rx_crc_errors", offsetof(rtnl_link_stats64, rx_crc_errors)},
        {"rx_frame_errors", offsetof(rtnl_link_stats64, rx_frame_errors)},
        {"rx_fifo_errors", offsetof(rtnl_link_stats64, rx_fifo_errors)},
        {"rx_missed_errors", offsetof(rtnl_link_stats64, rx_missed_errors)},
        {"tx_aborted_errors", offsetof(rtnl_link_stats64, tx_aborted_errors)},
        {"tx_carrier_errors", offsetof(rtnl_link_stats64, tx_carrier_errors)},
        {"tx_fifo_errors", offsetof(rtnl_link_stats64, tx_fifo_errors)},
        {"tx_heartbeat_errors", offsetof(rtnl_link_stats64, tx_heartbeat_errors)},
        {"tx_window_errors", offsetof(rtnl_link_stats64, tx_window_errors)},
        {"rx_nohandler", offsetof(rtnl_link_stats64, rx_nohandler)},
    };
    rtnl_link_stats64 statistics{};
    bool any = false;
    for (const auto& [name, offset] : Fields) {
        const auto found = values.find(name);
        if (found == values.end()) continue;
        any = true;
        const __u64 value = std::stoull(found->second);
        memcpy(reinterpret_cast<char*>(&statistics) + offset, &value, sizeof value);
    }
    if (any) mnl_attr_put(header, IFLA_STATS64, sizeof statistics, &statistics);
}

static std::string bytesOfMac(const std::string& text) {
    std::string bytes;
    std::istringstream parts(text);
    for (std::string part; std::getline(parts, part, ':');) bytes += static_cast<char>(std::stoi(part, nullptr, 16));
    return bytes;
}

// link INDEX NAME [KEY=VALUE...], or unlink: it was removed
static void putLink(uint16_t type, const std::string& rest, std::string& bytes) {
    static const std::map<std::string, uint16_t> Numbers = {{"mtu", IFLA_MTU},
                                                            {"master", IFLA_MASTER},
                                                            {"link", IFLA_LINK},
                                                            {"txqlen", IFLA_TXQLEN},
                                                            {"carrier_changes", IFLA_CARRIER_CHANGES},
                                                            {"link_netnsid", IFLA_LINK_NETNSID}};
    static const char* const States[] = {"unknown", "notpresent", "down", "lowerlayerdown", "testing", "dormant", "up"};
    std::vector<std::string> plain;
    const auto values = wordsOf(rest, plain);
    if (plain.size() != 2) throw std::runtime_error("link INDEX NAME KEY=VALUE...: " + rest);
    Message message(type);
    auto* info = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(message.header, sizeof(ifinfomsg)));
    info->ifi_family = AF_UNSPEC;
    info->ifi_index = static_cast<int>(number(plain[0]));
    info->ifi_type = ARPHRD_ETHER;
    info->ifi_flags = IFF_UP | IFF_BROADCAST | IFF_RUNNING | IFF_MULTICAST | 0x10000; // and IFF_LOWER_UP
    mnl_attr_put_strz(message.header, IFLA_IFNAME, plain[1].c_str());
    nlattr* linkinfo = nullptr;
    for (const auto& [key, value] : values) {
        if (key == "type") info->ifi_type = static_cast<unsigned short>(number(value));
        else if (key == "flags") info->ifi_flags = number(value);
        else if (key == "state") {
            const auto* at = std::find(std::begin(States), std::end(States), value);
            if (at == std::end(States)) throw std::runtime_error("unknown state of a link: " + value);
            mnl_attr_put_u8(message.header, IFLA_OPERSTATE, static_cast<uint8_t>(at - std::begin(States)));
        } else if (key == "carrier") mnl_attr_put_u8(message.header, IFLA_CARRIER, static_cast<uint8_t>(number(value)));
        else if (key == "alias") mnl_attr_put_strz(message.header, IFLA_IFALIAS, value.c_str());
        else if (key == "mac") {
            const auto address = bytesOfMac(value);
            mnl_attr_put(message.header, IFLA_ADDRESS, address.size(), address.data());
        } else if (key == "kind") {
            linkinfo = mnl_attr_nest_start(message.header, IFLA_LINKINFO);
            mnl_attr_put_strz(message.header, IFLA_INFO_KIND, value.c_str());
            mnl_attr_nest_end(message.header, linkinfo);
        } else if (const auto known = Numbers.find(key); known != Numbers.end())
            mnl_attr_put_u32(message.header, known->second, number(value));
        else if (!key.starts_with("rx_") && !key.starts_with("tx_") && key != "multicast" && key != "collisions")
            throw std::runtime_error("unknown word of a link: " + key);
    }
    putStatistics(message.header, values);
    message.addTo(bytes);
}

// address INDEX ADDRESS/PREFIX [scope=N] [label=NAME] [peer=ADDRESS] [flags=N]
static void putAddress(uint16_t type, const std::string& rest, std::string& bytes) {
    std::vector<std::string> plain;
    auto values = wordsOf(rest, plain);
    if (plain.size() != 2) throw std::runtime_error("address INDEX ADDRESS/PREFIX: " + rest);
    const auto slash = plain[1].find('/');
    const int family = plain[1].find(':') == std::string::npos ? AF_INET : AF_INET6;
    char raw[16], peer[16];
    if (inet_pton(family, plain[1].substr(0, slash).c_str(), raw) != 1)
        throw std::runtime_error("not an address: " + plain[1]);
    Message message(type);
    auto* info = static_cast<ifaddrmsg*>(mnl_nlmsg_put_extra_header(message.header, sizeof(ifaddrmsg)));
    info->ifa_family = static_cast<uint8_t>(family);
    info->ifa_prefixlen = static_cast<uint8_t>(slash == std::string::npos ? 0 : number(plain[1].substr(slash + 1)));
    info->ifa_scope = values.count("scope") ? static_cast<uint8_t>(number(values["scope"])) : 0;
    info->ifa_index = number(plain[0]);
    const size_t size = family == AF_INET ? 4 : 16;
    const bool hasPeer = values.count("peer") && inet_pton(family, values["peer"].c_str(), peer) == 1;
    mnl_attr_put(message.header, IFA_ADDRESS, size, hasPeer ? peer : raw);
    if (family == AF_INET || hasPeer) mnl_attr_put(message.header, IFA_LOCAL, size, raw);
    if (values.count("label")) mnl_attr_put_strz(message.header, IFA_LABEL, values["label"].c_str());
    if (values.count("flags")) mnl_attr_put_u32(message.header, IFA_FLAGS, number(values["flags"]));
    message.addTo(bytes);
}

// exit PID NAME [process=PID] [parent=PID] [uid=N] [status=N] [cpu=NS] [life=US] [thread] [version=N]: a task that
// ended, the last of its process unless it says `thread`. With all=NS the process had several threads, whose CPU time
// this is.
static void putExit(const std::string& rest, std::string& bytes) {
    std::vector<std::string> plain;
    auto values = wordsOf(rest, plain);
    const bool thread = plain.size() == 3 && plain[2] == "thread";
    if (plain.size() != 2 && !thread) throw std::runtime_error("exit PID NAME KEY=VALUE...: " + rest);
    const auto valueOf = [&](const char* key, uint64_t otherwise) {
        return values.count(key) ? std::stoull(values[key], nullptr, 0) : otherwise;
    };
    char stats[400] = {}; // struct taskstats of version 12
    const auto put = [&](size_t at, auto value) { memcpy(stats + at, &value, sizeof value); };
    put(0, static_cast<uint16_t>(valueOf("version", 12)));
    put(4, static_cast<uint32_t>(valueOf("status", 0)));
    put(8, static_cast<uint8_t>(thread ? 0 : 0x20));
    put(72, valueOf("cpu", 0));
    memcpy(stats + 80, plain[1].data(), std::min<size_t>(plain[1].size(), 15));
    put(120, static_cast<uint32_t>(valueOf("uid", 0)));
    put(128, number(plain[0]));
    put(132, static_cast<uint32_t>(valueOf("parent", 1)));
    put(368, static_cast<uint32_t>(valueOf("process", number(plain[0]))));
    put(376, valueOf("life", 0));
    Message message(27);
    auto* generic = static_cast<genlmsghdr*>(mnl_nlmsg_put_extra_header(message.header, sizeof(genlmsghdr)));
    generic->cmd = TASKSTATS_CMD_NEW, generic->version = 1;
    const auto putStats = [&](uint16_t outer, uint16_t inner) {
        auto* nest = mnl_attr_nest_start(message.header, outer);
        mnl_attr_put_u32(message.header, inner, number(plain[0]));
        mnl_attr_put(message.header, TASKSTATS_TYPE_STATS, sizeof stats, stats);
        mnl_attr_nest_end(message.header, nest);
    };
    putStats(TASKSTATS_TYPE_AGGR_PID, TASKSTATS_TYPE_PID);
    if (values.count("all")) {
        put(72, valueOf("all", 0));
        putStats(TASKSTATS_TYPE_AGGR_TGID, TASKSTATS_TYPE_TGID);
    }
    message.addTo(bytes);
}

std::string familyMessage(uint16_t family) {
    std::string bytes;
    Message message(GENL_ID_CTRL);
    auto* generic = static_cast<genlmsghdr*>(mnl_nlmsg_put_extra_header(message.header, sizeof(genlmsghdr)));
    generic->cmd = CTRL_CMD_NEWFAMILY;
    mnl_attr_put_strz(message.header, CTRL_ATTR_FAMILY_NAME, TASKSTATS_GENL_NAME);
    mnl_attr_put_u16(message.header, CTRL_ATTR_FAMILY_ID, family);
    message.addTo(bytes);
    return bytes;
}

static void putHex(std::string rest, std::string& bytes) {
    while (!rest.empty()) bytes += static_cast<char>(std::stoi(cutWord(rest), nullptr, 16));
}

// What comes after a message must start at a multiple of four: bytes that are cut short stand last.
TMessages encodeMessages(const std::string& protocol, const std::string& body) {
    TMessages messages;
    std::istringstream lines(body);
    for (std::string line; std::getline(lines, line);) {
        const std::string name = cutWord(line);
        if (name.empty()) continue;
        if (name == "hex") putHex(line, messages.bytes);
        else if (name == "error") messages.error = errnoByName(line);
        else if (name == "interrupted") messages.interrupted = true;
        else if (protocol == "sockdiag" && name == "socket") messages.bytes += socketMessage(line);
        else if (protocol == "sockdiag" && name == "unix") messages.bytes += unixMessage(line);
        else if (protocol == "taskstats" && name == "exit") putExit(line, messages.bytes);
        else if (protocol == "route" && name == "link") putLink(RTM_NEWLINK, line, messages.bytes);
        else if (protocol == "route" && name == "unlink") putLink(RTM_DELLINK, line, messages.bytes);
        else if (protocol == "route" && name == "address") putAddress(RTM_NEWADDR, line, messages.bytes);
        else if (protocol == "route" && name == "unaddress") putAddress(RTM_DELADDR, line, messages.bytes);
        else throw std::runtime_error("unknown netlink line " + name);
    }
    return messages;
}
