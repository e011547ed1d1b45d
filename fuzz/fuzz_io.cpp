// The io file of a process or thread.
#include "classic/collect/proclines.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    TCounters counters;
    getIO(std::string_view(reinterpret_cast<const char*>(data), size), counters);
    return 0;
}
