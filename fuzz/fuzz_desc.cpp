// A file in which an application describes a thread.
#include "classic/monitor/proc.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (readDescription(text, 1700000000).size() > 62) abort();
    if (size == 0 && readDescriptionTime(text) != 0) abort();
    readDescriptionTime(text);
    return 0;
}
