#include "collect/info.h"

#include "collect/output.h"
#include "collect/system.h"
#include "monitor/format.h"
#include "monitor/options.h"
#include "monitor/reports.h"

const char* const Banner = "wyrt - what a Linux host does, interval by interval";

namespace {
// What is derived at the time of printing.
struct TNow {
    int64_t now = 0;
    Text<64> date, bootDate;
    int days = 0, hours = 0, minutes = 0, seconds = 0; // since boot
    int zone = 0;                                      // hours east of UTC, without summer time
};
} // namespace

// "mm/dd/yyyy hh:mm:ss"; empty when the C library cannot represent it.
static Text<64> getDate(time_t time) {
    std::tm local{};
    if (!localtime_r(&time, &local)) return {};
    return Text<64>().addf("%02d/%02d/%04d %02d:%02d:%02d", local.tm_mon + 1, local.tm_mday, local.tm_year + 1900,
                           local.tm_hour, local.tm_min, local.tm_sec);
}

static TNow getNow(const TSystemInfo& info) {
    TNow t;
    t.now = getClock().seconds;
    tzset();
    t.date = getDate(t.now);
    t.bootDate = getDate(info.boottime);
    const int64_t uptime = t.now - info.boottime;
    t.days = static_cast<int>(uptime / 86400);
    t.hours = static_cast<int>(uptime % 86400 / 3600);
    t.minutes = static_cast<int>(uptime % 3600 / 60);
    t.seconds = static_cast<int>(uptime % 60);
    t.zone = -static_cast<int>(timezone / 3600); // behind the dates: where the zone's hours changed, they set it
    return t;
}

static const char* hyperThreads(const TSystemInfo& info) { return info.HTmode > 1 ? "Y" : "N"; }

void dispSystemInfo(const TSystemInfo& info) {
    const TNow t = getNow(info);
    say("\n      Program      : wyrt\n");
    say("      Version      : %s\n", Version);
    say("      Hostname     : %s\n", info.hostname.c_str());
    say("      OS           : %s\n", info.os.c_str());
    say("      Distributor  : %s\n", info.lx_distributor.c_str());
    say("      Description  : %s\n", info.lx_description.c_str());
    say("      Release      : %s\n", info.lx_release.c_str());
    say("      Model        : %s\n", info.model.c_str());
    say("      Serial       : %s\n", info.sn.c_str());
    say("      Logical Core : %d\n", info.lcpucount);
    say("      Clock(MHz)   : %lld\n", static_cast<long long>(info.clockMHz));
    say("      CPU Model    : %s\n", info.cpumodel.c_str());
    say("      H/T          : %s\n", hyperThreads(info));
    say("      Sibling/Core : %d\n", info.HTmode);
    say("      Memory(MB)   : %lld\n", static_cast<long long>(info.memoryMB));
    say("      Swap(MB)     : %lld\n", static_cast<long long>(info.swapMB));
    say("      CurrentTime  : %s, %d\n", t.date.c_str(), static_cast<int>(t.now));
    say("      Boot Time    : %s, %lld\n", t.bootDate.c_str(), static_cast<long long>(info.boottime));
    say("      Uptime       : %d day(s) %02d:%02d:%02d\n", t.days, t.hours, t.minutes, t.seconds);
    say("      Timezone     : %d hour(s)\n", t.zone);
    say("      PageSize     : %d\n", info.pagesize);
    say("      ClockTick    : %d\n\n", info.clocktick);
    if (netifrowcount == 0) dispnetif(0, 0, 1); // the interfaces belong to the block when no report lists them
}

void dispSystemInfoRecords(const TSystemInfo& info) {
    const TNow t = getNow(info);
    say("^info,Start,%s$\n", Banner);
    say("^info,Program,wyrt$\n");
    say("^info,Version,%s$\n", Version);
    say("^info,Hostname,%s$\n", info.hostname.c_str());
    say("^info,OS,%s$\n", info.os.c_str());
    say("^info,Distributor,%s$\n", info.lx_distributor.c_str());
    say("^info,Description,%s$\n", info.lx_description.c_str());
    say("^info,Release,%s$\n", info.lx_release.c_str());
    say("^info,Model,%s$\n", info.model.c_str());
    say("^info,Serial,%s$\n", info.sn.c_str());
    say("^info,Logical Core,%d$\n", info.lcpucount);
    say("^info,Clock(MHz),%lld$\n", static_cast<long long>(info.clockMHz));
    say("^info,CPU Model,%s$\n", info.cpumodel.c_str());
    say("^info,H/T,%s$\n", hyperThreads(info));
    say("^info,Sibling/Core,%d$\n", info.HTmode);
    say("^info,Memory(MB),%lld$\n", static_cast<long long>(info.memoryMB));
    say("^info,Swap(MB),%lld$\n", static_cast<long long>(info.swapMB));
    say("^info,Current Time,%s,%d$\n", t.date.c_str(), static_cast<int>(t.now));
    say("^info,Boot Time,%s,%lld$\n", t.bootDate.c_str(), static_cast<long long>(info.boottime));
    say("^info,Uptime,%d,%02d,%02d,%02d$\n", t.days, t.hours, t.minutes, t.seconds);
    say("^info,TimeZone,%d$\n", t.zone);
    say("^info,Page Size,%d$\n", info.pagesize);
    say("^info,ClockTick,%d$\n", info.clocktick);
}
