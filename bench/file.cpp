// Measures what the open files of the area `file` cost, compared with a bare walk over the same descriptors: names,
// fdinfo and links. The processes are found by the area `proc`, which is not part of the figures.
//
//     bench-file [AREA...]
#include "sample/file.h"
#include "bench/bare.h"
#include "bench/load.h"
#include "bench/measure.h"

#include <algorithm>
#include <string>
#include <vector>

// The processes of the load, with what a sampler of processes knows of them.
static std::vector<Ran> loaded() {
    std::vector<Ran> processes;
    TBare proc(AT_FDCWD, "/proc");
    while (const char* name = proc.next()) {
        Contents text;
        if (name[0] < '0' || name[0] > '9' || !readFile(("/proc/" + std::string(name) + "/comm").c_str(), text))
            continue;
        if (text.view() == "bench-load\n") processes.push_back({atoi(name), 1, 1, true, false, 'S'});
    }
    return processes;
}

static void walk(const std::vector<Ran>& processes) {
    TBare proc(AT_FDCWD, "/proc");
    for (auto& process : processes) bareDescriptors(proc.at, std::to_string(process.pid) + "/");
}

namespace {
struct TFiles {
    TArea area;
    const char* load;
    bool active;
};
} // namespace

static const TFiles Areas[] = {
    {{"files-idle",
      "open files of 100 idle processes, `file`",
      {600, 6000, 60000},
      {{TAim::Ratio, 2, 0.002}, {TAim::MB, 2, 24}}},
     "",
     false},
    {{"files-active",
      "the same when all processes run and all files move",
      {600, 6000, 60000},
      {{TAim::Ratio, 2, 0.75}, {TAim::MB, 2, 24}}},
     " --active 200",
     true},
};

int main(int argc, char** argv) {
    keepOutput();
    showHead();
    bool met = true;
    for (const auto& files : Areas) {
        if (!selected(argc, argv, files.area.name)) continue;
        const auto measure = [&](long size) {
            const Load load(argv[0], "--processes 100 --fds " + std::to_string(size / 100) + files.load);
            const auto processes = loaded();
            FileSampler sampler{Root()};
            FileSample sample;
            bool first = true;
            return runWork(
                [&] {
                    sampler.sample(first || files.active ? std::span(processes) : std::span<const Ran>(), sample);
                    first = false;
                },
                [&] { walk(processes); });
        };
        met = showArea(files.area, measure) && met;
    }
    return met ? 0 : 1;
}
