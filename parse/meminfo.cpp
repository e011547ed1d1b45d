#include "parse/meminfo.h"

#include "parse/keys.h"

// "MemTotal:       16316412 kB"
static constexpr Key<Meminfo> Keys[] = {
    {"MemTotal:",   &Meminfo::mem_total_kb  },
    {"MemFree:",    &Meminfo::mem_free_kb   },
    {"Active:",     &Meminfo::active_kb     },
    {"Buffers:",    &Meminfo::buffers_kb    },
    {"Cached:",     &Meminfo::cached_kb     },
    {"SwapTotal:",  &Meminfo::swap_total_kb },
    {"SwapFree:",   &Meminfo::swap_free_kb  },
    {"SwapCached:", &Meminfo::swap_cached_kb},
};

Meminfo parseMeminfo(std::string_view text) {
    constexpr size_t LineLimit = 1024; // longer lines come in pieces
    Meminfo memory;
    Lines lines(text, LineLimit);
    for (std::string_view line, rest; lines.next(line);)
        if (const auto* known = findKey(Keys, line, rest)) memory.*known->field = toLong(rest);
    return memory;
}
