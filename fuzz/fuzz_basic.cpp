// The lines of /proc/stat, /proc/meminfo and /proc/vmstat; core lines are compared with scanf.
#include "base/words.h"
#include "classic/collect/basic.h"
#include "fuzz/check.h"
#include "parse/core.h"
#include "parse/meminfo.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>

static void checkCore(const std::string& line, const std::vector<TCPU>& cpu) {
    int id = 0;
    int64_t v[10] = {};
    const int items = std::sscanf(line.c_str(),
                                  "cpu%d %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64
                                  " %" SCNd64 " %" SCNd64 " %" SCNd64 " %" SCNd64,
                                  &id, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7], &v[8], &v[9]);
    Core core;
    check(parseCore(line, core) == (items > 7));
    check(cpu.size() == (items > 7 ? 1U : 0U));
    if (cpu.empty()) return;
    const int64_t parsed[] = {core.user, core.nice,    core.system, core.idle,  core.iowait,
                              core.irq,  core.softirq, core.steal,  core.guest, core.guest_nice};
    check(core.id == id && std::equal(std::begin(parsed), std::end(parsed), v));
    const auto& c = cpu[0];
    check(c.id == id);
    const double read[] = {c.usr, c.nice, c.sys, c.idle, c.iowait, c.irq, c.softirq};
    for (size_t i = 0; i < std::size(read); i++) check(read[i] == static_cast<double>(v[i]));
    check(c.steal == 0 && c.guest == 0 && c.guest_nice == 0); // the first row of a machine
}

static bool isSystemLine(std::string_view line) {
    for (auto key : {"cpu ", "ctxt ", "intr ", "processes ", "procs_running ", "procs_blocked "})
        if (line.starts_with(key)) return true;
    return false;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    TBasic basic;
    std::vector<TCPU> all;
    Lines lines(text, 1024);
    for (std::string_view line; lines.next(line);) {
        std::vector<TCPU> one;
        getStatLine(line, basic, one);
        if (!isSystemLine(line)) checkCore(std::string(line), one);
        getStatLine(line, basic, all);
        getVmLine(line, basic);
    }
    const MemoryKB memory = parseMeminfo(text);
    check(memory.mem_total_kb == 0 || text.find("MemTotal:") != text.npos);
    check(memory.swap_cached_kb == 0 || text.find("SwapCached:") != text.npos);
    return 0;
}
