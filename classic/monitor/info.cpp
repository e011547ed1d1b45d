#include "classic/collect/info.h"

#include "base/door.h"
#include "base/output.h"
#include "classic/monitor/format.h"
#include "classic/monitor/options.h"
#include "classic/monitor/records.h"
#include "classic/monitor/reports.h"

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
    if (netifrowcount == 0) dispnetif(0, 0, 1); // the interfaces belong to the block when no report lists them
}

// --- The same as records

namespace {
struct THost {
    const TSystemInfo& info;
    const TNow& now;
};
// A fact is a record of its own, with up to four values.
struct TFact {
    std::string_view tag;
    TField<THost> fields[4];
    size_t count = 1;
    TRecord<THost> record() const { return {tag, std::span(fields).first(count)}; }
};
} // namespace

template <auto Field> static TValue fact(const THost& h) {
    if constexpr (requires { (h.info.*Field).view(); }) return (h.info.*Field).view();
    else return h.info.*Field;
}
template <auto Field> static TValue now(const THost& h) {
    if constexpr (requires { (h.now.*Field).view(); }) return (h.now.*Field).view();
    else return h.now.*Field;
}

static constexpr TFact Facts[] = {
    {"info,Start", {{{"banner", Form::Text, ""}, [](const THost&) -> TValue { return std::string_view(Banner); }}}},
    {"info,Program", {{{"program", Form::Text, ""}, [](const THost&) -> TValue { return std::string_view("wyrt"); }}}},
    {"info,Version", {{{"version", Form::Text, ""}, [](const THost&) -> TValue { return std::string_view(Version); }}}},
    {"info,Hostname", {{{"hostname", Form::Text, ""}, fact<&TSystemInfo::hostname>}}},
    {"info,OS", {{{"os", Form::Text, ""}, fact<&TSystemInfo::os>}}},
    {"info,Distributor", {{{"distributor", Form::Text, ""}, fact<&TSystemInfo::lx_distributor>}}},
    {"info,Description", {{{"description", Form::Text, ""}, fact<&TSystemInfo::lx_description>}}},
    {"info,Release", {{{"release", Form::Text, ""}, fact<&TSystemInfo::lx_release>}}},
    {"info,Model", {{{"model", Form::Text, ""}, fact<&TSystemInfo::model>}}},
    {"info,Serial", {{{"serial", Form::Text, ""}, fact<&TSystemInfo::sn>}}},
    {"info,Logical Core", {{{"cores", Form::Int, ""}, fact<&TSystemInfo::lcpucount>}}},
    {"info,Clock(MHz)", {{{"clock", Form::Long, "MHz"}, fact<&TSystemInfo::clockMHz>}}},
    {"info,CPU Model", {{{"cpumodel", Form::Text, ""}, fact<&TSystemInfo::cpumodel>}}},
    {"info,H/T", {{{"ht", Form::Letter, ""}, [](const THost& h) -> TValue { return hyperThreads(h.info); }}}},
    {"info,Sibling/Core", {{{"siblings", Form::Int, ""}, fact<&TSystemInfo::HTmode>}}},
    {"info,Memory(MB)", {{{"memory", Form::Long, "MB"}, fact<&TSystemInfo::memoryMB>}}},
    {"info,Swap(MB)", {{{"swap", Form::Long, "MB"}, fact<&TSystemInfo::swapMB>}}},
    {"info,Current Time",
     {{{"date", Form::Text, ""}, now<&TNow::date>}, {{"seconds", Form::Int, "s"}, now<&TNow::now>}},
     2},
    {"info,Boot Time",
     {{{"date", Form::Text, ""}, now<&TNow::bootDate>}, {{"seconds", Form::Long, "s"}, fact<&TSystemInfo::boottime>}},
     2},
    {"info,Uptime",
     {{{"days", Form::Int, ""}, now<&TNow::days>},
      {{"hours", Form::Two, ""}, now<&TNow::hours>},
      {{"minutes", Form::Two, ""}, now<&TNow::minutes>},
      {{"seconds", Form::Two, ""}, now<&TNow::seconds>}},
     4},
    {"info,TimeZone", {{{"zone", Form::Int, "hours"}, now<&TNow::zone>}}},
    {"info,Page Size", {{{"pagesize", Form::Int, "bytes"}, fact<&TSystemInfo::pagesize>}}},
    {"info,ClockTick", {{{"clocktick", Form::Int, "/s"}, fact<&TSystemInfo::clocktick>}}},
};

void tellSystemInfoRecords(TRecordList& list) {
    for (auto& known : Facts) tellRecord(known.record(), list);
}

void dispSystemInfoRecords(const TSystemInfo& info) {
    const TNow t = getNow(info);
    for (auto& known : Facts) dispRecord(known.record(), {info, t});
}
