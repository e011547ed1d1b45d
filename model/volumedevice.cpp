#include "model/volumedevice.h"

#include "model/lvmname.h"

#include <algorithm>
#include <charconv>

std::string devOf(const BlockDevice& device) {
    if (!device.major) return device.name;
    return std::to_string(device.major) + ":" + std::to_string(device.minor);
}

std::string nvmeHead(const BlockDevice& device) {
    const auto c = device.name.find('c'), n = device.name.rfind('n');
    if (!device.hidden || !device.name.starts_with("nvme") || c == device.name.npos || n < c) return {};
    return device.name.substr(0, c) + device.name.substr(n);
}

static std::string mapperKind(const BlockDevice& device) {
    const std::string_view uuid = device.dmUuid;
    if (uuid.starts_with("LVM-")) return uuid.ends_with("-pool") ? "thinpool" : "lvm";
    if (uuid.starts_with("mpath-")) return "mpath";
    if (uuid.starts_with("CRYPT-")) return "crypt";
    if (uuid.starts_with("part")) return "part";
    return "dm";
}

std::string kindOf(const BlockDevice& device) {
    if (device.partition) return "part";
    if (!device.dmName.empty()) return mapperKind(device);
    if (!device.raidLevel.empty()) return device.raidLevel;
    if (!nvmeHead(device).empty()) return "path";
    for (const auto* kind : {"loop", "bcache", "zram"})
        if (device.name.starts_with(kind)) return kind;
    return device.name.starts_with("sr") ? "rom" : "disk";
}

std::string labelOf(const BlockDevice& device) {
    if (isLvm(device.dmUuid)) {
        const auto name = splitLvmName(device.dmName);
        return name.group + "/" + name.volume;
    }
    if (!device.dmName.empty()) return device.dmName;
    if (!device.loopFile.empty()) return device.loopFile;
    if (!device.raidLevel.empty()) return std::string(device.raidName.substr(device.raidName.find(':') + 1));
    return device.model;
}

// "degraded 1 of 3, recover 12%"
static std::string raidState(const BlockDevice& device) {
    std::string state;
    if (device.raidState == "inactive" || device.raidState == "readonly") state = device.raidState;
    if (device.raidDegraded)
        state.append(state.empty() ? "" : ", ")
            .append("degraded " + std::to_string(device.raidDegraded) + " of " + std::to_string(device.raidDisks));
    if (!isSyncing(device)) return state;
    state.append(state.empty() ? "" : ", ").append(device.raidSync);
    uint64_t done = 0, all = 0; // "1234 / 5678", or "none", "delayed"
    const std::string_view text = device.raidCompleted;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), done);
    const std::string_view rest(read.ptr, text.data() + text.size());
    if (rest.starts_with(" / ") && std::from_chars(rest.data() + 3, rest.data() + rest.size(), all).ec == std::errc{} &&
        all && done <= all)
        state.append(" " + std::to_string(done * 1000 / all / 10) + "." + std::to_string(done * 1000 / all % 10) + "%");
    return state;
}

static std::string mapState(const VolumeSample& sample, const BlockDevice& device) {
    const auto map =
        std::find_if(sample.maps.begin(), sample.maps.end(), [&](auto& other) { return other.device == device.name; });
    if (map == sample.maps.end()) return {};
    const auto failed = static_cast<size_t>(
        std::count_if(map->paths.begin(), map->paths.end(), [](auto& path) { return path.dm != "active"; }));
    if (!failed) return {};
    return std::to_string(failed) + " of " + std::to_string(map->paths.size()) + " paths failed";
}

std::string stateOf(const VolumeSample& sample, const BlockDevice& device) {
    if (device.suspended) return "suspended";
    if (!device.raidLevel.empty()) return raidState(device);
    if (device.dmUuid.starts_with("mpath-")) return mapState(sample, device);
    if (!device.bcacheState.empty() && device.name.starts_with("bcache"))
        return device.bcacheState == "clean" ? "" : device.bcacheState;
    if (!device.pathState.empty()) return device.pathState == "optimized" ? "" : device.pathState;
    return device.deviceState == "running" || device.deviceState == "live" ? "" : device.deviceState;
}
