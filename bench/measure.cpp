#include "bench/measure.h"

#include "base/output.h"
#include "bench/words.h"
#include "classic/monitor/loop.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <ctime>

#include <csignal>
#include <fcntl.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// --- Time and memory

static double millis(clockid_t id) {
    timespec now{};
    clock_gettime(id, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

static double cpuMillis() { return millis(CLOCK_PROCESS_CPUTIME_ID); }

static double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

static double wallMillis(const std::function<void()>& work) {
    const double start = millis(CLOCK_MONOTONIC);
    work();
    return millis(CLOCK_MONOTONIC) - start;
}

TWalls getWalls(const std::function<void()>& one, const std::function<void()>& other, int times) {
    std::vector<double> ones, others;
    for (int i = 0; i < times; i++) {
        ones.push_back(wallMillis(one));
        others.push_back(wallMillis(other));
    }
    return {median(ones), median(others)};
}

double getCPU(const std::function<void()>& work, int times) {
    std::vector<double> costs;
    for (int i = 0; i < times; i++) {
        const double start = cpuMillis();
        work();
        costs.push_back(cpuMillis() - start);
    }
    return median(costs);
}

// The peak of this process's resident memory, bytes.
static double peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024;
}

// --- The meter

static constexpr unsigned Pause = 5; // ms

namespace {
struct TMeter {
    std::function<void()> bare;
    Files files = Files::MadeUp;
    TPasses passes;
    size_t seen = 0; // pauses
    double mark = 0; // CPU time when the sample began, ms
    double before = 0;
    std::vector<double> ours, theirs;

    // A sample has ended; runs the bare reader.
    void lap() {
        const double now = cpuMillis();
        if (files == Files::Real) usleep(Pause * 1000);
        if (++seen <= FirstPasses) return bare();
        ours.push_back(now - mark);
        const double start = cpuMillis();
        bare();
        theirs.push_back(cpuMillis() - start);
    }
    // The next sample begins.
    void begin() {
        if (files == Files::MadeUp) bare(); // warms the new texts
        mark = cpuMillis();
    }
    bool enough() const {
        constexpr double Budget = 1000; // ms
        return ours.size() >= passes.most || (ours.size() >= passes.least && cpuMillis() > Budget);
    }
    TCost cost() const { return {median(ours), median(theirs), peakMemory() - before}; }
};
} // namespace

static TMeter meter;
static int answer = -1; // the pipe to which the measuring process writes the cost

[[noreturn]] static void tell(const TCost& cost) {
    const bool told = write(answer, &cost, sizeof cost) == sizeof cost;
    _exit(told ? 0 : 1);
}

// The linker replaces the program's pause by the meter (--wrap), so that the program's own loop is measured.
void pauseInside(unsigned microseconds) asm("__real__Z8pauseForj");
void pauseMetered(unsigned microseconds) asm("__wrap__Z8pauseForj");

void pauseMetered(unsigned microseconds) {
    if (answer >= 0) {
        meter.lap();
        if (meter.enough()) tell(meter.cost());
    }
    pauseInside(microseconds);
    meter.begin();
}

// Calls `measure`, which does not return, in a process of its own, so that no measurement includes the memory of
// another.
static TCost runApart(const std::function<void()>& measure) {
    int ends[2];
    if (pipe(ends) != 0) perror("pipe"), exit(1);
    malloc_trim(0);
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ends[0]);
        answer = ends[1];
        measure();
        _exit(1);
    }
    close(ends[1]);
    TCost cost;
    const bool told = read(ends[0], &cost, sizeof cost) == sizeof cost;
    close(ends[0]);
    waitpid(pid, nullptr, 0);
    if (!told) fprintf(stderr, "a measurement ended without a result\n"), exit(1);
    return cost;
}

TCost runMetered(const std::string& options, const std::function<void()>& bare, Files files, TPasses passes) {
    return runApart([&] {
        meter.bare = bare;
        meter.passes = passes;
        meter.files = files;
        if (files == Files::MadeUp) meter.before = peakMemory();
        Words words({"wyrt", "-i", std::to_string(Pause)}, options);
        monitor(words.argc(), words.argv());
    });
}

TCost runWork(const std::function<void()>& work, const std::function<void()>& bare) {
    return runApart([&] {
        meter.bare = bare;
        meter.before = peakMemory();
        while (!meter.enough()) {
            meter.begin();
            work();
            meter.lap();
        }
        tell(meter.cost());
    });
}

TCost runLeast(const std::function<void()>& work, const std::function<void()>& bare, unsigned pause_ms) {
    return runApart([&] {
        constexpr int Rounds = 9;
        TCost least{HUGE_VAL, HUGE_VAL, 0};
        const auto measure = [&](const std::function<void()>& what) {
            usleep(pause_ms * 1000);
            const double start = cpuMillis();
            what();
            return cpuMillis() - start;
        };
        for (size_t i = 0; i < FirstPasses; i++) measure(work);
        for (int round = 0; round < Rounds; round++) {
            least.ours = std::min(least.ours, measure(work));
            least.bare = std::min(least.bare, measure(bare));
        }
        least.memory = peakMemory();
        tell(least);
    });
}

// --- The table

static FILE* shown = stdout;

bool selected(int argc, char** argv, std::string_view area) {
    return argc < 2 || std::any_of(argv + 1, argv + argc, [&](const char* word) { return area == word; });
}

void keepOutput() {
    shown = fdopen(dup(STDOUT_FILENO), "w");
    const int nowhere = open("/dev/null", O_WRONLY);
    if (!shown || nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0) perror("/dev/null"), exit(1);
    setvbuf(shown, nullptr, _IOLBF, 0); // before any process is forked
}

void show(const char* format, ...) {
    va_list values;
    va_start(values, format);
    vfprintf(shown, format, values);
    va_end(values);
}

void showHead() {
    show("| %-62s | %6s | %9s | %9s | %5s | %6s | %6s | %5s | %s |\n", "a sample of", "rows", "ms", "bare ms", "ratio",
         "MB", "growth", "B/row", "aim");
    show("| --- | --- | --- | --- | --- | --- | --- | --- | --- |\n");
}

static std::string text(const char* format, double value) {
    char text[32];
    snprintf(text, sizeof text, format, value);
    return text;
}

// About three significant digits.
static std::string shortly(double value) { return text(value < 1 ? "%.4f" : value < 100 ? "%.2f" : "%.1f", value); }

namespace {
// The costs of an area at the sizes measured so far.
struct TCosts {
    const TArea& area;
    std::vector<TCost> of;

    double growth(size_t i) const { return of[i].ours / of[i - 1].ours; }
    double sizeGrowth(size_t i) const {
        return static_cast<double>(area.sizes[i]) / static_cast<double>(area.sizes[i - 1]);
    }
    double rowBytes(size_t i) const {
        return (of[i].memory - of[i - 1].memory) / static_cast<double>(area.sizes[i] - area.sizes[i - 1]);
    }
    double value(TAim::Kind kind, size_t i) const;
};
} // namespace

static constexpr double MB = 1024.0 * 1024;

double TCosts::value(TAim::Kind kind, size_t i) const {
    switch (kind) {
    case TAim::Ratio:
        return of[i].ours / of[i].bare;
    case TAim::Millis:
        return of[i].ours;
    case TAim::MB:
        return of[i].memory / MB;
    case TAim::Times:
        return growth(i);
    case TAim::RowBytes:
        return rowBytes(i);
    }
    return NAN;
}

// Shows "ratio 1.10: met" or "MISSED"; true when it is met.
static bool showAim(const TCosts& costs, const TAim& aim) {
    static constexpr const char* Names[] = {"ratio %.2f", "%.1f ms", "%.0f MB", "%.0f times the size before",
                                            "%.0f B/row"};
    const bool met = costs.value(aim.kind, aim.size) <= aim.limit; // false for NaN
    const char* format = aim.kind == TAim::Ratio && aim.limit < 0.01 ? "ratio %.3f" : Names[aim.kind];
    show("%s: %s", text(format, aim.limit).c_str(), met ? "met" : "MISSED");
    if (aim.kind == TAim::Times) show(" (%.1f)", costs.growth(aim.size));
    return met;
}

bool showArea(const TArea& area, const std::function<TCost(long size)>& measure) {
    TCosts costs{area, {}};
    bool met = true;
    for (size_t i = 0; i < area.sizes.size(); i++) {
        const auto& cost = costs.of.emplace_back(measure(area.sizes[i]));
        const bool last = i > 0 && i + 1 == area.sizes.size();
        show("| %-62.*s | %6ld | %9s | %9s | %5s | %6.1f | %6s | %5s | ", static_cast<int>(area.what.size()),
             area.what.data(), area.sizes[i], shortly(cost.ours).c_str(), shortly(cost.bare).c_str(),
             text("%.3f", cost.ours / cost.bare).c_str(), cost.memory / MB,
             last ? text("%.2f", std::log(costs.growth(i)) / std::log(costs.sizeGrowth(i))).c_str() : "",
             last ? text("%.0f", costs.rowBytes(i)).c_str() : "");
        const char* between = "";
        for (const auto& aim : area.aims) {
            if (aim.size != i) continue;
            show("%s", between);
            met = showAim(costs, aim) && met;
            between = "; ";
        }
        show(" |\n");
    }
    return met;
}
