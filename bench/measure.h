// What the benchmarks share: a measurement in a process of its own, the program with a meter in its pauses, and the
// table of what was measured.
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

// Whose files are read.
enum class Files {
    Real,   // this machine's
    MadeUp, // they stand in this process's own memory, which is left out of the figures
};

// How many samples are measured: `least`, and further ones up to `most` as long as the time is short.
struct TPasses {
    size_t least = 11, most = 101;
};

// Runs the program with these options in a process of its own and measures from one pause to the next. In each pause
// the bare reader has its turn, after a pause of its own, so that both find the machine equally cold; made-up files are
// warm for both. The first passes, which fill the slots and find the owners, do not count.
constexpr size_t FirstPasses = 3;
TCost runMetered(const std::string& options, const std::function<void()>& bare, Files files, TPasses passes = {});

// The same for a piece of work by itself.
TCost runWork(const std::function<void()>& work, const std::function<void()>& bare);

// Wall times of two pieces of work that take turns, ms; medians.
struct TWalls {
    double one, other;
};
TWalls getWalls(const std::function<void()>& one, const std::function<void()>& other, int times);
// CPU time of the work in this process, that of the commands it runs left out, ms; the median.
double getCPU(const std::function<void()>& work, int times);

// --- The table

struct TAim {
    enum Kind {
        Ratio,    // to the bare reads
        Millis,   // of a sample
        MB,       // peak memory
        Times,    // the cost of the size before
        RowBytes, // memory that a row adds
    } kind;
    size_t size; // which of the sizes it is for
    double limit;
};

// One thing that is measured at several sizes, each ten times the one before or four times at least.
struct TArea {
    std::string_view name; // the word that selects it
    std::string_view what; // the first column
    std::vector<long> sizes;
    std::vector<TAim> aims;
};

// Whether the command line selects the area: it names it, or none.
bool selected(int argc, char** argv, std::string_view area);
// Standard output is lost to the reports that are measured; the figures go where it went.
void keepOutput();
[[gnu::format(printf, 1, 2)]] void show(const char* format, ...);
void showHead();
// Measures the area at each of its sizes and shows a row for each. False: an aim was missed.
bool showArea(const TArea& area, const std::function<TCost(long size)>& measure);
