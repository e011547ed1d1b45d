// /sys/devices/system/node/nodeN/meminfo: the memory of one NUMA node.
//
//     Node 0 MemTotal:       14772436 kB
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// KiB.
struct NodeInfo {
    std::optional<uint64_t> total, free, file, anonymous, shared; // file: the whole page cache
};
NodeInfo parseNodeInfo(std::string_view text);
