// Logs of an interval of a CPU and of disks with hostile names, and what `wyrt export` makes of logs.
#pragma once

#include "record/crc.h"
#include "record/log.h"
#include "tests/madelog.h"
#include "tests/unit/logcommand.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What names can have in them.
inline constexpr const char* Hostile[] = {
    "plain",        "a,b",      "say \"hi\"", "back\\slash", "\\x41", "new\nline", "tab\there", "\r\n",
    "\x01\x1f\x7f", "\xff\xfe", "sn\xc3\xb6", "=1+1",        "'--",   "\xc2\x85",  "",          " blanks "};

inline Interval exportInterval(int64_t at_ms, uint64_t number) {
    Interval interval;
    interval.number = number;
    interval.time = {at_ms, 60};
    interval.elapsed_us = 2000000;
    auto& cpu = interval.cpu.rows.emplace_back();
    cpu.user_us = 1000000, cpu.idle_us = 3000000, cpu.load1 = 0.25;
    interval.cpu.sampled = true, interval.cpu.elapsed_us = 2000000;
    for (const char* name : Hostile) {
        auto& disk = interval.disks.rows.emplace_back();
        disk.name = std::string("d") + name, disk.device = "8:0", disk.holds = name, disk.reads = number * 10;
    }
    interval.disks.rest.emplace().reads = 7;
    interval.disks.sampled = true, interval.disks.elapsed_us = 4000000;
    return interval;
}

inline std::string logOf(uint64_t intervals, const LogHead& head = Head) {
    std::string log;
    LogWriter writer;
    ViewRow view;
    view.areas = "cpu disk";
    writer.head(head, view, {Start, 60}, log);
    for (uint64_t n = 1; n <= intervals; n++)
        writer.interval(exportInterval(Start + static_cast<int64_t>(n) * 2000, n), log);
    return log;
}

// What `wyrt export` prints on both streams, then its status.
inline std::string exported(std::vector<std::string> words) {
    words.insert(words.begin(), "export");
    return run(std::move(words));
}

// The sizes and the checksum of a log's last interval or head made right again, after a change.
inline std::string resealed(const std::string& log) {
    const auto end = log.rfind("\nEND,") + 1;
    const auto before = log.rfind("\nEND,", end - 2);
    const auto begin = before == log.npos ? 0 : log.find('\n', before + 1) + 1;
    std::vector<std::string> parts{""};
    for (const char c : log.substr(end, log.find('\n', end) - end))
        if (c == ',') parts.emplace_back();
        else parts.back() += c;
    parts.at(5) = std::to_string(end - begin);
    std::string sealed = log.substr(0, end);
    for (size_t i = 0; i < 6; i++) sealed += parts[i] + ",";
    char sum[16];
    snprintf(sum, sizeof sum, "%08x\n", crc32c(std::string_view(sealed).substr(begin)));
    return sealed + sum;
}

// With `to` in the last place of `from`.
inline std::string changed(std::string text, const std::string& from, const std::string& to) {
    const auto at = text.rfind(from);
    if (at == text.npos) std::abort();
    return text.replace(at, from.size(), to);
}
