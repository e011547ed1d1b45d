#include "parse/status.h"

#include "parse/keys.h"

// "VmRSS:     2736 kB", "Threads:	8", "Uid:	1000	1000	1000	1000". The key may go on up to the
// colon.
static constexpr Key<Status, std::optional<int64_t>> Keys[] = {
    {"VmSize",  &Status::vm_size_kb},
    {"VmPin",   &Status::vm_pin_kb },
    {"VmRSS",   &Status::vm_rss_kb },
    {"VmData",  &Status::vm_data_kb},
    {"VmStk",   &Status::vm_stk_kb },
    {"VmLib",   &Status::vm_lib_kb },
    {"VmSwap",  &Status::vm_swap_kb},
    {"Threads", &Status::threads   },
    {"Uid",     &Status::uid       },
};

Status parseStatus(std::string_view text) {
    constexpr size_t LineLimit = 512; // longer lines come in pieces
    Status status;
    Lines lines(text, LineLimit);
    for (std::string_view line, rest; lines.next(line);)
        if (const auto* known = findKey(Keys, line, rest)) status.*known->field = numberAfter(rest, ':');
    return status;
}
