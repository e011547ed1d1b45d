#include "classic/monitor/loop.h"

#include "base/door.h"
#include "base/output.h"
#include "base/words.h"
#include "classic/collect/flushed.h"
#include "classic/collect/info.h"
#include "classic/collect/slots.h"
#include "classic/monitor/options.h"
#include "classic/monitor/probes.h"
#include "classic/monitor/report.h"
#include "classic/monitor/reports.h"
#include "record/classic/interval.h"

#include <algorithm>
#include <utility>

namespace {
// The state of the run. Two samples change places after every pass.
struct TPass {
    int64_t timeindex = 0; // number of the pass; 0 only takes the first samples
    int icur = 0, ipre = 1;
    TStamp stamp;         // when this pass began
    double rtime[2] = {}; // when the pass that filled each slot began, seconds since the epoch
    int index() const { return static_cast<int>(timeindex); }
};

struct TRatio {
    int percent;
    double elapsed;
    unsigned pause;
};
} // namespace

// --- Start-up

static bool anyReport(const TRun& run) {
    return procrowcount || portrowcount || netifrowcount || diskrowcount || ShowBasic || run.ShowFSDelta ||
           run.ShowProtocolDelta || EachCoreCount;
}

static bool anyListing() { return ShowProcess || AllFDList || AllSocketList; }

// Names the fields of the records, whether or not their reports are on.
static void dispHeaders(const TRun& run) {
    dispBasicHeader();
    dispPortHeaders();
    dispNetifHeader();
    dispDiskHeader();
    if (run.ShowProtocolDelta == 1) dispProtocolHeaders();
    dispProcHeaders();
}

static void startUp(const TRun& run) {
    TSystemInfo info;
    getsysteminfo(info);
    g_boottime = info.boottime;
    pagesize = info.pagesize;
    clocktick = info.clocktick;
    // Quirk: without options the block is missing, because the basic report is switched on only below; with disks that
    // cannot be read it is printed, because they are switched off only below. Seen by tests/worlds/frame-no-options,
    // probes-no-disks.
    if (!shooting && (ShowSysInfo || anyReport(run))) dispSystemInfo(info);
    probeKernel();
    // Builds and prints the volume map, no more.
    // Quirk: as a table in log saving mode, too, because ShowDiskInfo is set only below. Seen by
    // tests/worlds/disk-map-only-log.
    if (ShowLVMInfo && diskrowcount == 0) dispdisk(0, 0, 1);
    if (anyListing()) dispStartListing(run.CommandLength, run.PortRefLength);
    if (!anyReport(run) && !ShowSysInfo && !ShowLVMInfo && !anyListing()) {
        ShowBasic = 1;
        sayText("Basic performance items is turned on because of no items specified.\n");
    }
    if (shooting) {
        dispSystemInfoRecords(info);
        dispHeaders(run);
        ShowDiskInfo = 2;
    }
}

// --- One pass

static int64_t seconds(const TPass& pass) { return pass.stamp.seconds; }
static int millis(const TPass& pass) { return pass.stamp.millis; }
static Text<64> timeText(const TPass& pass) { return GetTimeString(pass.stamp.seconds); }

static constexpr auto TimeRecord = recordOf<classic::TimeKind, TPass, seconds, &TPass::timeindex, timeText, millis>;
static constexpr auto EndRecord = recordOf<classic::EndKind, TNothing>;

static void dispTime(const TRun& run, const TPass& pass) {
    // Quirk: -H does not remove the records. Seen by tests/worlds/basic-records-header-off.
    if (shooting) return dispRecord(TimeRecord, pass);
    if (run.ShowHeader != 1) return;
    sayText("------------------------------------------------------------------------------------------\n");
    // Quirk: the seconds have 32 bits. Seen by tests/worlds/frame-clock-beyond-32-bits.
    say("TIME : %s.%03d [%d/#%d]\n", GetTimeString(pass.stamp.seconds).c_str(), pass.stamp.millis,
        static_cast<int>(pass.stamp.seconds), pass.index());
}

// The port report runs between the two calls of the process report, so that socket descriptors can show their sockets.
// Quirk: the port report starts with pass 1 if processes are on, else with pass 0. Seen by
// tests/worlds/port-without-processes.
static void dispProcessesAndPorts(const TRun& run, const TPass& pass) {
    const auto processes = [&](int nMode) {
        dispproc(pass.index(), pass.icur, pass.ipre, run.CPUThreshold, run.TPUThreshold, run.RSSThreshold,
                 run.CommandLength, nMode);
    };
    if (procrowcount > 0) {
        processes(0);
        if (pass.timeindex > 0 && portrowcount > 0)
            dispport(pass.index(), pass.icur, pass.ipre, currentProcesses(pass.icur), run.PortRefLength);
        processes(1);
    } else if (portrowcount > 0) {
        dispport(pass.index(), pass.icur, pass.ipre, nullptr, run.PortRefLength);
    }
}

static void dispReports(const TRun& run, const TPass& pass) {
    if (ShowBasic == 1 || EachCoreCount > 0) dispbasic(pass.index(), pass.icur, pass.ipre);
    dispProcessesAndPorts(run, pass);
    if (netifrowcount > 0) dispnetif(pass.index(), pass.icur, pass.ipre);
    if (diskrowcount > 0) dispdisk(pass.index(), pass.icur, pass.ipre);
    if (run.ShowProtocolDelta > 0) disptcpext(pass.index(), pass.icur, pass.ipre);
    if (run.ShowFSDelta > 0) dispfs(pass.index(), pass.icur, pass.ipre);
}

static void dispPass(const TRun& run, const TPass& pass) {
    if (pass.timeindex > 0) dispTime(run, pass);
    // Without memory the rest of this interval is lost; in the next one there may be memory again.
    enoughMemory([&] { dispReports(run, pass); });
    if (!shooting) sayText("\n");
    else if (pass.timeindex > 0) dispRecord(EndRecord, {});
}

// --- The pause

static constexpr auto PauseRecord =
    recordOf<classic::PauseKind, TRatio, &TRatio::percent, &TRatio::elapsed, &TRatio::pause>;

// Quirk: the pause is compared as unsigned, so a share above 100 % gives the longest pause instead of the shortest.
// Seen by tests/worlds/ratio-above-100.
unsigned getRatioPause(double elapsed, int percent) {
    constexpr unsigned Least = 100000, Most = 10000000; // microseconds
    const auto pause = static_cast<unsigned>(toLong(1000000.0 * (elapsed * 100.0 / percent - elapsed)));
    return pause < Least ? Least : std::min(pause, Most);
}

static void rest(const TRun& run, const TPass& pass) {
    if (run.RatioInterval <= 0) return pauseFlushed(static_cast<unsigned>(run.interval));
    // Quirk: the time that a volume map took before the loop is subtracted from the first pass, although that pass did
    // not build it. Seen by tests/worlds/ratio-map-at-start.
    TRatio ratio{run.RatioInterval, getClock().value() - pass.rtime[pass.icur] - time4mapping - time4ip, 0};
    ratio.pause = getRatioPause(ratio.elapsed, ratio.percent);
    time4ip = time4mapping = 0;
    if (shooting) dispRecord(PauseRecord, ratio);
    pauseFlushed(ratio.pause);
}

static void loop(const TRun& run) {
    TPass pass;
    pass.rtime[pass.ipre] = getClock().value();
    while (anyReport(run)) {
        tzset(); // the host's time zone may have changed, and localtime_r alone does not notice
        pass.stamp = getClock();
        pass.rtime[pass.icur] = pass.stamp.value();
        timediff = pass.rtime[pass.icur] - pass.rtime[pass.ipre];
        dispPass(run, pass);
        if (++pass.timeindex > run.lasttimeindex) break;
        rest(run, pass);
        std::swap(pass.icur, pass.ipre);
    }
}

int monitor(int argc, char** argv) {
    say("%s\nVersion : %s\n", Banner, Version);
    const TRun run = getOptions(argc, argv);
    if (run.help) {
        dispUsage(argv[0]);
    } else {
        startUp(run);
        loop(run);
        sayText("Complete\n");
    }
    flushOutput();
    return 0;
}
