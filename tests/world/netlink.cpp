// The made-up machine behind base/netlink.h.
#include "base/netlink.h"

#include "tests/world/world.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

static TDevices& devices() { return World::current->devices; }

void Netlink::close() {
    if (fd >= 0 && World::current) devices().sockets.erase(fd);
    fd = -1;
}

bool Netlink::open(int wanted, uint32_t groups, int) {
    close();
    protocol = wanted;
    if (const auto none = devices().noSockets.find(protocol); none != devices().noSockets.end())
        return errno = none->second, false;
    // A world without sockets is a kernel that does not tell of them.
    const auto isSockets = [](auto& answer) { return answer.first.starts_with("sockdiag "); };
    const auto& answers = devices().answers;
    if (wanted == NETLINK_SOCK_DIAG && std::none_of(answers.begin(), answers.end(), isSockets))
        return errno = EPROTONOSUPPORT, false;
    fd = ++devices().lastHandle;
    devices().sockets[fd] = {protocol, groups, {}, 0};
    return true;
}

size_t Netlink::room() const { return size_t{64} << 20; } // as much as a right to it gives

// The word of the world for a request.
static std::string keyOf(int protocol, const std::string& request) {
    nlmsghdr header;
    memcpy(&header, request.data(), sizeof header);
    const std::string key = header.nlmsg_type == RTM_GETLINK    ? "links"
                            : header.nlmsg_type == RTM_GETADDR  ? "addresses"
                            : header.nlmsg_type == RTM_GETSTATS ? "stats"
                                                                : std::to_string(header.nlmsg_type);
    return (protocol == NETLINK_ROUTE ? "route " : std::to_string(protocol) + " ") + key;
}

static void setBytes(Contents& text, const std::string& bytes) {
    if (text.capacity < bytes.size() + 1) {
        text.capacity = bytes.size() + 1;
        text.data.reset(new char[text.capacity]);
    }
    std::copy(bytes.begin(), bytes.end(), text.data.get());
    text.size = bytes.size();
    text.error = 0;
}

// Generic netlink has one family here, that of the tasks that end.
static Asked askGeneric(TSocket& socket, const std::string& request, Contents& answer) {
    constexpr uint16_t Family = 27;
    nlmsghdr header;
    memcpy(&header, request.data(), sizeof header);
    const auto& taskstats = devices().taskstats;
    if (taskstats.kind == TTaskstats::None) return errno = ENOENT, Asked::Failed;
    if (header.nlmsg_type == GENL_ID_CTRL) return setBytes(answer, familyMessage(Family)), Asked::Whole;
    if (header.nlmsg_type != Family) return errno = EOPNOTSUPP, Asked::Failed;
    if (taskstats.refusal) return errno = taskstats.refusal, Asked::Failed;
    if (taskstats.kind == TTaskstats::Works) socket.groups |= 1;
    return setBytes(answer, ""), Asked::Whole;
}

Asked Netlink::ask(std::string& request, Contents& answer, size_t most) {
    answer.size = 0;
    if (fd < 0 && !open(protocol)) return Asked::Failed;
    if (request.size() < sizeof(nlmsghdr)) return errno = EINVAL, Asked::Failed;
    if (protocol == NETLINK_GENERIC) return askGeneric(devices().sockets[fd], request, answer);
    TMessages sockets;
    if (protocol == NETLINK_SOCK_DIAG) sockets = socketsAnswer(devices(), request, "");
    const auto found = devices().answers.find(keyOf(protocol, request));
    if (protocol != NETLINK_SOCK_DIAG && found == devices().answers.end()) return setBytes(answer, ""), Asked::Whole;
    const auto& messages = protocol == NETLINK_SOCK_DIAG ? sockets : found->second;
    if (messages.error) return errno = messages.error, Asked::Failed;
    if (messages.bytes.size() > most) return errno = EMSGSIZE, Asked::Failed;
    setBytes(answer, messages.bytes);
    return messages.interrupted ? Asked::Interrupted : Asked::Whole;
}

static std::string begun; // the request whose answer comes next

bool Netlink::begin(std::string& request) {
    begun = request;
    return true;
}

Netlink::Part Netlink::next(Contents& piece) {
    const auto asked = ask(begun, piece);
    return {asked == Asked::Failed, true, asked == Asked::Interrupted};
}

Asked Netlink::askMany(std::string& requests, Contents& answers) {
    const auto messages = socketsAnswer(devices(), requests, "");
    if (messages.error) return errno = messages.error, Asked::Failed;
    setBytes(answers, messages.bytes);
    return Asked::Whole;
}

bool Netlink::take(Contents& news) {
    news.size = 0;
    const auto found = devices().sockets.find(fd);
    if (found == devices().sockets.end()) return errno = EBADF, false;
    lost += std::exchange(found->second.lost, 0);
    if (found->second.news.empty()) return errno = EAGAIN, false;
    setBytes(news, found->second.news.front());
    found->second.news.pop_front();
    return true;
}
