#include "sample/volumes.h"

#include "base/door.h"
#include "base/held.h"
#include "parse/udev.h"
#include "parse/uevent.h"

#include <algorithm>
#include <charconv>
#include <tuple>

namespace {
// The small files and links of one folder of /sys.
struct Folder {
    Directory directory;
    Contents& text;

    explicit Folder(Contents& buffer) : text(buffer) {}
    // The text without the blanks and the newline at its end; empty when there is no such file.
    std::string_view read(const char* name) {
        if (!readFile(directory, name, text, Reading::Single, 4096) || text.error) return {};
        const auto line = text.view();
        return line.substr(0, line.find_last_not_of(" \n") + 1);
    }
    template <typename N> N number(const char* name) {
        const auto word = read(name);
        N value = 0;
        std::from_chars(word.data(), word.data() + word.size(), value);
        return value;
    }
};
} // namespace

// The names in a folder, in the order of their numbers and letters.
static std::vector<std::string> namesIn(const Place* at, const char* path) {
    std::vector<std::string> names;
    Directory directory;
    if (at ? !directory.open(*at, path) : !directory.open(path)) return names;
    for (Directory::Entry entry{}; directory.next(entry);)
        if (entry.name[0] != '.') names.emplace_back(entry.name);
    std::sort(names.begin(), names.end(),
              [](auto& a, auto& b) { return a.size() != b.size() ? a.size() < b.size() : a < b; });
    return names;
}

static void readNumbers(std::string_view dev, uint32_t& major, uint32_t& minor) {
    const auto end = dev.data() + dev.size();
    const auto read = std::from_chars(dev.data(), end, major);
    if (read.ptr != end) std::from_chars(read.ptr + 1, end, minor);
}

static void readUdev(const Root& root, BlockDevice& device, Contents& text) {
    const std::string path =
        root.path("/run/udev/data/b" + std::to_string(device.major) + ":" + std::to_string(device.minor));
    if (!readFile(path.c_str(), text, Reading::Whole, 1 << 16) || text.error) return;
    const auto data = parseUdevData(text.view());
    device.fsType = data["ID_FS_TYPE"];
    device.fsLabel = data["ID_FS_LABEL"];
    device.fsUuid = data["ID_FS_UUID"];
    device.raidName = data["MD_NAME"];
    for (auto link : data.links) device.links.emplace_back(link);
}

static void readMapper(BlockDevice& device, Folder& folder) {
    device.dmName = folder.read("dm/name");
    if (device.dmName.empty()) return;
    device.dmUuid = folder.read("dm/uuid");
    device.suspended = folder.read("dm/suspended") == "1";
}

static void readRaid(BlockDevice& device, Folder& folder) {
    device.raidLevel = folder.read("md/level");
    if (device.raidLevel.empty()) return;
    device.raidState = folder.read("md/array_state");
    device.raidSync = folder.read("md/sync_action");
    device.raidCompleted = folder.read("md/sync_completed");
    device.raidDisks = folder.number<unsigned>("md/raid_disks");
    device.raidDegraded = folder.number<unsigned>("md/degraded");
    device.members.clear();
    for (auto& name : namesIn(&folder.directory, "md")) {
        if (!name.starts_with("dev-")) continue;
        const std::string state(folder.read(("md/" + name + "/state").c_str()));
        device.members.push_back({name.substr(4), state});
    }
}

static void readDevice(const Root& root, BlockDevice& device, Folder& folder) {
    readNumbers(folder.read("dev"), device.major, device.minor);
    device.size_bytes = folder.number<uint64_t>("size") * 512; // in sectors of 512 bytes, whatever the device has
    device.hidden = folder.read("hidden") == "1";
    device.slaves = namesIn(&folder.directory, "slaves");
    if (!device.partition) {
        readMapper(device, folder);
        readRaid(device, folder);
        device.loopFile = folder.read("loop/backing_file");
        device.bcacheState = folder.read("bcache/state");
        device.pathState = folder.read("ana_state");
        device.deviceState = folder.read("device/state");
        device.model = folder.read("device/model");
    }
    readUdev(root, device, folder.text);
}

// Disks that nothing was put on: a floppy, a RAM disk, a loop device without file.
static bool isEmpty(const BlockDevice& device) { return device.size_bytes == 0 && !device.hidden; }

static void readDisk(const Root& root, const Place& block, const std::string& name, Contents& text,
                     std::vector<BlockDevice>& devices) {
    Folder folder(text);
    if (!folder.directory.open(block, name.c_str())) return;
    BlockDevice disk;
    disk.name = name;
    readDevice(root, disk, folder);
    if (isEmpty(disk)) return;
    devices.push_back(std::move(disk));
    for (auto& part : namesIn(&folder.directory, ".")) {
        if (!part.starts_with(name)) continue;
        BlockDevice device;
        Folder below(text);
        if (!below.directory.open(folder.directory, part.c_str())) continue;
        device.partition = below.number<unsigned>("partition");
        if (!device.partition) continue;
        device.name = part;
        device.disk = name;
        readDevice(root, device, below);
        devices.push_back(std::move(device));
    }
}

static void readBtrfs(const Root& root, Contents& text, std::vector<BtrfsVolume>& volumes) {
    HeldDirectory all;
    if (!all.open(root.path("/sys/fs/btrfs").c_str())) return;
    for (auto& uuid : namesIn(&all, ".")) {
        if (uuid.size() != 36) continue; // not "features", "debug"
        Folder folder(text);
        if (!folder.directory.open(all, uuid.c_str())) continue;
        BtrfsVolume volume{uuid, std::string(folder.read("label")), namesIn(&folder.directory, "devices"), 0};
        for (auto& id : namesIn(&folder.directory, "devinfo"))
            if (folder.read(("devinfo/" + id + "/missing").c_str()) == "1") volume.missing++;
        volumes.push_back(std::move(volume));
    }
}

void readMounts(const Root& root, VolumeSample& sample) {
    Contents text;
    sample.mounts.clear();
    sample.swaps.clear();
    if (readFile(root.path("/proc/self/mountinfo").c_str(), text)) sample.mounts = parseMountInfo(text.view());
    if (readFile(root.path("/proc/swaps").c_str(), text)) sample.swaps = parseSwaps(text.view());
    sample.denied += text.denied;
}

void readVolumes(const Root& root, VolumeSample& sample) {
    Contents text;
    sample.devices.clear();
    sample.btrfs.clear();
    HeldDirectory block;
    if (block.open(root.path("/sys/block").c_str()))
        for (auto& name : namesIn(&block, ".")) readDisk(root, block, name, text, sample.devices);
    readBtrfs(root, text, sample.btrfs);
    sample.denied += text.denied;
    readMounts(root, sample);
}

static auto raidOf(const BlockDevice& device) {
    return std::tie(device.raidLevel, device.raidState, device.raidSync, device.raidCompleted, device.raidDisks,
                    device.raidDegraded, device.members);
}

bool readRaids(const Root& root, VolumeSample& sample) {
    Contents text;
    bool changed = false;
    for (auto& device : sample.devices) {
        Folder folder(text);
        const auto path = root.path("/sys/block/" + device.name);
        if (device.raidLevel.empty() || !folder.directory.open(path.c_str())) continue;
        const auto before = device;
        readRaid(device, folder);
        changed |= raidOf(before) != raidOf(device);
    }
    sample.denied += text.denied;
    return changed;
}

bool isSyncing(const BlockDevice& device) {
    return !device.raidSync.empty() && device.raidSync != "idle" && device.raidSync != "none";
}

// The device of "8:16"; null: there is none.
static const BlockDevice* deviceOf(const VolumeSample& sample, std::string_view dev) {
    uint32_t major = 0, minor = 0;
    readNumbers(dev, major, minor);
    const auto found = std::find_if(sample.devices.begin(), sample.devices.end(), [&](auto& device) {
        return device.major == major && device.minor == minor && major;
    });
    return found == sample.devices.end() ? nullptr : &*found;
}

bool takeUevent(VolumeSample& sample, std::string_view message) {
    const auto event = parseUevent(message);
    if (!event || event->subsystem != "block") return false;
    const bool failed = event->dmAction == "PATH_FAILED";
    if (!failed && event->dmAction != "PATH_REINSTATED") return true;
    const auto* device = deviceOf(sample, event->dmPath);
    for (auto& map : sample.maps)
        for (auto& path : map.paths)
            if (device && map.device == event->devname && path.device == device->name)
                path.dm = failed ? "failed" : "active";
    return false;
}

bool hasMultipath(const VolumeSample& sample) {
    return std::any_of(sample.devices.begin(), sample.devices.end(),
                       [](auto& device) { return device.dmUuid.starts_with("mpath-"); });
}

bool hasLvm(const VolumeSample& sample) {
    return std::any_of(sample.devices.begin(), sample.devices.end(), [](auto& device) {
        return device.dmUuid.starts_with("LVM-") || device.fsType == "LVM2_member";
    });
}
