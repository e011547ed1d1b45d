#include "sample/linkfacts.h"

#include <algorithm>

#include <linux/if.h>

static bool isLoopback(const Link& link) { return link.flags & IFF_LOOPBACK; }

const LinkFacts* findLink(const std::vector<LinkFacts>& links, uint32_t index) {
    const auto at =
        std::lower_bound(links.begin(), links.end(), index, [](auto& link, uint32_t i) { return link.index < i; });
    return at != links.end() && at->index == index ? &*at : nullptr;
}

void markCounted(std::vector<LinkFacts>& links) {
    const auto standsHere = [](const Link& link) {
        return link.lower != 0 && link.lower != link.index && !link.lower_abroad;
    };
    bool hardware = false;
    for (auto& link : links) {
        // Some drivers join two interfaces of hardware; the upper one counts the packets of both.
        const auto* master = findLink(links, link.master);
        link.counted = link.kind.empty() && !isLoopback(link) && !standsHere(link) && !(master && master->kind.empty());
        hardware |= link.counted;
    }
    if (hardware) return;
    for (auto& link : links) link.counted = !isLoopback(link) && !standsHere(link) && link.master == 0;
}
