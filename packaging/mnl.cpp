// What the static program needs of libmnl, of which Debian has no static library: steps from message to message.
#include <libmnl/libmnl.h>

#include <linux/netlink.h>

void* mnl_nlmsg_get_payload(const nlmsghdr* message) { return const_cast<nlmsghdr*>(message + 1); }

size_t mnl_nlmsg_get_payload_len(const nlmsghdr* message) { return message->nlmsg_len - sizeof(nlmsghdr); }

bool mnl_nlmsg_ok(const nlmsghdr* message, int size) {
    const auto header = static_cast<int>(sizeof(nlmsghdr));
    return size >= header && message->nlmsg_len >= sizeof(nlmsghdr) && static_cast<int>(message->nlmsg_len) <= size;
}

nlmsghdr* mnl_nlmsg_next(const nlmsghdr* message, int* size) {
    const auto step = NLMSG_ALIGN(static_cast<int>(message->nlmsg_len));
    *size -= step;
    return reinterpret_cast<nlmsghdr*>(reinterpret_cast<char*>(const_cast<nlmsghdr*>(message)) + step);
}
