// The text of /proc/PID/fdinfo/FD.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr size_t FDInfoLineLimit = 63; // of a line at most 62 bytes are read

struct FDInfo {
    int64_t pos = 0;        // file position, bytes
    std::string_view flags; // the rest of the line "flags:", where the kernel prints the open flags as octal digits
};

// Looks at the first two lines, which are "pos:	1024" and "flags:	0100002" in every kernel.
FDInfo parseFDInfo(std::string_view text);
