// The report of multipath -ll:
//     mpatha (36005076801810001) dm-0 QEMU,QEMU HARDDISK
//     size=300M features='1 queue_if_no_path' hwhandler='0' wp=rw
//     |-+- policy='service-time 0' prio=1 status=active
//     | `- 0:0:0:0 sda 8:0  active ready running
#include "classic/collect/volumes.h"

#include "base/words.h"
#include "classic/collect/slots.h"
#include "classic/collect/voltext.h"

#include <unordered_map>

static constexpr size_t LineLimit = 1024;

namespace {
// What has been read of the report so far.
class TPathReader {
    std::unordered_map<std::string_view, int> volumes; // the first physical volume of each name
    char size[32] = {};                                // of the device; see setSize
    int group = -1;                                    // number of the path group
    Text<65> groupText;

    void link(TMultipath& device) const;
    bool startDevice(std::string_view line, size_t at);
    void setSize(TMultipath& device, std::string_view text);
    void addMember(TMultipath& device, std::string_view address);

public:
    TPathReader();
    bool take(std::string_view line); // false: no memory, nothing more is read
};
} // namespace

TPathReader::TPathReader() {
    for (size_t i = 0; i < pvlist.size(); i++) volumes.emplace(pvlist[i].lastname, static_cast<int>(i));
}

// The first physical volume that has the name of the device or of its alias.
void TPathReader::link(TMultipath& device) const {
    for (auto name : {device.name.view(), device.alias.view()})
        if (const auto found = volumes.find(name); found != volumes.end())
            device.pv = device.pv == NoLink ? found->second : std::min(device.pv, found->second);
}

// `at`: the position of " dm-".
bool TPathReader::startDevice(std::string_view line, size_t at) {
    auto* added = addRow(pathlist);
    if (!added) return false;
    auto& device = *added;
    group = -1;
    std::fill(std::begin(size), std::end(size), '\0');
    const auto text = getfirst(line);
    char word[256] = {};
    const auto bracket = getbracket(text, 0, word);
    device.wwid = word;
    std::fill(std::begin(word), std::end(word), '\0');
    if (bracket.data() == text.data()) word[0] = '-';
    else getstring(text, std::span(word).first<64>());
    device.alias = word;
    std::fill(std::begin(word), std::end(word), '\0');
    getstring(line.substr(at + 1), std::span(word).first<32>());
    device.name = word;
    delspace(getnext(line.substr(at + 2)), std::span(word).first<255>());
    device.desc = word;
    link(device);
    return true;
}

// Quirk: a word that ends with the line is not terminated, so the end of a longer size read before stays. Seen by
// tests/worlds/disk-map-multipath-odd.
void TPathReader::setSize(TMultipath& device, std::string_view text) {
    getstring(text, size);
    device.size = size;
}

// `address`: the text from the first ':' of "0:0:0:0 sda 8:0  active ready running" on.
void TPathReader::addMember(TMultipath& device, std::string_view address) {
    const auto text = getnext(tail(address, 3));
    if (isNone(text) || !makeRoom(device.disk, device.disk.size() + 1, 4)) return;
    auto& member = device.disk.emplace_back();
    char word[32] = {};
    getstring(text, word);
    member.name = word;
    member.property = getnext(getnext(text)); // the text after the name and major:minor
    member.pathindex = group;
    member.pathstate = group < 0 ? "-" : groupText.view();
}

bool TPathReader::take(std::string_view line) {
    // Quirk: a path that is itself a device-mapper disk looks like a device, too. Seen by
    // tests/worlds/disk-map-multipath-odd.
    constexpr size_t HeaderFrom = 12; // a name and an identifier precede " dm-"
    constexpr std::string_view Size = "size=";
    if (const auto at = line.find(" dm-", HeaderFrom); at != line.npos) return startDevice(line, at);
    if (pathlist.empty()) return true;
    auto& device = pathlist.back();
    if (const auto at = line.find(Size); at != line.npos) {
        setSize(device, line.substr(at + Size.size()));
    } else if (const auto colon = line.find(':'); colon != line.npos) {
        addMember(device, line.substr(colon));
    } else {
        groupText = getnext(getfirst(line));
        group++;
    }
    return true;
}

void getMultipaths(std::string_view report) {
    constexpr size_t LeastLine = 16;
    TPathReader reader;
    Lines lines(report, LineLimit);
    for (std::string_view line; lines.next(line);)
        if (line.size() >= LeastLine && !reader.take(cutLineEnd(line, LeastLine))) return;
}
