// Times, spans and amounts as people type them: the same after they are written and read again, and never beyond the
// bounds that their headers name.
#include "base/duration.h"
#include "base/when.h"
#include "fuzz/check.h"
#include "record/moment.h"

#include <cstdint>
#include <cstdlib>

static void checkMoment(std::string_view text) {
    const auto moment = parseMoment(text);
    if (!moment) return;
    std::string again;
    appendMoment(again, *moment);
    check(again.size() >= text.size() && parseMoment(again).value_or(*moment) == *moment);
}

static void checkSeconds(std::string_view text) {
    const auto us = parseSeconds(text);
    if (!us) return;
    std::string again;
    appendSeconds(again, *us);
    check(parseSeconds(again) == us);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const int zone = setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    constexpr int64_t Now = 1795266641000, Years = int64_t{10000} * 366 * 86400000;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (const auto when = parseWhen(text, Now)) check(zone == 0 && *when > -Years && *when < Years * 4);
    if (const auto span = parseDuration(text)) {
        check(*span >= 0 && *span <= int64_t{1000} * 86400 * 1000000);
        check(parseDuration(durationText(*span)) == span);
    }
    if (const auto count = parseCount(text)) check(*count <= 1000000000000000);
    if (const auto bytes = parseSize(text)) check(*bytes <= 1000000000000000000);
    checkMoment(text);
    checkSeconds(text);
    return 0;
}
