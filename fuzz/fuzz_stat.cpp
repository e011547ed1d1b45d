// The stat file of a process and of a thread.
#include "classic/collect/proclines.h"
#include "classic/collect/settings.h"
#include "fuzz/check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    clocktick = 100, pagesize = 4096, g_boottime = 1700000000;
    const TStatLine line(std::string_view(reinterpret_cast<const char*>(data), size));
    check(line.count() >= 1 && line.count() <= 60);
    TProc p;
    TThreadInfo t;
    const bool isProcess = getStat(line, p), isThread = getThreadStat(line, t);
    check(isProcess || !isThread);
    check(!isThread || (p.pid == t.threadid && p.usr == t.usr && p.STime == t.STime));
    check(p.cmd.view().find(' ') == std::string_view::npos);
    return 0;
}
