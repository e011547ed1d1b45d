// The lines of /proc/diskstats; a second way of counting words says which of them are devices.
#include "base/words.h"
#include "classic/collect/disk.h"
#include "fuzz/check.h"

#include <cstdint>

static int countWords(std::string_view line) {
    int count = 0;
    for (;; count++) {
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        if (line.empty()) return count;
        line.remove_prefix(std::min(line.find(' '), line.size()));
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    Lines lines(text, 1024);
    TDisk disk;
    for (std::string_view line; lines.next(line);) {
        disk.rxfers = disk.wxfers = -1;
        const int count = countWords(line);
        if (getDiskLine(line, disk)) {
            check(count == 7 || count == 14);
            check(disk.rxfers + disk.wxfers > 0 && !disk.name.empty() && disk.name.view().find(' ') == line.npos);
            check(line.find(disk.name) != line.npos);
        } else {
            check(disk.rxfers == -1);
        }
    }
    return 0;
}
