// A mount table, read by the C library, with filesystems whose sizes come from the same bytes.
#include "classic/collect/fs.h"
#include "classic/collect/voltext.h"
#include "fuzz/check.h"

#include <cstdio>
#include <cstring>

static TSpace spaceOf(const uint8_t* data, size_t size) {
    uint64_t numbers[6] = {};
    memcpy(numbers, data, size < sizeof numbers ? size : sizeof numbers);
    return {static_cast<long>(numbers[0]), numbers[1], numbers[2], numbers[3], numbers[4], numbers[5]};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::unique_ptr<FILE, Closer<endmntent>> table(fmemopen(const_cast<uint8_t*>(data), size, "r"));
    for (const mntent* entry; (entry = getmntent(table.get()));) {
        TFS fs;
        check(getFilesystem(*entry, spaceOf(data, size), fs) == (fs.totalsize > 0));
        check(fs.totalsize >= 0 && fs.freesize >= 0 && fs.availsize >= 0 && fs.totalinode >= 0 && fs.freeinode >= 0);
        const auto name = getnameonly(fs.dev);
        check(fs.dev.view().ends_with(name) &&
              name.substr(0, name.size() - (name.empty() ? 0 : 1)).find('/') == name.npos);
    }
    return 0;
}
