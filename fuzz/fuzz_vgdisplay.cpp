// What vgdisplay prints.
#include "classic/collect/volumes.h"
#include "fuzz/check.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view report(reinterpret_cast<const char*>(data), size);
    vglist.clear();
    getVolumeGroups(report);
    for (auto& v : vglist)
        for (std::string_view text : {v.name.view(), v.format.view(), v.access.view(), v.status.view(), v.vgsize.view(),
                                      v.pesize.view(), v.allocsize.view(), v.freesize.view(), v.uuid.view()})
            check(isFrom(report, text));
    return 0;
}
