#include "classic/collect/info.h"

#include "base/door.h"
#include "base/output.h"
#include "classic/monitor/format.h"
#include "classic/monitor/options.h"
#include "classic/monitor/report.h"
#include "classic/monitor/reports.h"
#include "record/classic/host.h"

const char* const Banner = "wyrt - what a Linux host does, interval by interval";

namespace {
// What is computed when the facts are printed.
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
    // After the dates: localtime_r sets `timezone` where the zone's hours changed over the years.
    // Quirk: standard time, in whole hours rounded toward zero. Seen by tests/worlds/frame-time-zone-summer,
    // environment-zone-half-hour-west.
    t.zone = -static_cast<int>(timezone / 3600);
    return t;
}

static char hyperThreads(const TSystemInfo& info) { return info.HTmode > 1 ? 'Y' : 'N'; }

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
    say("      H/T          : %c\n", hyperThreads(info));
    say("      Sibling/Core : %d\n", info.HTmode);
    say("      Memory(MB)   : %lld\n", static_cast<long long>(info.memoryMB));
    say("      Swap(MB)     : %lld\n", static_cast<long long>(info.swapMB));
    say("      CurrentTime  : %s, %d\n", t.date.c_str(), static_cast<int>(t.now));
    say("      Boot Time    : %s, %lld\n", t.bootDate.c_str(), static_cast<long long>(info.boottime));
    say("      Uptime       : %d day(s) %02d:%02d:%02d\n", t.days, t.hours, t.minutes, t.seconds);
    say("      Timezone     : %d hour(s)\n", t.zone);
    say("      PageSize     : %d\n", info.pagesize);
    say("      ClockTick    : %d\n\n", info.clocktick);
    if (netifrowcount == 0) dispnetif(0, 0, 1); // if no report lists the interfaces, this block does
}

// --- The same as records

namespace {
struct THost {
    const TSystemInfo& info;
    const TNow& now;
};
} // namespace

static const TSystemInfo& info(const THost& h) { return h.info; }
static const TNow& now(const THost& h) { return h.now; }

static constexpr TRecord<THost> Facts[] = {
    recordOf<classic::StartKind, THost, [](const THost&) { return Banner; }>,
    recordOf<classic::ProgramKind, THost, [](const THost&) { return "wyrt"; }>,
    recordOf<classic::VersionKind, THost, [](const THost&) { return Version; }>,
    recordOf<classic::HostnameKind, THost, in<info, &TSystemInfo::hostname>>,
    recordOf<classic::OSKind, THost, in<info, &TSystemInfo::os>>,
    recordOf<classic::DistributorKind, THost, in<info, &TSystemInfo::lx_distributor>>,
    recordOf<classic::DescriptionKind, THost, in<info, &TSystemInfo::lx_description>>,
    recordOf<classic::ReleaseKind, THost, in<info, &TSystemInfo::lx_release>>,
    recordOf<classic::ModelKind, THost, in<info, &TSystemInfo::model>>,
    recordOf<classic::SerialKind, THost, in<info, &TSystemInfo::sn>>,
    recordOf<classic::LogicalCoreKind, THost, in<info, &TSystemInfo::lcpucount>>,
    recordOf<classic::ClockKind, THost, in<info, &TSystemInfo::clockMHz>>,
    recordOf<classic::CPUModelKind, THost, in<info, &TSystemInfo::cpumodel>>,
    recordOf<classic::HyperThreadsKind, THost, in<info, hyperThreads>>,
    recordOf<classic::SiblingsKind, THost, in<info, &TSystemInfo::HTmode>>,
    recordOf<classic::MemoryKind, THost, in<info, &TSystemInfo::memoryMB>>,
    recordOf<classic::SwapKind, THost, in<info, &TSystemInfo::swapMB>>,
    recordOf<classic::CurrentTimeKind, THost, in<now, &TNow::date>, in<now, &TNow::now>>,
    recordOf<classic::BootTimeKind, THost, in<now, &TNow::bootDate>, in<info, &TSystemInfo::boottime>>,
    recordOf<classic::UptimeKind, THost, in<now, &TNow::days>, in<now, &TNow::hours>, in<now, &TNow::minutes>,
             in<now, &TNow::seconds>>,
    recordOf<classic::TimeZoneKind, THost, in<now, &TNow::zone>>,
    recordOf<classic::PageSizeKind, THost, in<info, &TSystemInfo::pagesize>>,
    recordOf<classic::ClockTickKind, THost, in<info, &TSystemInfo::clocktick>>,
};

void dispSystemInfoRecords(const TSystemInfo& info) {
    const TNow t = getNow(info);
    for (auto& fact : Facts) dispRecord(fact, {info, t});
}
