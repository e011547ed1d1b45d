#include "parse/io.h"

#include "parse/keys.h"

// "rchar: 323934931"
static constexpr Key<IO> Keys[] = {
    {"rchar: ",       &IO::rchar      },
    {"wchar: ",       &IO::wchar      },
    {"syscr: ",       &IO::syscr      },
    {"syscw: ",       &IO::syscw      },
    {"read_bytes: ",  &IO::read_bytes },
    {"write_bytes: ", &IO::write_bytes},
};

IO parseIO(std::string_view text) {
    constexpr size_t LineLimit = 512; // longer lines come in pieces
    IO io;
    Lines lines(text, LineLimit);
    for (std::string_view line, rest; lines.next(line);)
        if (const auto* known = findKey(Keys, line, rest)) io.*known->field = toLong(rest);
    return io;
}
