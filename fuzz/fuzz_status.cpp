// The status file of a process.
#include "classic/collect/proclines.h"
#include "fuzz/check.h"
#include "parse/status.h"
#include "tests/unit/made.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Made machine("user 0 root\nuser 1000 alice\n");
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const Status status = parseStatus(text);
    check(!status.vm_rss_kb || text.find("VmRSS") != text.npos);
    check(!status.threads || text.find("Threads") != text.npos);
    TProc p;
    getStatus(text, p);
    check(p.VmRSS == static_cast<double>(status.vm_rss_kb.value_or(0)));
    check(p.user.empty() == !status.uid);
    return 0;
}
