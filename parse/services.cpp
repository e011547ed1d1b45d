#include "parse/services.h"

#include "base/numbers.h"

Services parseServices(std::string_view text) {
    Services services;
    for (std::string_view line; takeLine(text, line);) {
        line = line.substr(0, line.find('#'));
        const auto name = takeWord(line), where = takeWord(line);
        const auto slash = where.find('/');
        uint16_t port = 0;
        if (slash == where.npos || !toNumber(where.substr(0, slash), port)) continue;
        const auto protocol = where.substr(slash + 1);
        if (protocol == "tcp" || protocol == "udp") services.try_emplace({protocol[0], port}, name);
    }
    return services;
}
