#include "classic/collect/netif.h"

#include "base/door.h"
#include "base/output.h"
#include "base/words.h"
#include "classic/collect/flushed.h"
#include "classic/collect/messages.h"
#include "classic/collect/settings.h"
#include "parse/netdev.h"

#include <algorithm>
#include <iterator>

// --- /proc/net/dev

static constexpr size_t LineLimit = 257; // 256 bytes of a line and the terminator; lines with real counters are shorter

bool getNetifLine(std::string_view line, TNetif& netif) {
    Netdev device;
    if (!parseNetdevLine(line, device)) return false;
    netif.name = device.name;
    netif.rbytes = static_cast<double>(device.rx_bytes);
    netif.rpackets = static_cast<double>(device.rx_packets);
    netif.rerrors = static_cast<double>(device.rx_errors);
    netif.rdrop = static_cast<double>(device.rx_dropped);
    netif.rfifo = static_cast<double>(device.rx_fifo);
    netif.rframe = static_cast<double>(device.rx_frame);
    netif.rmulticast = static_cast<double>(device.rx_multicast);
    netif.wbytes = static_cast<double>(device.tx_bytes);
    netif.wpackets = static_cast<double>(device.tx_packets);
    netif.werrors = static_cast<double>(device.tx_errors);
    netif.wdrop = static_cast<double>(device.tx_dropped);
    netif.wfifo = static_cast<double>(device.tx_fifo);
    netif.colls = static_cast<double>(device.tx_collisions);
    netif.carrier = static_cast<double>(device.tx_carrier);
    // Quirk: the packets sent compressed are stored as those received compressed. Neither is printed. Seen by
    // tests/unit/test_netif.cpp.
    netif.rcompressed = static_cast<double>(device.tx_compressed);
    return true;
}

// --- Addresses

static constexpr size_t AddressLimit = 512; // of a line of ifconfig

static bool isPlain(char c) {
    constexpr std::string_view Marks = ".:_-@";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || Marks.find(c) != Marks.npos;
}

// The name as one word of a shell command. It is quoted when it has a character that could mean something to the shell:
// whoever may name an interface must not be able to run a command with it.
static std::string shellWord(std::string_view name) {
    if (std::all_of(name.begin(), name.end(), isPlain)) return std::string(name);
    std::string word = "'";
    for (char c : name) {
        if (c == '\'') word += "'\\''"; // close the quotes, one escaped quote, open them again
        else word += c;
    }
    return word + "'";
}

std::string getAddressCommand(std::string_view name) { return "ifconfig " + shellWord(name) + " |grep \"inet \""; }

// The value after the first `key` of the line, up to the next blank. Characters of `passed` before it are skipped.
static bool getValueAfter(std::string_view line, std::string_view key, std::string_view passed, Text<16>& value) {
    const auto at = line.find(key);
    if (at == line.npos) return false;
    line.remove_prefix(at + key.size());
    line.remove_prefix(std::min(line.find_first_not_of(passed), line.size()));
    value = word(line);
    return true;
}

// "inet addr:10.0.0.5" of old net-tools; "inet 10.0.0.5" since 2.0, with at most one more blank.
static bool getAddress(std::string_view line, Text<16>& ip) {
    if (getValueAfter(line, "inet addr:", "", ip)) return true;
    const auto at = line.find("inet ");
    if (at == line.npos) return false;
    line.remove_prefix(at + 5);
    ip = word(line.substr(line.starts_with(' ') ? 1 : 0));
    return true;
}

// "inet 10.0.0.5  netmask 255.255.255.0  broadcast 10.0.0.255" or
// "inet addr:10.0.0.5  Bcast:10.0.0.255  Mask:255.255.255.0": the ends that the keys share ("ask", "cast") find both.
static void getAddressLine(std::string_view line, TAddresses& addresses) {
    constexpr std::string_view Passed = " :\t";
    const int n = addresses.ipcount;
    const bool found = getAddress(line, addresses.ip[n]);
    getValueAfter(line, "ask", Passed, addresses.netmask[n]);
    getValueAfter(line, "cast", Passed, addresses.broadcast[n]);
    // Quirk: a line without an address still adds its "/" once there is a first address. Seen by
    // tests/worlds/netif-address-lines.
    if (n > 0) addresses.ipstring.add("/");
    addresses.ipstring.add(addresses.ip[n]);
    if (found) addresses.ipcount++;
}

template <typename Source> static void getAddressLines(Source& lines, TAddresses& addresses) {
    for (std::string_view line; addresses.ipcount < MostAddresses && lines.next(line);)
        if (!line.empty()) getAddressLine(dropLast(line), addresses);
}

void getAddresses(std::string_view output, TAddresses& addresses) {
    Lines lines(output, AddressLimit);
    getAddressLines(lines, addresses);
}

static void askAddresses(TNetif& netif) {
    CommandLines lines(getAddressCommand(netif.name).c_str(), AddressLimit);
    getAddressLines(lines, netif);
    // Quirk: the ratio pause leaves out the time that ifconfig took, but that time is always 0. Seen by
    // tests/worlds/netif-slow-ifconfig.
    time4ip = 0;
}

// Runs ifconfig as rarely as possible: for a name that its row did not have before.
// Quirk: a row that the previous sample did not have gets no addresses, and a name of one letter gets none at the
// start. Seen by tests/worlds/netif-appears, netif-file-gone and netif-short-name.
static void setAddresses(int CallingIndex, const TNetif* before, TNetif& netif) {
    const bool first = CallingIndex == 0 && netif.name.size() > 1;
    if (first || (before && !(before->name == netif.name))) askAddresses(netif);
    else if (before) static_cast<TAddresses&>(netif) = *before;
}

// --- The sample

// False when there is no memory for the rows.
static bool getSample(int CallingIndex, int icur, int ipre, TNetifSlots& netif) {
    static Contents text;
    auto& rows = netif.sample[icur];
    const auto& before = netif.sample[ipre];
    rows.clear();
    if (!readFile("/proc/net/dev", text)) return true;
    Lines lines(text.view(), LineLimit);
    for (std::string_view line; lines.next(line);) {
        TNetif row;
        if (!getNetifLine(line, row)) continue;
        if (!makeRoom(rows, rows.size() + 1)) {
            sayNoMemory("netif");
            rows.clear();
            return false;
        }
        const size_t n = rows.size();
        setAddresses(CallingIndex, n < before.size() ? &before[n] : nullptr, row);
        rows.push_back(row);
    }
    return true;
}

// --- Rates

static constexpr double TNetif::* Rates[] = {
    &TNetif::rbytes,  &TNetif::wbytes, &TNetif::rpackets, &TNetif::wpackets, &TNetif::rerrors,
    &TNetif::werrors, &TNetif::rdrop,  &TNetif::wdrop,    &TNetif::colls,
};

static void getRate(const TNetif& now, const TNetif& before, double seconds, TNetif& rate) {
    static_cast<TAddresses&>(rate) = now;
    rate.name = now.name;
    for (auto field : Rates) rate.*field = (now.*field - before.*field) / seconds;
}

// False when there is no memory for the rows.
// Quirk: an interface that changed its name keeps its row, empty for an interval. Seen by tests/worlds/netif-renamed.
static bool getRates(const std::vector<TNetif>& now, const std::vector<TNetif>& before, double seconds,
                     std::vector<TNetif>& rates) {
    if (!makeRoom(rates, now.size() + 1)) {
        sayNoMemory("topnet");
        return false;
    }
    rates.resize(now.size() + 1);
    rates[0].name = "Total";
    for (size_t j = 0; j < now.size(); j++) {
        if (!(now[j].name == before[j].name)) continue;
        getRate(now[j], before[j], seconds, rates[j + 1]);
        // Quirk: every name that begins with "lo" counts as a loopback. Seen by tests/worlds/netif-loopbacks.
        if (now[j].name.view().starts_with("lo")) continue;
        for (auto field : Rates) rates[0].*field += rates[j + 1].*field;
    }
    return true;
}

int getnetif(int CallingIndex, int icur, int ipre, double seconds, TNetifSlots& netif) {
    constexpr double LeastSeconds = 1e-9;
    if (CallingIndex == 0) netif = {};
    netif.result.clear();
    if (!getSample(CallingIndex, icur, ipre, netif)) return 0;
    const auto &now = netif.sample[icur], &before = netif.sample[ipre];
    if (now.size() == before.size() && !(seconds < LeastSeconds))
        return getRates(now, before, seconds, netif.result) ? static_cast<int>(netif.result.size()) : 0;
    // Quirk: also printed when the numbers are equal but no time has passed. Seen by tests/worlds/netif-no-interval.
    if (CallingIndex > 0)
        say("Previous netif count : %d / Current netif count : %d / TimeDiff : %f\n", static_cast<int>(before.size()),
            static_cast<int>(now.size()), seconds);
    return 0;
}

int compnetif(const TNetif& a, const TNetif& b) {
    const double left = a.rbytes + a.wbytes, right = b.rbytes + b.wbytes;
    return left > right ? -1 : left < right ? 1 : 0;
}
