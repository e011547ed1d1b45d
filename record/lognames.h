// The names of the files in a recorder's folder.
//     db7-20261121T130000Z.wyrt        the time of its first interval, in UTC
//     db7-20261121T130000Z_2.wyrt      the second one that began in that second
//     db7-20261121T130000Z.wyrt.zst    a closed one, compressed
//     db7-20261121T130000Z.wyrt-new    what is still being compressed
//     db7-20261121T130000Z.wyrt.torn   one that did not end as a log does; it is removed by age and size as the others
//     current.wyrt                     a link to the open one
// Every other file belongs to somebody else.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

inline constexpr const char* CurrentLog = "current.wyrt";
inline constexpr std::string_view PackedEnd = ".zst", UnfinishedEnd = "-new";

// `copy` is 1 for the first of its second. Of the host's name, only letters, digits, '.', '_' and '-' stay.
std::string logName(std::string_view host, int64_t epoch_ms, int copy);
// When it begins, milliseconds since 1970. None: it is no recorder's file.
std::optional<int64_t> logNameTime(std::string_view name);
// Whether it is an uncompressed log.
bool isPlainLog(std::string_view name);
