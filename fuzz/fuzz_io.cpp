// The io file of a process or thread.
#include "classic/collect/proclines.h"
#include "fuzz/check.h"
#include "parse/io.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const IO io = parseIO(text);
    check(io.rchar == 0 || text.find("rchar: ") != text.npos);
    check(io.write_bytes == 0 || text.find("write_bytes: ") != text.npos);
    TCounters counters;
    getIO(text, counters);
    check(counters.rchar == static_cast<double>(io.rchar) && counters.wbytes == static_cast<double>(io.write_bytes));
    return 0;
}
