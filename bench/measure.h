// Shared by the benchmarks: a measurement in a process of its own, the program with a meter in its pauses, and the
// table of results.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// --- Measurements

// What a sample costs.
struct TCost {
    double ours = 0, bare = 0; // CPU time (user and system), ms; medians. 0: not measured
    double memory = 0;         // peak resident memory, bytes
};

// The files that are read.
enum class Files {
    Real,   // those of this machine
    MadeUp, // files in this process's own memory, which is subtracted from the figures
};

// How many samples are measured: at least `least`, and up to `most` while there is time left.
struct TPasses {
    size_t least = 11, most = 101;
};

// Runs the program with these options in a process of its own and measures from one pause to the next. The bare reader
// runs in each pause, after a pause of its own, so that the caches are equally cold for both; for made-up files they
// are warm for both. The first passes fill the slots and find the owners; they do not count.
constexpr size_t FirstPasses = 3;
TCost runMetered(const std::string& options, const std::function<void()>& bare, Files files, TPasses passes = {});

// The same for a piece of work by itself.
TCost runWork(const std::function<void()>& work, const std::function<void()>& bare);
// The same, each after a pause in which the load can run; the least of several instead of the median, for a machine
// that has other work to do.
TCost runLeast(const std::function<void()>& work, const std::function<void()>& bare, unsigned pause_ms);

// Median wall times in ms of two pieces of work that take turns.
struct TWalls {
    double one, other;
};
TWalls getWalls(const std::function<void()>& one, const std::function<void()>& other, int times);
// Median CPU time in ms of the work in this process, without the commands that it runs.
double getCPU(const std::function<void()>& work, int times);

// --- The table

struct TAim {
    enum Kind {
        Ratio,    // of our CPU time to that of the bare reader
        Millis,   // CPU time of a sample
        MB,       // peak memory
        Times,    // of the cost at the previous size
        RowBytes, // memory that each further row needs
    } kind;
    size_t size; // index of the size that the aim is for
    double limit;
};

// Something that is measured at several sizes, each about ten times the previous one, at least four times.
struct TArea {
    std::string_view name; // the word that selects it
    std::string_view what; // the first column
    std::vector<long> sizes;
    std::vector<TAim> aims;
};

// Whether the command line selects the area: it names this area, or no area at all.
bool selected(int argc, char** argv, std::string_view area);
// Sends the reports that are measured to /dev/null; the figures go to the original standard output.
void keepOutput();
[[gnu::format(printf, 1, 2)]] void show(const char* format, ...);
void showHead();
// Measures the area at each of its sizes and shows a row for each. False: an aim was missed.
bool showArea(const TArea& area, const std::function<TCost(long size)>& measure);
