// Logs whose lengths and checksums are put right, so that a mutation of what they hold is not just damage.
#pragma once

#include "record/crc.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

// Gives each END the length and the checksum of what it ends.
inline std::string mended(std::string_view log) {
    std::string out;
    size_t from = 0; // of the frame in `out`
    while (!log.empty()) {
        const auto newline = std::min(log.find('\n'), log.size() - 1);
        const auto line = log.substr(0, newline + 1);
        log.remove_prefix(newline + 1);
        size_t cells = 0, end = 0; // END, time, secs, number
        while (cells < 4 && end < line.size()) cells += line[end++] == ',' ? 1 : 0;
        if (!line.starts_with("END,") || cells < 4) {
            out += line;
            continue;
        }
        const size_t bytes = out.size() - from;
        out.append(line.substr(0, end)).append("1,").append(std::to_string(bytes)).append(",");
        char sum[9];
        snprintf(sum, sizeof sum, "%08x", crc32c(std::string_view(out).substr(from)));
        out.append(sum).append("\n");
        from = out.size();
    }
    return out;
}
