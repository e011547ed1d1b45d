// Measures what a sample costs on this machine's own files, compared with a bare reader of the same files. The
// program's loop runs with a load of bench/load.cpp at three sizes.
//
//     bench-real [AREA...]
#include "bench/bare.h"
#include "bench/load.h"
#include "bench/measure.h"

#include <string>

static void bareSystem() {
    for (const char* file : {"/proc/stat", "/proc/meminfo", "/proc/vmstat"}) bareFile(file);
}

static void bareSockets() {
    bareSample(false, true);
    for (const char* file : {"/proc/net/tcp", "/proc/net/udp"}) bareFile(file);
}

static void bareEverything() {
    bareSystem();
    bareSockets();
    for (const char* file : {"/proc/net/dev", "/proc/diskstats", "/proc/net/snmp", "/proc/net/netstat"}) bareFile(file);
    bareMounts();
}

namespace {
struct TReal {
    TArea area;
    const char* options;
    void (*bare)();
    std::string (*load)(long size); // the options of bench-load
};
} // namespace

static const TReal Reals[] = {
    {{"system",
      "the machine's figures `-b -r`; rows: cores",
      {sysconf(_SC_NPROCESSORS_ONLN)},
      {{TAim::Millis, 0, 0.5}}},
     "-b -r",
     bareSystem,
     nullptr},
    {{"processes", "processes `-p 24 -T 0`", {50, 500, 5000}, {{TAim::Ratio, 2, 1.10}, {TAim::MB, 2, 16}}},
     "-p 24 -T 0",
     [] { bareSample(false, false); },
     [](long n) { return std::string("--processes ") + std::to_string(n); }},
    {{"threads", "threads, ten a process `-p 24`", {400, 2000, 8000}, {{TAim::Ratio, 1, 1.10}, {TAim::Ratio, 2, 1.10}}},
     "-p 24",
     [] { bareSample(true, false); },
     [](long n) { return std::string("--threads 10 --processes ") + std::to_string(n / 10); }},
    // A descriptor may need 200 bytes and its path, which has up to 50 bytes here.
    {{"descriptors",
      "open files of 100 processes `-p 24 -T 0 -f`",
      {600, 6000, 60000},
      {{TAim::Ratio, 2, 1.10}, {TAim::RowBytes, 2, 250}}},
     "-p 24 -T 0 -f",
     [] { bareSample(false, true); },
     [](long n) { return std::string("--processes 100 --fds ") + std::to_string(n / 100); }},
    {{"sockets",
      "TCP sockets with owners, 20 processes `-p 24 -T 0 -f -o 10`",
      {400, 4000, 40000},
      {{TAim::Ratio, 2, 1.15}, {TAim::Times, 2, 11}}},
     "-p 24 -T 0 -f -o 10",
     bareSockets,
     [](long n) { return std::string("--processes 20 --sockets ") + std::to_string(n / 20); }},
    {{"everything", "all at once, 8 sockets a process `-a -m -t -r -S`", {50, 500, 5000}, {{TAim::Ratio, 2, 1.15}}},
     "-a -m -t -r -S",
     bareEverything,
     [](long n) { return std::string("--threads 2 --fds 4 --sockets 8 --processes ") + std::to_string(n); }},
};

int main(int argc, char** argv) {
    keepOutput();
    showHead();
    bool met = true;
    for (const auto& real : Reals) {
        if (!selected(argc, argv, real.area.name)) continue;
        const auto measure = [&](long size) {
            if (!real.load) return runMetered(real.options, real.bare, Files::Real);
            const Load load(argv[0], real.load(size));
            return runMetered(real.options, real.bare, Files::Real);
        };
        met = showArea(real.area, measure) && met;
    }
    return met ? 0 : 1;
}
