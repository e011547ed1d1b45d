// Walks over netlink messages and their attributes with libmnl, a second opinion on parse/attributes.h:
//     for (const nlmsghdr* message : Messages(answer.view()))
//         for (const nlattr* attribute : Attributes(message, sizeof(ifinfomsg))) ...
// What is cut short, or says that it is longer than what holds it, ends the walk.
#pragma once

#include <climits>
#include <cstddef>
#include <string_view>

#include <libmnl/libmnl.h>
#include <linux/netlink.h>

// The text must start at a multiple of four, as Contents do.
class Messages {
    std::string_view text;

public:
    explicit Messages(std::string_view from) : text(from) {}
    class Iterator {
        const nlmsghdr* message;
        int left;

    public:
        explicit Iterator(std::string_view from)
            : message(reinterpret_cast<const nlmsghdr*>(from.data())), left(static_cast<int>(from.size())) {}
        const nlmsghdr* operator*() const { return message; }
        Iterator& operator++() {
            message = mnl_nlmsg_next(message, &left);
            return *this;
        }
        // mnl_nlmsg_ok takes a length of more than 2 GiB for a negative one, which is less than what is left.
        bool operator!=(std::nullptr_t) const { return mnl_nlmsg_ok(message, left) && message->nlmsg_len <= INT_MAX; }
    };
    Iterator begin() const { return Iterator(text); }
    std::nullptr_t end() const { return nullptr; }
};

class Attributes {
    const nlattr* first;
    size_t size;

public:
    // Of a message, after its fixed part.
    Attributes(const nlmsghdr* message, size_t fixed)
        : first(static_cast<const nlattr*>(mnl_nlmsg_get_payload_offset(message, fixed))), size(0) {
        const size_t all = mnl_nlmsg_get_payload_len(message);
        if (all > MNL_ALIGN(fixed)) size = all - MNL_ALIGN(fixed);
    }
    // Of an attribute that holds others.
    explicit Attributes(const nlattr* nest)
        : first(static_cast<const nlattr*>(mnl_attr_get_payload(nest))), size(mnl_attr_get_payload_len(nest)) {}
    class Iterator {
        const nlattr* attribute;
        size_t left;

    public:
        Iterator(const nlattr* from, size_t bytes) : attribute(from), left(bytes) {}
        const nlattr* operator*() const { return attribute; }
        Iterator& operator++() {
            const size_t step = MNL_ALIGN(attribute->nla_len);
            left = step < left ? left - step : 0;
            attribute = mnl_attr_next(attribute);
            return *this;
        }
        bool operator!=(std::nullptr_t) const {
            return left >= sizeof(nlattr) && mnl_attr_ok(attribute, static_cast<int>(left));
        }
    };
    Iterator begin() const { return {first, size}; }
    std::nullptr_t end() const { return nullptr; }
};
