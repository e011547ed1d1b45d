#include "parse/protocols.h"

#include "base/numbers.h"

#include <algorithm>
#include <iterator>

// What is a setting or a number of things now.
static bool isLevel(std::string_view protocol, std::string_view name) {
    static constexpr struct {
        std::string_view protocol, name;
    } Levels[] = {
        {"Ip",       "Forwarding"  },
        {"Ip",       "DefaultTTL"  },
        {"Tcp",      "RtoAlgorithm"},
        {"Tcp",      "RtoMin"      },
        {"Tcp",      "RtoMax"      },
        {"Tcp",      "MaxConn"     },
        {"Tcp",      "CurrEstab"   },
        {"MPTcpExt", "MPCurrEstab" },
    };
    return std::any_of(std::begin(Levels), std::end(Levels),
                       [&](auto& level) { return level.name == name && level.protocol == protocol; });
}

void ProtocolCounters::add(std::string_view protocol, std::string_view name, int64_t value) {
    if (size == list.size()) list.emplace_back();
    auto& counter = list[size++];
    counter.value = value;
    if (counter.name == name && counter.protocol == protocol) return;
    counter.protocol = protocol, counter.name = name;
    counter.level = isLevel(protocol, name);
}

// The kernel prints most counters without a sign, and MaxConn with one.
static bool takeValue(std::string_view word, int64_t& value) {
    uint64_t large = 0;
    if (toNumber(word, value)) return true;
    if (!toNumber(word, large)) return false;
    value = INT64_MAX;
    return true;
}

void parseSnmp(std::string_view text, ProtocolCounters& counters) {
    std::string_view names, line;
    while (takeLine(text, line)) {
        auto values = line;
        const auto title = takeWord(values);
        if (title.empty() || takeWord(names) != title) {
            names = line; // the first of two
            continue;
        }
        for (;;) {
            const auto name = takeWord(names), word = takeWord(values);
            int64_t value = 0;
            if (name.empty() || word.empty()) break;
            if (title.ends_with(':') && takeValue(word, value))
                counters.add(title.substr(0, title.size() - 1), name, value);
        }
        names = {};
    }
}

void parseSnmp6(std::string_view text, ProtocolCounters& counters) {
    for (std::string_view line; takeLine(text, line);) {
        const auto name = takeWord(line), word = takeWord(line);
        const auto six = name.find('6');
        int64_t value = 0;
        if (six == name.npos || six + 1 == name.size() || !takeValue(word, value)) continue;
        counters.add(name.substr(0, six + 1), name.substr(six + 1), value);
    }
}
