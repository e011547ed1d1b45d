// Measures what the threads of the area `thread` cost, compared with a bare read of every thread's stat.
//
//     bench-thread [AREA...]
#include "model/thread.h"
#include "bench/bare.h"
#include "bench/load.h"
#include "bench/measure.h"
#include "model/proc.h"

#include <string>

namespace {
// A sample of processes and threads with its rows, kept as the program's loop keeps them.
struct Pass {
    Helper helper;
    ProcSampler processes{Root(), helper};
    ThreadSampler threads{Root()};
    ProcSample sample;
    ThreadSample threadSample;
    Rows<ThreadsRow> all;
    Rows<ThreadRow> rows;
    void run() {
        all.clear(), rows.clear();
        processes.sample(sample);
        threads.sample(processes.ran(), sample, threadSample);
        threadRows(threadSample, all, rows);
    }
};
} // namespace

static void bareStats() {
    TBare proc(AT_FDCWD, "/proc");
    while (const char* name = proc.next()) {
        if (name[0] < '0' || name[0] > '9') continue;
        TBare tasks(proc.at, (std::string(name) + "/task").c_str());
        while (const char* thread = tasks.next()) bareRead(tasks.at, (std::string(thread) + "/stat").c_str());
    }
}

static const TArea Idle = {"threads-idle",
                           "threads, 50 of each process, all idle, `proc thread`",
                           {500, 2000, 10000},
                           {{TAim::Ratio, 2, 0.02}, {TAim::MB, 2, 16}}};

int main(int argc, char** argv) {
    keepOutput();
    showHead();
    if (!selected(argc, argv, Idle.name)) return 0;
    const bool met = showArea(Idle, [&](long size) {
        const Load load(argv[0], "--threads 50 --processes " + std::to_string(size / 50));
        auto* pass = new Pass; // made before the process that measures, and gone with it
        const auto cost = runLeast([&] { pass->run(); }, bareStats, 700);
        delete pass;
        return cost;
    });
    return met ? 0 : 1;
}
