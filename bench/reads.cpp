// bench-reads WHAT SAMPLES: the bare reads of bench/bare.h as a program of its own, for bench/peers.py. WHAT is
// machine, processes, threads, files or sockets. Prints a dot for each sample.
#include "bench/bare.h"

#include <cstdio>
#include <cstdlib>

static void readMachine() {
    for (const char* file : {"stat", "meminfo", "vmstat", "loadavg", "diskstats", "net/dev", "net/snmp", "net/netstat"})
        bareFile((std::string("/proc/") + file).c_str());
    bareMounts();
}

static void readSockets() {
    for (const char* file : {"tcp", "tcp6", "udp", "udp6"}) bareFile((std::string("/proc/net/") + file).c_str());
}

int main(int argc, char** argv) {
    const std::string_view what = argc > 1 ? argv[1] : "";
    for (int left = argc > 2 ? atoi(argv[2]) : 1; left > 0; left--) {
        if (what == "machine") readMachine();
        else bareSample(what == "threads", what == "files" || what == "sockets");
        if (what == "sockets") readSockets();
        putchar('.');
    }
    return 0;
}
