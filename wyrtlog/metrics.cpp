#include "wyrtlog/metrics.h"

#include "base/masking.h"
#include "base/words.h"

#include <algorithm>
#include <charconv>
#include <cmath>

// clang-format off
static constexpr MetricKind Kinds[] = {
    {"HOST",     "host",         {}, {"kernel", "machine"}},
    {"SELF",     "self",         {}, {}},
    {"CPU",      "cpu",          {}, {}},
    {"CORE",     "core",         {{{"core", "core"}}}, {}},
    {"MEM",      "mem",          {}, {}},
    {"NODE",     "node",         {{{"node", "node"}}}, {}},
    {"PSI",      "pressure",     {{{"resource", "resource"}}}, {}},
    {"DISKS",    "disks",        {}, {}},
    {"DISK",     "disk",         {{{"name", "disk"}, {"volume", "volume"}}}, {"dev", "kind", "holds"}},
    {"FSS",      "filesystems",  {}, {}},
    {"FS",       "filesystem",   {{{"mount", "mount"}}}, {"dev", "source", "type"}},
    {"LINKS",    "links",        {}, {}},
    {"LINK",     "link",         {{{"name", "interface"}}}, {"kind", "state", "master"}},
    {"NSLINK",   "namespace_link", {{{"netns", "netns"}, {"name", "interface"}}}, {"space"}},
    {"PROTO",    "protocol",     {{{"protocol", "protocol"}, {"name", "name"}}}, {}},
    {"NETNS",    "network",      {{{"netns", "netns"}}}, {"name"}},
    {"SOCKS",    "sockets",      {{{"netns", "netns"}, {"protocol", "protocol"}, {"family", "family"}}}, {}},
    {"LISTEN",   "listener",     {{{"netns", "netns"}, {"address", "address"}, {"port", "port"}}}, {}, true, 200, {"drops", "accepted"}},
    {"LIMIT",    "limit",        {{{"name", "name"}}}, {}},
    {"VOLUME",   "volume",       {{{"dev", "device"}}}, {"name", "kind", "label", "state"}},
    {"HOLDS",    "holds",        {{{"holder", "holder"}, {"held", "held"}}}, {"state"}},
    {"MOUNT",    "mount",        {{{"dev", "device"}, {"point", "mount"}}}, {"type"}},
    {"VG",       "volume_group", {{{"name", "group"}}}, {"state"}},
    {"CGROUPS",  "cgroups",      {}, {}},
    {"CGROUP",   "cgroup",       {{{"path", "cgroup"}}}, {"name", "kind"}},
    {"CGROUPIO", "cgroup_io",    {{{"path", "cgroup"}, {"dev", "device"}, {"disk", "disk"}}}, {}},
    {"PROCS",    "processes",    {}, {}},
    {"PROC",     "process",      {{{"name", "command"}}}, {}, true, 200, {"cpu", "read_bytes", "write_bytes"}},
    {"THREADS",  "threads",      {}, {}},
    {"CHURNS",   "churn",        {}, {}},
    {"CHURN",    "children",     {{{"command", "command"}}}, {}, true, 200, {"cpu", "ended"}},
    {"FILES",    "files",        {}, {}},
    {"WHY",      "finding",      {{{"resource", "resource"}, {"object", "object"}, {"rule", "rule"}}}, {}, false, 1000, {}, true},
    {"WHO",      "culprit",      {{{"resource", "resource"}, {"object", "object"}, {"name", "command"}, {"user", "user"}, {"unit", "unit"}}}, {}, false, 1000, {}, true},
};

// What takes the place of one of these where it is asked for.
struct Variant {
    std::string_view word;
    MetricKind kind;
};
static constexpr std::string_view AllRows = "rows";
static constexpr Variant Variants[] = {
    {"user",      {"PROC",   "process",  {{{"user", "user"}}}, {}, true, 200, {"cpu", "read_bytes", "write_bytes"}}},
    {"unit",      {"PROC",   "process",  {{{"unit", "unit"}}}, {}, true, 200, {"cpu", "read_bytes", "write_bytes"}}},
    {"unit",      {"CHURN",  "children", {{{"unit", "unit"}}}, {}, true, 200, {"cpu", "ended"}}},
    {"container", {"PROC",   "process",  {{{"unit", "container"}}}, {}, true, 200, {"cpu", "read_bytes", "write_bytes"}}},
    {"container", {"CHURN",  "children", {{{"unit", "container"}}}, {}, true, 200, {"cpu", "ended"}}},
    {AllRows,     {"PROC",   "process",  {{{"pid", "pid"}, {"name", "command"}, {"user", "user"}, {"unit", "unit"}}}, {}, false, 20000}},
    {AllRows,     {"THREAD", "thread",   {{{"pid", "pid"}, {"tid", "tid"}, {"process", "command"}, {"name", "thread"}}}, {}, false, 20000}},
};
// clang-format on

std::span<const MetricKind> metricKinds() { return Kinds; }

static const MetricKind* variantOf(std::string_view tag, std::string_view word) {
    for (auto& variant : Variants)
        if (variant.kind.tag == tag && variant.word == word) return &variant.kind;
    return nullptr;
}

std::string whyNotBy(std::string_view word) {
    for (const char* known : {"command", "user", "unit", "container"})
        if (word == known) return {};
    return "--by takes command, user, unit or container, not " + inQuotes(word);
}

const MetricKind* metricKind(std::string_view tag, const SeriesChoice& choice) {
    if (const auto* kind = choice.rows ? variantOf(tag, AllRows) : nullptr) return kind;
    if (const auto* kind = variantOf(tag, choice.by)) return kind;
    for (auto& kind : Kinds)
        if (kind.tag == tag) return &kind;
    return nullptr;
}

namespace {
struct Unit {
    std::string_view own; // in the log
    std::string_view end; // of the metric's name
    std::string_view name;
    double factor;
};
} // namespace

static constexpr Unit Units[] = {
    {"us",    "_seconds",          "seconds", 1e-6},
    {"s",     "_seconds",          "seconds", 1   },
    {"B",     "_bytes",            "bytes",   1   },
    {"%",     "_ratio",            "ratio",   0.01},
    {"MHz",   "_hertz",            "hertz",   1e6 },
    {"bit/s", "_bits_per_second",  "",        1   },
    {"B/s",   "_bytes_per_second", "",        1   },
    {"pages", "_pages",            "",        1   },
};

// Of a finding the time in which it was one: it is missed by no one who asks seldom.
static Metric timeOf(const MetricKind& kind) {
    Metric metric;
    metric.name.append("wyrt_").append(kind.prefix).append("_");
    metric.ownName = metric.name.size();
    metric.name += "seconds", metric.unit = "seconds";
    metric.counter = metric.micro = true;
    return metric;
}

// What of a culprit is no figure, or in units of its finding.
static bool isOmitted(const MetricKind& kind, std::string_view name) {
    static constexpr std::string_view OfCulprits[] = {"pid", "start", "fd", "amount", "count"};
    if (kind.tag == "WHY") return name == "total" || name == "intervals" || name == "lasted";
    return kind.tag == "WHO" && std::find(std::begin(OfCulprits), std::end(OfCulprits), name) != std::end(OfCulprits);
}

std::optional<Metric> metricOf(const MetricKind& kind, const SheetColumn& column) {
    if (kind.tag == "WHY" && column.cast == Cast::Seconds) return timeOf(kind);
    const bool number = column.cast == Cast::Whole || column.cast == Cast::Real;
    if (!number || (column.role != Role::Amount && column.role != Role::Level)) return {};
    Metric metric;
    metric.counter = column.role == Role::Amount && column.range == Range::Unsigned;
    if ((kind.summed && !metric.counter) || isOmitted(kind, column.name)) return {};
    metric.name.append("wyrt_").append(kind.prefix).append("_");
    metric.ownName = metric.name.size();
    metric.name += column.unit == "MHz" ? "frequency" : column.name;
    for (auto& unit : Units) {
        if (unit.own != column.unit) continue;
        if (unit.own == "us" && metric.name.ends_with("_us")) metric.name.resize(metric.name.size() - 3);
        if (!metric.name.ends_with(unit.end)) metric.name += unit.end;
        metric.unit = unit.name;
        metric.micro = metric.counter && unit.own == "us";
        metric.factor = unit.factor;
    }
    return metric;
}

std::string_view cutLabel(std::string_view text) {
    size_t size = 0;
    while (size < text.size()) {
        unsigned code = 0;
        const size_t next = getCharacter(text.substr(size), code);
        if (size + next > LongestLabel) break;
        size += next;
    }
    return text.substr(0, size);
}

template <typename T, typename... Form> static void appendNumberOf(T value, std::string& out, Form... form) {
    char digits[64];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, value, form...).ptr);
}

void appendCounter(uint64_t value, bool micro, std::string& out) {
    if (!micro) return appendNumberOf(value, out);
    appendNumberOf(value / 1000000, out);
    auto rest = static_cast<unsigned>(value % 1000000);
    if (rest == 0) return;
    char digits[] = ".000000";
    for (size_t i = 6; i > 0; i--, rest /= 10) digits[i] = static_cast<char>('0' + rest % 10);
    out += std::string_view(digits).substr(0, std::string_view(digits).find_last_not_of('0') + 1);
}

void appendLevel(double value, std::string& out) {
    const double size = std::fabs(value);
    if (size == 0 || (size >= 1e-6 && size < 1e18)) appendNumberOf(value, out, std::chars_format::fixed);
    else appendNumberOf(value, out, std::chars_format::scientific);
}
