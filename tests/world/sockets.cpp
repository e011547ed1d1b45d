// Answers of SOCK_DIAG from the lines of a world.
#include "tests/world/devices.h"
#include "tests/world/lines.h"

#include "parse/attributes.h"
#include "parse/sockdiag.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/inet_diag.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {
// The words KEY=VALUE of a line.
class Values {
    std::map<std::string, std::string> values;

public:
    explicit Values(std::string rest) {
        while (!rest.empty()) {
            const std::string word = cutWord(rest);
            const auto sign = word.find('=');
            if (sign == word.npos) throw std::runtime_error("not KEY=VALUE: " + word);
            values[word.substr(0, sign)] = word.substr(sign + 1);
        }
    }
    bool has(const std::string& key) const { return values.count(key) > 0; }
    uint64_t number(const std::string& key, uint64_t otherwise = 0) const {
        const auto found = values.find(key);
        return found == values.end() ? otherwise : std::stoull(found->second, nullptr, 0);
    }
    uint8_t state() const {
        const auto found = values.find("state");
        if (found == values.end()) return 1;
        for (uint8_t i = 1; i <= SocketStates; i++)
            if (stateName(static_cast<SocketState>(i)) == found->second) return i;
        throw std::runtime_error("unknown state of a socket: " + found->second);
    }
};
} // namespace

// "10.2.0.7:80", "[::1]:80"
static int takeEnd(const std::string& word, __be32 (&address)[4], __be16& port) {
    const auto colon = word.rfind(':');
    auto text = word.substr(0, colon);
    const bool six = text.starts_with("[");
    if (six) text = text.substr(1, text.size() - 2);
    if (colon == word.npos || inet_pton(six ? AF_INET6 : AF_INET, text.c_str(), address) != 1)
        throw std::runtime_error("not an address with its port: " + word);
    port = htons(static_cast<uint16_t>(std::stoul(word.substr(colon + 1))));
    return six ? AF_INET6 : AF_INET;
}

static void putInfo(nlmsghdr* header, const Values& values) {
    char info[248] = {};
    const auto put = [&](size_t at, auto value) { memcpy(info + at, &value, sizeof value); };
    const auto number32 = [&](const char* key) { return static_cast<uint32_t>(values.number(key)); };
    put(0, values.state());
    put(2, static_cast<uint8_t>(values.number("backoff")));
    put(68, number32("rtt")), put(80, number32("cwnd")), put(100, number32("retrans"));
    put(120, values.number("acked", values.number("sent"))), put(128, values.number("received"));
    put(136, number32("out")), put(140, number32("in"));
    put(200, values.number("sent")), put(208, values.number("again"));
    mnl_attr_put(header, INET_DIAG_INFO, std::min<size_t>(values.number("info", sizeof info), sizeof info), info);
}

std::string socketMessage(const std::string& line) {
    std::string rest = line;
    const auto here = cutWord(rest), there = cutWord(rest);
    const Values values(rest);
    alignas(nlmsghdr) char room[1024] = {};
    auto* header = mnl_nlmsg_put_header(room);
    header->nlmsg_type = SOCK_DIAG_BY_FAMILY;
    header->nlmsg_flags = NLM_F_MULTI;
    auto* body = static_cast<inet_diag_msg*>(mnl_nlmsg_put_extra_header(header, sizeof(inet_diag_msg)));
    body->idiag_family = static_cast<__u8>(takeEnd(here, body->id.idiag_src, body->id.idiag_sport));
    if (takeEnd(there, body->id.idiag_dst, body->id.idiag_dport) != body->idiag_family)
        throw std::runtime_error("both ends must be of one family: " + line);
    body->idiag_state = values.state();
    const auto number = [&](const char* key) { return static_cast<__u32>(values.number(key)); };
    body->id.idiag_if = number("if");
    body->id.idiag_cookie[0] = number("cookie");
    body->id.idiag_cookie[1] = static_cast<__u32>(values.number("cookie") >> 32);
    body->idiag_inode = number("inode"), body->idiag_uid = number("uid");
    body->idiag_rqueue = number("rqueue"), body->idiag_wqueue = number("wqueue");
    __u32 memory[9] = {};
    memory[8] = number("drops");
    if (values.has("drops")) mnl_attr_put(header, INET_DIAG_SKMEMINFO, sizeof memory, memory);
    for (const char* key : {"received", "acked", "sent", "again", "retrans", "in", "out", "rtt", "cwnd", "backoff"})
        if (values.has(key)) {
            putInfo(header, values);
            break;
        }
    return {room, NLMSG_ALIGN(header->nlmsg_len)};
}

std::string unixMessage(const std::string& line) {
    std::string rest = line;
    const auto inode = cutWord(rest);
    const Values values(rest);
    alignas(nlmsghdr) char room[256] = {};
    auto* header = mnl_nlmsg_put_header(room);
    header->nlmsg_type = SOCK_DIAG_BY_FAMILY;
    header->nlmsg_flags = NLM_F_MULTI;
    auto* body = static_cast<unix_diag_msg*>(mnl_nlmsg_put_extra_header(header, sizeof(unix_diag_msg)));
    body->udiag_family = AF_UNIX;
    body->udiag_type = static_cast<__u8>(values.number("type", SOCK_STREAM));
    body->udiag_state = values.state();
    body->udiag_ino = static_cast<__u32>(std::stoul(inode));
    const unix_diag_rqlen queues{static_cast<__u32>(values.number("rqueue")),
                                 static_cast<__u32>(values.number("wqueue"))};
    mnl_attr_put(header, UNIX_DIAG_RQLEN, sizeof queues, &queues);
    return {room, NLMSG_ALIGN(header->nlmsg_len)};
}

// The messages of the lines that fit a request; those that are damaged fit every request for all.
static std::string fitting(const std::string& bytes, const inet_diag_req_v2& wanted, bool all) {
    const uint64_t cookie = wanted.id.idiag_cookie[0] | uint64_t{wanted.id.idiag_cookie[1]} << 32;
    std::string found;
    nlmsghdr header;
    for (size_t at = 0; at < bytes.size();) {
        header = {};
        memcpy(&header, bytes.data() + at, std::min(sizeof header, bytes.size() - at));
        const size_t left = bytes.size() - at;
        const bool whole = header.nlmsg_len >= sizeof header && header.nlmsg_len <= left;
        const size_t length = whole ? std::min<size_t>(NLMSG_ALIGN(header.nlmsg_len), left) : left;
        const auto message = bytes.substr(at, length);
        at += length;
        const auto socket = parseInetSocket(std::string_view(message).substr(std::min(message.size(), sizeof header)));
        const bool fits = !socket ? all
                          : all   ? wanted.idiag_states >> static_cast<unsigned>(socket->state) & 1
                                  : socket->cookie == cookie;
        if (fits) found += message;
    }
    return found;
}

TMessages socketsAnswer(const TDevices& devices, const std::string& requests, const std::string& netns) {
    TMessages all;
    nlmsghdr header;
    for (size_t at = 0; at + sizeof header <= requests.size(); at += NLMSG_ALIGN(header.nlmsg_len)) {
        memcpy(&header, requests.data() + at, sizeof header);
        if (header.nlmsg_len < sizeof header) break;
        inet_diag_req_v2 body{};
        memcpy(&body, requests.data() + at + sizeof header,
               std::min(sizeof body, requests.size() - at - sizeof header));
        const bool isUnix = body.sdiag_family == AF_UNIX;
        std::string key = "sockdiag unix";
        if (!isUnix) {
            key = body.sdiag_protocol == IPPROTO_TCP ? "sockdiag tcp" : "sockdiag udp";
            key += body.sdiag_family == AF_INET ? "4" : "6";
        }
        if (!netns.empty()) key += "@" + netns;
        const auto found = devices.answers.find(key);
        if (found == devices.answers.end()) continue;
        if (found->second.error) all.error = found->second.error;
        all.interrupted |= found->second.interrupted;
        const bool dump = (header.nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP;
        all.bytes += isUnix ? found->second.bytes : fitting(found->second.bytes, body, dump);
    }
    return all;
}
