// What pvdisplay -m prints.
#include "classic/collect/volumes.h"
#include "fuzz/check.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view report(reinterpret_cast<const char*>(data), size);
    pvlist.clear();
    getPhysicalVolumes(report);
    // Every text but a size joined with its unit is a piece of the report.
    for (auto& v : pvlist) {
        for (std::string_view text : {v.name.view(), v.lastname.view(), v.vgname.view(), v.pvsize.view(),
                                      v.notusable.view(), v.allocatable.view(), v.uuid.view()})
            check(isFrom(report, text));
        check(!v.lastname.empty());
        for (auto& seg : v.seg) check(isFrom(report, seg.name) && seg.type.empty());
    }
    return 0;
}
