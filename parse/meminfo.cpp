#include "parse/meminfo.h"

#include "parse/keys.h"

// "MemTotal:       16316412 kB"
static constexpr Key<MemoryKB> Keys[] = {
    {"MemTotal:",   &MemoryKB::mem_total_kb  },
    {"MemFree:",    &MemoryKB::mem_free_kb   },
    {"Active:",     &MemoryKB::active_kb     },
    {"Buffers:",    &MemoryKB::buffers_kb    },
    {"Cached:",     &MemoryKB::cached_kb     },
    {"SwapTotal:",  &MemoryKB::swap_total_kb },
    {"SwapFree:",   &MemoryKB::swap_free_kb  },
    {"SwapCached:", &MemoryKB::swap_cached_kb},
};

MemoryKB parseMeminfo(std::string_view text) {
    constexpr size_t LineLimit = 1024; // longer lines come in pieces
    MemoryKB memory;
    Lines lines(text, LineLimit);
    for (std::string_view line, rest; lines.next(line);)
        if (const auto* known = findKey(Keys, line, rest)) memory.*known->field = toLong(rest);
    return memory;
}
