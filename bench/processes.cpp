// Measures what a sample of the processes costs the new form, compared with a bare reader of stat, status, io and
// cmdline of each, and with one sample of `top -b`.
//
//     bench-processes [AREA...]      idle, few, busy
#include "bench/bare.h"
#include "bench/load.h"
#include "bench/measure.h"
#include "model/proc.h"

#include <cstdlib>
#include <string>

#include <sys/resource.h>

namespace {
struct Busyness {
    TArea area;
    long (*busy)(long processes);
    double top; // of one sample of top, the highest ratio; 0: none is asked for
};
// A sample and its rows, kept as the program's loop keeps them.
struct Pass {
    Helper helper;
    ProcSampler sampler{Root(), helper};
    ProcSample sample;
    Rows<ProcsRow> all;
    Rows<ProcRow> processes;
    Rows<StartRow> starts;
    Rows<ExitRow> exits;
    void run() {
        all.clear(), processes.clear(), starts.clear(), exits.clear();
        sampler.sample(sample);
        processRows(sample, false, all, processes, starts, exits);
    }
};
} // namespace

static const Busyness Kinds[] = {
    {{"idle", "`proc`, all processes idle", {50, 500, 5000}, {{TAim::Ratio, 2, 0.04}, {TAim::MB, 2, 16}}},
     [](long) { return 0L; },
     0.05},
    {{"few", "`proc`, 5 % of them active", {50, 500, 5000}, {{TAim::Ratio, 2, 0.09}, {TAim::MB, 2, 16}}},
     [](long processes) { return processes / 20; },
     0},
    {{"busy", "`proc`, all of them active", {50, 500, 5000}, {{TAim::Ratio, 2, 0.60}, {TAim::MB, 2, 16}}},
     [](long processes) { return processes; },
     0},
};

// CPU time of the commands that have ended, ms.
static double commandsCpu() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto millis = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_usec) / 1e3;
    };
    return millis(usage.ru_utime) + millis(usage.ru_stime);
}

static double cpuOf(const char* command) {
    const double before = commandsCpu();
    return system(command) == 0 ? commandsCpu() - before : 0;
}

// The least of several.
static double sampleOfTop() {
    double least = 0;
    for (int round = 0; round < 3; round++) {
        const double one = cpuOf("top -b -d 0.2 -n 1 >/dev/null 2>&1"),
                     more = cpuOf("top -b -d 0.2 -n 6 >/dev/null 2>&1");
        const double sample = (more - one) / 5;
        if (one > 0 && sample > 0 && (least == 0 || sample < least)) least = sample;
    }
    return least;
}

int main(int argc, char** argv) {
    keepOutput();
    showHead();
    bool met = true;
    std::string beside;
    for (const auto& kind : Kinds) {
        if (!selected(argc, argv, kind.area.name)) continue;
        met &= showArea(kind.area, [&](long size) {
            const Load load(argv[0],
                            "--processes " + std::to_string(size) + " --busy " + std::to_string(kind.busy(size)));
            auto* pass = new Pass; // made before the process that measures, and gone with it
            const auto cost = runLeast([&] { pass->run(); }, [] { bareSample(false, false); }, 700);
            delete pass;
            if (kind.top == 0 || size != kind.area.sizes.back()) return cost;
            const double top = sampleOfTop();
            char line[200];
            snprintf(line, sizeof line, "%.*s, %ld: %.2f ms; `top -b` %.1f ms: ratio %.3f, aim %.2f: %s\n",
                     static_cast<int>(kind.area.what.size()), kind.area.what.data(), size, cost.ours, top,
                     cost.ours / top, kind.top, cost.ours <= kind.top * top ? "met" : "MISSED");
            if (top > 0) beside += line, met &= cost.ours <= kind.top * top;
            else beside += "`top` is not installed\n";
            return cost;
        });
    }
    show("\n%s", beside.c_str());
    return met ? 0 : 1;
}
