#include "wyrtlog/openmetrics.h"

#include <bit>
#include <cerrno>
#include <cstring>

// --- Points

bool OpenMetricsFormat::fail() {
    why = std::string("the points cannot be kept in a temporary file: ") + strerror(errno);
    return false;
}

bool OpenMetricsFormat::add(size_t& number, Point point) {
    if (number == static_cast<size_t>(-1)) {
        number = series.size();
        series.emplace_back();
    }
    auto& one = series[number];
    one.points.push_back(point);
    if (one.points.size() < InPiece) return true;
    if (!spool || std::fwrite(one.points.data(), sizeof(Point), InPiece, spool.get()) != InPiece) return fail();
    one.pieces.push_back(pieces++);
    one.points.clear();
    return true;
}

bool OpenMetricsFormat::point(const Group& group, Thing& thing, int64_t at_ms, const std::vector<char>& which) {
    if (thing.info) return add(thing.series[0], {at_ms, 1});
    for (size_t i = 0; i < which.size(); i++) {
        if (!which[i]) continue;
        const uint64_t value = group.metrics[i].counter ? thing.totals[i] : std::bit_cast<uint64_t>(thing.levels[i]);
        if (!add(thing.series[i], {at_ms, value})) return false;
    }
    return true;
}

// --- Text

// A newline, a quote and a backslash have a backslash; other control characters are written as the log has them.
void addQuotedLabel(std::string& labels, std::string_view name, std::string_view value) {
    constexpr char Digits[] = "0123456789ABCDEF";
    labels.append(labels.empty() || labels.ends_with('{') ? "" : ",").append(name).append("=\"");
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') labels += '\\', labels += c;
        else if (c == '\n') labels += "\\n";
        else if (byte < 0x20 || byte == 0x7F)
            labels += "\\\\x", labels += Digits[byte >> 4U], labels += Digits[byte & 15U];
        else labels += c;
    }
    labels += '"';
}

void OpenMetricsFormat::addLabel(std::string& labels, std::string_view name, std::string_view value) const {
    addQuotedLabel(labels, name, value);
}

bool OpenMetricsFormat::spill() {
    const bool good = out.write(text);
    text.clear();
    return good;
}

// In seconds: "1795266641.500", "-0.001" before 1970.
static void appendTime(int64_t ms, std::string& text) {
    if (ms < 0) text += '-';
    const int64_t size = ms < 0 ? -ms : ms;
    const auto part = std::to_string(size % 1000);
    text.append(std::to_string(size / 1000)).append(".").append(3 - part.size(), '0').append(part);
}

bool OpenMetricsFormat::writeSeries(const std::string& start, const Metric* metric, const Series& one) {
    const auto line = [&](const Point& point) {
        text += start;
        if (!metric) text += '1';
        else if (metric->counter) appendCounter(point.value, metric->micro, text);
        else appendLevel(std::bit_cast<double>(point.value), text);
        text += ' ';
        appendTime(point.at_ms, text);
        text += '\n';
    };
    std::array<Point, InPiece> piece{};
    for (const uint32_t number : one.pieces) {
        if (std::fseek(spool.get(), static_cast<long>(number * sizeof piece), SEEK_SET) != 0 ||
            std::fread(piece.data(), sizeof(Point), InPiece, spool.get()) != InPiece)
            return fail();
        for (auto& point : piece) line(point);
    }
    for (auto& point : one.points) line(point);
    constexpr size_t Enough = size_t{1} << 18;
    return text.size() < Enough || spill();
}

bool OpenMetricsFormat::writeFamily(const Group& group, size_t number) {
    const auto& metric = group.metrics[number];
    bool begun = false;
    for (auto& [name, thing] : group.things) {
        if (thing.info || thing.series[number] == static_cast<size_t>(-1)) continue;
        if (!begun) {
            text += "# TYPE " + metric.name + (metric.counter ? " counter\n" : " gauge\n");
            if (!metric.unit.empty()) text += "# UNIT " + metric.name + " " + metric.unit + "\n";
            text += "# HELP " + metric.name + " of the records " + std::string(group.kind->tag) + "\n";
            begun = true;
        }
        const auto start = metric.name + (metric.counter ? "_total{" : "{") + thing.labels + "} ";
        if (!writeSeries(start, &metric, series[thing.series[number]])) return false;
    }
    return true;
}

bool OpenMetricsFormat::writeInfo(const Group& group) {
    const std::string name = "wyrt_" + std::string(group.kind->prefix);
    bool begun = false;
    for (auto& [labels, thing] : group.things) {
        if (!thing.info || thing.series[0] == static_cast<size_t>(-1)) continue;
        if (!begun)
            text +=
                "# TYPE " + name + " info\n# HELP " + name + " of the records " + std::string(group.kind->tag) + "\n";
        begun = true;
        if (!writeSeries(name + "_info{" + thing.labels + "} ", nullptr, series[thing.series[0]])) return false;
    }
    return true;
}

bool OpenMetricsFormat::finish() {
    for (auto& group : groups) {
        if (!writeInfo(group)) return false;
        for (size_t i = 0; i < group.metrics.size(); i++)
            if (!writeFamily(group, i)) return false;
    }
    text += "# EOF\n";
    return spill();
}
