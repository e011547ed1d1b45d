// The texts that tell of volumes: the first byte says which; what was read is a piece of it.
#include "fuzz/check.h"
#include "parse/mountinfo.h"
#include "parse/multipathd.h"
#include "parse/swaps.h"
#include "parse/udev.h"
#include "parse/uevent.h"
#include "parse/volumegroups.h"

#include <cstddef>
#include <cstdint>

static void checkUdev(std::string_view text) {
    const auto data = parseUdevData(text);
    for (auto& property : data.properties) check(isFrom(text, property.name) && isFrom(text, property.value));
    for (auto& link : data.links) check(isFrom(text, link) && link.find('\n') == link.npos);
}

static void checkMounts(std::string_view text) {
    for (auto& mount : parseMountInfo(text)) {
        check(!mount.point.empty() && !mount.root.empty() && !mount.type.empty());
        check(mount.point.size() <= text.size() && isFrom(text, mount.options));
        for (const auto* name : {"upperdir", "lowerdir"})
            check(mountOption(mount.superOptions, name).size() <= mount.superOptions.size());
    }
}

static void checkSwaps(std::string_view text) {
    for (auto& area : parseSwaps(text)) check(!area.path.empty() && area.path.size() <= text.size());
}

static void checkUevent(std::string_view text) {
    const auto event = parseUevent(text);
    if (!event) return;
    check(!event->action.empty() && isFrom(text, event->action) && isFrom(text, event->devpath));
    check(event->dmPath.find('\0') == std::string_view::npos);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (!size) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0]) {
    case 'u':
        checkUdev(text);
        break;
    case 'm':
        checkMounts(text);
        break;
    case 's':
        checkSwaps(text);
        break;
    case 'e':
        checkUevent(text);
        break;
    case 'p':
        if (const auto maps = parseMultipathMaps(text))
            for (auto& map : *maps) check(!map.device.empty());
        break;
    case 'g':
        if (const auto groups = parseVolumeGroups(text))
            for (auto& group : *groups) check(!group.name.empty());
        break;
    default:
        break;
    }
    return 0;
}
