// The output of multipath -ll, with physical volumes whose names occur in it.
#include "classic/collect/volumes.h"
#include "fuzz/check.h"

#include <cstdint>

static int firstVolume(const TMultipath& device) {
    for (size_t i = 0; i < pvlist.size(); i++)
        if (pvlist[i].lastname.view() == device.name.view() || pvlist[i].lastname.view() == device.alias.view())
            return static_cast<int>(i);
    return NoLink;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view report(reinterpret_cast<const char*>(data), size);
    pathlist.clear();
    pvlist.clear();
    for (auto name : {"mpatha", "dm-1", "-", "dm-0", "mpathb", "", "dm-1"}) pvlist.emplace_back().lastname = name;
    getMultipaths(report);
    for (auto& device : pathlist) {
        check(device.name.view().starts_with("dm-"));
        check(device.pv == firstVolume(device));
        check(device.desc.size() < 255 && device.desc.view().find_first_of(" \t") == std::string_view::npos);
        int group = -1;
        for (auto& member : device.disk) {
            check(member.pathindex >= group);
            check(member.pathindex >= 0 || member.pathstate.view() == "-");
            check(member.pathstate.size() <= 64);
            group = member.pathindex;
        }
    }
    return 0;
}
