#include "parse/nodeinfo.h"

#include "base/numbers.h"
#include "base/words.h"

NodeInfo parseNodeInfo(std::string_view text) {
    static constexpr struct {
        std::string_view name;
        std::optional<uint64_t> NodeInfo::* to;
    } Keys[] = {
        {"MemTotal:",  &NodeInfo::total    },
        {"MemFree:",   &NodeInfo::free     },
        {"FilePages:", &NodeInfo::file     },
        {"AnonPages:", &NodeInfo::anonymous},
        {"Shmem:",     &NodeInfo::shared   },
    };
    NodeInfo info;
    for (std::string_view line; takeLine(text, line);) {
        if (takeWord(line) != "Node") continue;
        takeWord(line); // its number
        const auto name = takeWord(line);
        for (auto& key : Keys)
            if (uint64_t value = 0; key.name == name && toNumber(takeWord(line), value)) info.*key.to = value;
    }
    return info;
}
