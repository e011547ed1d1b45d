// How made-up logs begin, and how they are read.
#pragma once

#include "record/log.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

inline const LogHead Head{"1.2.0", "db7", "boot", "run"};
inline constexpr int64_t Start = 1795266310000; // 2026-11-21 13:05:10 UTC, milliseconds

// Gives a reader the file, `most` bytes at a time; the file must outlive it.
inline std::function<size_t(char* to, size_t size)> partsOf(const std::string& file, size_t most = SIZE_MAX) {
    auto at = std::make_shared<size_t>(0);
    return [&file, at, most](char* to, size_t size) {
        const size_t n = std::min({size, most, file.size() - *at});
        memcpy(to, file.data() + *at, n);
        *at += n;
        return n;
    };
}
