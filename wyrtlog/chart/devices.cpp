#include "wyrtlog/chart/devices.h"

#include "view/format.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <string_view>

// --- Lines

namespace {
// One line of each device.
struct Drawn {
    const char* title;
    const char* note;
    const char* unit;
    const char* name;
};
enum Disk : size_t { Read, Written, Discarded, Reads, Writes, Flushes, ReadWait, WriteWait, FlushWait, Queue, Busy };
enum Link : size_t { Received, Sent, ReceiveErrors, SendErrors, ReceiveDrops, SendDrops };
} // namespace

static constexpr Drawn DiskLines[] = {
    {"throughput", "",                     "B/s", "read"     },
    {"throughput", "",                     "B/s", "written"  },
    {"throughput", "",                     "B/s", "discarded"},
    {"operations", "",                     "/s",  "reads"    },
    {"operations", "",                     "/s",  "writes"   },
    {"operations", "",                     "/s",  "flushes"  },
    {"wait",       "of an operation",      "ms",  "read"     },
    {"wait",       "",                     "ms",  "write"    },
    {"wait",       "",                     "ms",  "flush"    },
    {"queue",      "operations under way", "",    "queue"    },
    {"busy",       "share of the time",    "%",   "busy"     },
};
static constexpr Drawn LinkLines[] = {
    {"traffic",          "", "B/s", "received"            },
    {"traffic",          "", "B/s", "sent"                },
    {"errors and drops", "", "/s",  "received with errors"},
    {"errors and drops", "", "/s",  "not sent: errors"    },
    {"errors and drops", "", "/s",  "received and dropped"},
    {"errors and drops", "", "/s",  "not sent: dropped"   },
};

namespace {
struct Counter {
    Drawn drawn;
    std::string_view protocol, name;
    bool isLevel;
};
} // namespace
static constexpr Counter Counters[] = {
    {{"TCP connections", "established", "", "established"},                                                           "Tcp",    "CurrEstab",    true },
    {{"TCP connections opened", "", "/s", "by this host"},                                                            "Tcp",    "ActiveOpens",  false},
    {{"TCP connections opened", "", "/s", "by others"},                                                               "Tcp",    "PassiveOpens", false},
    {{"TCP segments", "", "/s", "received"},                                                                          "Tcp",    "InSegs",       false},
    {{"TCP segments", "", "/s", "sent"},                                                                              "Tcp",    "OutSegs",      false},
    {{"TCP trouble", "segments sent again, timeouts, and connections that were refused or lost", "/s", "sent again"},
     "Tcp",                                                                                                                     "RetransSegs",
     false                                                                                                                                           },
    {{"TCP trouble", "", "/s", "timeouts"},                                                                           "TcpExt", "TCPTimeouts",  false},
    {{"TCP trouble", "", "/s", "failed to open"},                                                                     "Tcp",    "AttemptFails", false},
    {{"TCP trouble", "", "/s", "reset"},                                                                              "Tcp",    "EstabResets",  false},
    {{"TCP trouble", "", "/s", "listener full"},                                                                      "TcpExt", "ListenDrops",  false},
};

// Null: it has no place.
DeviceCharts::Device* DeviceCharts::Devices::find(const std::string& key) {
    const auto found = kept.find(key);
    return found == kept.end() ? nullptr : &found->second;
}

// Null: so many others have at least this amount. Of what takes the place of another one, nothing is known before.
DeviceCharts::Device* DeviceCharts::Devices::place(const std::string& key, double amount, Lines& lines) {
    constexpr size_t MostOthers = 20000; // what a forged log can make us keep
    if (auto* device = find(key)) return device;
    if (kept.size() < most) return &kept[key];
    const auto last = amount <= least ? kept.end() : std::min_element(kept.begin(), kept.end(), [](auto& a, auto& b) {
        return a.second.sum < b.second.sum;
    });
    if (last != kept.end()) least = last->second.sum;
    const auto leaveOut = [&](const std::string& name) {
        if (others.size() < MostOthers) others.insert(name);
    };
    if (amount <= least) return leaveOut(key), nullptr;
    auto node = kept.extract(last);
    others.erase(key), leaveOut(node.key());
    auto numbers = std::move(node.mapped().numbers);
    for (const auto& number : numbers)
        if (number) lines.forget(*number);
    node.key() = key, node.mapped() = {"", "", std::move(numbers)};
    return &kept.insert(std::move(node)).position->second;
}

void DeviceCharts::set(Numbers& numbers, size_t shown, double figure, Absent absent, Lines& lines) {
    if (numbers.size() <= shown) numbers.resize(shown + 1);
    if (!numbers[shown]) {
        if (figure == 0 && absent == Absent::Zero) return;
        numbers[shown] = lines.add(absent);
    }
    lines.set(*numbers[shown], figure);
}

// --- One interval

void DeviceCharts::addDisks(const Interval& interval, Lines& lines) {
    const double seconds = interval.disks.seconds();
    if (seconds <= 0) return;
    for (auto& row : interval.disks.rows) {
        // What stands on a disk moves the same bytes.
        if (!isWholeDisk(row)) continue;
        const double bytes = valueOf(row.read_bytes) + valueOf(row.write_bytes) + valueOf(row.discard_bytes);
        const bool active = bytes + valueOf(row.reads) + valueOf(row.writes) + valueOf(row.flushes) > 0;
        auto* disk = active ? disks.place(row.name, bytes, lines) : disks.find(row.name);
        if (!disk) continue;
        disk->name = nameOf(row);
        if (!row.holds.empty()) disk->holds = row.holds;
        disk->sum += bytes;
        const auto rate = [&](Disk shown, const std::optional<uint64_t>& amount) {
            if (amount) set(disk->numbers, shown, valueOf(amount) / seconds, Absent::Zero, lines);
        };
        rate(Read, row.read_bytes), rate(Written, row.write_bytes), rate(Discarded, row.discard_bytes);
        rate(Reads, row.reads), rate(Writes, row.writes), rate(Flushes, row.flushes);
        const auto wait = [&](Disk shown, const std::optional<uint64_t>& us, const std::optional<uint64_t>& count) {
            if (us && valueOf(count) > 0)
                set(disk->numbers, shown, valueOf(us) / 1000 / valueOf(count), Absent::Unknown, lines);
        };
        wait(ReadWait, row.read_us, row.reads), wait(WriteWait, row.write_us, row.writes);
        wait(FlushWait, row.flush_us, row.flushes);
        const auto share = [&](Disk shown, const std::optional<uint64_t>& us, double factor) {
            if (us) set(disk->numbers, shown, valueOf(us) / 1e6 / seconds * factor, Absent::Zero, lines);
        };
        share(Queue, row.queue_us, 1), share(Busy, row.busy_us, 100);
    }
}

void DeviceCharts::addFilesystems(const Interval& interval, Lines& lines) {
    for (auto& row : interval.filesystems.rows) {
        const auto use = useOf(row);
        if (!use || row.read_only) continue;
        auto* filesystem = filesystems.place(row.point, *use, lines);
        if (!filesystem) continue;
        filesystem->name = row.point;
        filesystem->sum = std::max(filesystem->sum, *use);
        set(filesystem->numbers, 0, *use, Absent::Last, lines);
    }
}

void DeviceCharts::addLinks(const Interval& interval, Lines& lines) {
    const double seconds = interval.links.seconds();
    if (seconds <= 0) return;
    for (auto& row : interval.links.rows) {
        const double bytes = valueOf(row.rx_bytes) + valueOf(row.tx_bytes);
        auto* link = isActive(row) ? links.place(row.name, bytes, lines) : links.find(row.name);
        if (!link) continue;
        link->name = row.name;
        if (!row.addresses.empty()) link->holds = row.addresses;
        link->sum += bytes;
        const auto rate = [&](Link shown, const std::optional<uint64_t>& amount) {
            if (amount) set(link->numbers, shown, valueOf(amount) / seconds, Absent::Zero, lines);
        };
        rate(Received, row.rx_bytes), rate(Sent, row.tx_bytes);
        rate(ReceiveErrors, row.rx_errors), rate(SendErrors, row.tx_errors);
        rate(ReceiveDrops, row.rx_dropped), rate(SendDrops, row.tx_dropped);
    }
}

void DeviceCharts::addProtocols(const Interval& interval, Lines& lines) {
    const double seconds = interval.protocols.seconds();
    for (auto& row : interval.protocols.rows)
        for (size_t i = 0; i < std::size(Counters); i++) {
            auto& counter = Counters[i];
            if (row.name != counter.name || row.protocol != counter.protocol) continue;
            if (counter.isLevel && row.value) set(protocols, i, valueOf(row.value), Absent::Last, lines);
            else if (row.amount && seconds > 0) set(protocols, i, valueOf(row.amount) / seconds, Absent::Zero, lines);
        }
}

static constexpr const char* States[] = {"established",  "TIME_WAIT", "CLOSE_WAIT", "SYN sent",
                                         "SYN received", "FIN_WAIT",  "other",      "listening"};

// TCP sockets of both families and all namespaces.
void DeviceCharts::addStates(const Interval& interval, Lines& lines) {
    if (interval.socketsTotal.rows.empty()) return;
    std::array<uint64_t, std::size(States)> counts{};
    for (auto& row : interval.socketsTotal.rows) {
        if (row.protocol != "tcp") continue;
        size_t i = 0;
        for (const uint64_t count :
             {row.established, uint64_t{0}, row.close_wait, row.syn_sent, row.syn_received,
              row.fin_wait1 + row.fin_wait2, row.last_ack + row.closing + row.closed, row.listening})
            counts[i++] += count;
    }
    for (auto& row : interval.namespaces.rows) counts[1] += row.time_wait.value_or(0);
    for (size_t i = 0; i < counts.size(); i++) set(states, i, static_cast<double>(counts[i]), Absent::Zero, lines);
}

void DeviceCharts::add(const Interval& interval, Lines& lines) {
    addStates(interval, lines);
    addDisks(interval, lines);
    addFilesystems(interval, lines);
    addLinks(interval, lines);
    addProtocols(interval, lines);
}

// --- All of them

// The largest that there is room for, the first of them most.
std::vector<const DeviceCharts::Device*> DeviceCharts::Devices::largest() const {
    std::vector<const Device*> order;
    for (auto& [key, device] : kept) order.push_back(&device);
    std::stable_sort(order.begin(), order.end(), [](auto* a, auto* b) { return a->sum > b->sum; });
    order.resize(std::min(order.size(), Shown));
    return order;
}

// Lines that follow each other with the same title are one chart.
template <size_t N, typename Device>
static void giveDevice(Section section, const Drawn (&drawn)[N], const Device& device, const Lines& lines,
                       std::vector<Picture>& all) {
    Picture picture;
    const char* last = "";
    for (size_t i = 0; i < N; i++) {
        if (std::string_view(last) != drawn[i].title) {
            addPicture(std::move(picture), all);
            last = drawn[i].title;
            picture = {section, device.name + " " + last, drawn[i].note, drawn[i].unit, false, i == 0, 0, {}, {}};
            if (i == 0 && !device.holds.empty())
                picture.note = (section == Section::Disks ? "holds " : "") + device.holds;
        }
        if (i < device.numbers.size() && device.numbers[i]) addLine(lines, *device.numbers[i], drawn[i].name, picture);
    }
    addPicture(std::move(picture), all);
}

void DeviceCharts::give(const Lines& lines, std::vector<Picture>& all) const {
    for (auto* disk : disks.largest()) giveDevice(Section::Disks, DiskLines, *disk, lines, all);

    constexpr size_t MostFilesystems = 8; // as many colours as can be told apart
    Picture use{Section::Filesystems, "Filesystems", "share in use, of the fullest", "%", false, false, 100, {}, {}};
    for (auto* filesystem : filesystems.largest())
        if (use.series.size() < MostFilesystems && !filesystem->numbers.empty() && filesystem->numbers[0])
            addLine(lines, *filesystem->numbers[0], filesystem->name, use);
    addPicture(std::move(use), all);

    for (auto* link : links.largest()) giveDevice(Section::Network, LinkLines, *link, lines, all);

    Picture sockets{Section::Network, "TCP sockets", "by state", "", false, false, 0, {}, {}};
    for (size_t i = 0; i < states.size(); i++)
        if (states[i]) addLine(lines, *states[i], States[i], sockets);
    addPicture(std::move(sockets), all);

    Picture tcp;
    for (size_t i = 0; i < std::size(Counters); i++) {
        auto& drawn = Counters[i].drawn;
        if (tcp.title != drawn.title) {
            addPicture(std::move(tcp), all);
            tcp = {Section::Network, drawn.title, drawn.note, drawn.unit, false, false, 0, {}, {}};
        }
        if (i < protocols.size() && protocols[i]) addLine(lines, *protocols[i], drawn.name, tcp);
    }
    addPicture(std::move(tcp), all);
}
