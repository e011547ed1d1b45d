// The status file of a process.
#include "classic/collect/proclines.h"
#include "tests/unit/made.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Made machine("user 0 root\nuser 1000 alice\n");
    TProc p;
    getStatus(std::string_view(reinterpret_cast<const char*>(data), size), p);
    return 0;
}
