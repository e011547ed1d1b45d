// Amounts from two samples of a counter.
#pragma once

#include <cstdint>
#include <optional>

// The growth of a counter. None when a sample does not have it, or when it fell, which is a reset.
inline std::optional<uint64_t> grown(const std::optional<uint64_t>& before, const std::optional<uint64_t>& now) {
    if (!before || !now || *now < *before) return {};
    return *now - *before;
}

// The same for a counter that falls a little now and then without a reset (idle, iowait): a fall is 0.
inline std::optional<uint64_t> grownOrStill(const std::optional<uint64_t>& before, const std::optional<uint64_t>& now) {
    if (!before || !now) return {};
    return *now < *before ? 0 : *now - *before;
}

// The same for a counter of 32 bits that wraps.
inline uint64_t grown32(uint64_t before, uint64_t now) {
    return static_cast<uint32_t>(static_cast<uint32_t>(now) - static_cast<uint32_t>(before));
}
