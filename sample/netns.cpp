#include "sample/netns.h"

#include "base/numbers.h"
#include "base/text.h"

#include <algorithm>

// "net:[4026531840]"
uint32_t netnsOf(const Place& proc, uint32_t pid) {
    Text<32> name;
    char target[32];
    const auto size = readLink(proc, name.addf("%u/ns/net", pid).c_str(), target, sizeof target);
    const std::string_view text(target, static_cast<size_t>(std::max<ptrdiff_t>(size, 0)));
    uint32_t inode = 0;
    if (text.starts_with("net:[") && text.ends_with(']')) toNumber(text.substr(5, text.size() - 6), inode);
    return inode;
}
