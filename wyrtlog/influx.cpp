#include "wyrtlog/influx.h"

// In the value of a tag, blanks, commas and equals signs have a backslash. Newlines cannot be in it, and what a
// backslash does depends on what follows; so these are written as the log has them, \x0A and \x5C. A tag without a
// value is an error: a host without a name has no tag.
void InfluxFormat::addLabel(std::string& labels, std::string_view name, std::string_view value) const {
    constexpr char Digits[] = "0123456789ABCDEF";
    if (value.empty()) return;
    labels.append(",").append(name).append("=");
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == ' ' || c == ',' || c == '=') labels += '\\', labels += c;
        else if (c == '\\' || byte < 0x20 || byte == 0x7F)
            labels += "\\x", labels += Digits[byte >> 4U], labels += Digits[byte & 15U];
        else labels += c;
    }
}

bool InfluxFormat::point(const Group& group, Thing& thing, int64_t at_ms, const std::vector<char>& which) {
    text.append("wyrt_").append(group.kind->prefix).append(thing.labels);
    char separator = ' ';
    const auto field = [&](std::string_view name) {
        text += separator, separator = ',';
        text.append(name);
    };
    if (thing.info) field("info=1i");
    for (size_t i = 0; i < which.size() && !thing.info; i++) {
        if (!which[i]) continue;
        const auto& metric = group.metrics[i];
        field(std::string_view(metric.name).substr(metric.ownName));
        text += metric.counter ? "_total=" : "=";
        if (!metric.counter) appendLevel(thing.levels[i], text);
        else appendCounter(std::min<uint64_t>(thing.totals[i], INT64_MAX), metric.micro, text);
        if (metric.counter && !metric.micro) text += 'i';
    }
    text += ' ';
    text += std::to_string(at_ms), text += "000000\n";
    constexpr size_t Enough = size_t{1} << 18;
    return text.size() < Enough || flush();
}

bool InfluxFormat::flush() {
    const bool good = sink(text);
    text.clear();
    return good;
}
