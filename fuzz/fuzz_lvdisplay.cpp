// What lvdisplay -m prints.
#include "classic/collect/volumes.h"
#include "fuzz/check.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view report(reinterpret_cast<const char*>(data), size);
    lvlist.clear();
    getLogicalVolumes(report);
    for (auto& v : lvlist) {
        for (std::string_view text :
             {v.path.view(), v.name.view(), v.vgname.view(), v.uuid.view(), v.waccess.view(), v.status.view(),
              v.lvsize.view(), v.allocation.view(), v.RHS.view(), v.curRHS.view()})
            check(isFrom(report, text));
        check(v.fsname.empty() || v.fsname.size() == v.vgname.size() + 1 + v.name.size());
        for (auto& seg : v.seg) check(isFrom(report, seg.name) && isFrom(report, seg.type));
    }
    return 0;
}
