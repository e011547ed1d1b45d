// The log that an input is, for what reads logs.
#pragma once

#include "base/outfile.h"
#include "fuzz/check.h"
#include "tests/mended.h"
#include "tests/unit/made.h"

#include <cstdint>

// Makes the file /log.wyrt, alone on the machine, of what follows the first byte. With an odd first byte, lengths and
// checksums are mended first, so that more of the log is whole.
inline void giveLog(const uint8_t* data, size_t size) {
    World::current->devices.files.clear(); // those of the input before
    const std::string_view given(reinterpret_cast<const char*>(data) + 1, size - 1);
    OutFile file;
    check(file.open("/log.wyrt", OutFile::How::New) && file.write(data[0] % 2 ? mended(given) : std::string(given)));
}
