// Netlink messages and the attributes in them. No length is trusted: what does not fit into the text ends the walk.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <type_traits>

#include <linux/netlink.h>

// Calls f(type, payload) for each message of an answer or of news.
template <typename F> void eachMessage(std::string_view text, F&& f) {
    nlmsghdr header;
    while (text.size() >= sizeof header) {
        memcpy(&header, text.data(), sizeof header);
        const size_t length = header.nlmsg_len;
        if (length < sizeof header || length > text.size()) return;
        f(header.nlmsg_type, text.substr(sizeof header, length - sizeof header));
        text.remove_prefix(std::min<size_t>(NLMSG_ALIGN(length), text.size()));
    }
}

// Calls f(type, value) for each attribute. Two flags of the type's number are left out.
template <typename F> void eachAttribute(std::string_view text, F&& f) {
    nlattr header;
    while (text.size() >= sizeof header) {
        memcpy(&header, text.data(), sizeof header);
        const size_t length = header.nla_len;
        if (length < sizeof header || length > text.size()) return;
        f(header.nla_type & NLA_TYPE_MASK, text.substr(sizeof header, length - sizeof header));
        text.remove_prefix(std::min<size_t>(NLA_ALIGN(length), text.size()));
    }
}

// The fixed part at the start of a payload, which is taken off it. False when the payload is shorter.
template <typename Body> bool takeBody(std::string_view& payload, Body& body) {
    static_assert(std::is_trivially_copyable_v<Body>);
    if (payload.size() < sizeof body) return false;
    memcpy(&body, payload.data(), sizeof body);
    payload.remove_prefix(std::min<size_t>(NLMSG_ALIGN(sizeof body), payload.size()));
    return true;
}

// The number that an attribute holds. False, and `number` as it was, when the attribute has another size.
template <typename T> bool attributeNumber(std::string_view value, T& number) {
    if (value.size() != sizeof number) return false;
    memcpy(&number, value.data(), sizeof number);
    return true;
}

// The text that an attribute holds, without the NUL at its end.
inline std::string_view attributeText(std::string_view value) { return value.substr(0, value.find('\0')); }
