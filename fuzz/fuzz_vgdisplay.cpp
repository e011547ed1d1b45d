// What vgdisplay prints.
#include "collect/volumes.h"

#include <cstdint>
#include <cstdlib>

static void check(bool good) {
    if (!good) abort();
}

// Every text is a piece of the report's end of a line, or empty: nothing comes from elsewhere.
static bool isFrom(std::string_view report, std::string_view text) { return report.find(text) != report.npos; }

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
