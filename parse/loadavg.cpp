#include "parse/loadavg.h"

#include "base/numbers.h"

// The kernel prints two decimals.
static bool takeLoad(std::string_view& text, double& load) {
    uint64_t whole = 0;
    if (!takeNumber(text, whole) || text.size() < 3 || text[0] != '.') return false;
    unsigned hundredths = 0;
    if (!toNumber(text.substr(1, 2), hundredths)) return false;
    load = static_cast<double>(whole * 100 + hundredths) / 100;
    text.remove_prefix(3);
    return true;
}

std::optional<LoadAverage> parseLoadAverage(std::string_view text) {
    LoadAverage load;
    if (!takeLoad(text, load.one) || !takeLoad(text, load.five) || !takeLoad(text, load.fifteen)) return {};
    if (!takeNumber(text, load.runnable) || !text.starts_with('/')) return {};
    text.remove_prefix(1);
    if (!takeNumber(text, load.tasks)) return {};
    takeNumber(text, load.last_pid);
    return load;
}
