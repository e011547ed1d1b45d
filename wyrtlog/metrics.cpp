#include "wyrtlog/metrics.h"

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
    {"DISK",     "disk",         {{{"name", "disk"}}}, {"dev", "kind", "holds"}},
    {"FSS",      "filesystems",  {}, {}},
    {"FS",       "filesystem",   {{{"mount", "mount"}, {"dev", "device"}}}, {"source", "type"}},
    {"LINKS",    "links",        {}, {}},
    {"LINK",     "link",         {{{"name", "interface"}, {"index", "index"}}}, {"kind", "state", "master"}},
    {"PROTO",    "protocol",     {{{"protocol", "protocol"}, {"name", "name"}}}, {}},
    {"NETNS",    "network",      {{{"netns", "netns"}}}, {"name"}},
    {"SOCKS",    "sockets",      {{{"netns", "netns"}, {"protocol", "protocol"}, {"family", "family"}}}, {}},
    {"LISTEN",   "listener",     {{{"netns", "netns"}, {"address", "address"}, {"port", "port"}}}, {}, true, 200},
    {"LIMIT",    "limit",        {{{"name", "name"}}}, {}},
    {"VOLUME",   "volume",       {{{"dev", "device"}}}, {"name", "kind", "label", "state"}},
    {"HOLDS",    "holds",        {{{"holder", "holder"}, {"held", "held"}}}, {"state"}},
    {"MOUNT",    "mount",        {{{"dev", "device"}, {"point", "mount"}}}, {"type"}},
    {"VG",       "volume_group", {{{"name", "group"}}}, {"state"}},
    {"CGROUPS",  "cgroups",      {}, {}},
    {"CGROUP",   "cgroup",       {{{"path", "cgroup"}}}, {"name", "kind"}},
    {"CGROUPIO", "cgroup_io",    {{{"path", "cgroup"}, {"dev", "device"}, {"disk", "disk"}}}, {}},
    {"PROCS",    "processes",    {}, {}},
    {"PROC",     "process",      {{{"name", "command"}}}, {}, true, 200},
    {"THREADS",  "threads",      {}, {}},
    {"CHURNS",   "churn",        {}, {}},
    {"CHURN",    "children",     {{{"command", "command"}}}, {}, true, 200},
    {"FILES",    "files",        {}, {}},
    {"WHY",      "finding",      {{{"resource", "resource"}, {"object", "object"}, {"rule", "rule"}}}, {}},
};
// clang-format on

std::span<const MetricKind> metricKinds() { return Kinds; }

const MetricKind* metricKind(std::string_view tag) {
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

std::optional<Metric> metricOf(const MetricKind& kind, const SheetColumn& column) {
    const bool number = column.cast == Cast::Whole || column.cast == Cast::Real;
    if (!number || (column.role != Role::Amount && column.role != Role::Level)) return {};
    Metric metric;
    metric.counter = column.role == Role::Amount && !column.negative;
    // The total of a finding is in units of its own.
    if ((kind.summed && !metric.counter) || (kind.tag == "WHY" && metric.counter)) return {};
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
