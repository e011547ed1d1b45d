// Made-up machines, as the text of a world (tests/worlds/README.md).
#pragma once

#include "tests/world/world.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

// Directives for the files that a pass reads; each pass reads other figures.
std::string getCores(int count, int pass);
std::string getInterfaces(int count, int pass);
std::string getCounters(int count, int pass);
std::string getMounted(int count, int pass);
std::string getDiskstats(int disks, int pass);

// Directives for the output of ifconfig: an address for each interface.
std::string getInterfaceAddresses(int count);

// The reports of the volume tools. The disks are physical volumes, half of them on multipath devices.
struct TSize {
    int disks, paths, groups, volumes, segments, mounts;
};
std::string getReports(const TSize& size);

// A table of sockets as the kernel prints it.
std::string getSocketTable(int count);

// A made-up machine that exists as long as this object: a base that never changes, and the figures of each pass.
class Machine {
    std::string folder = (std::filesystem::temp_directory_path() / "wyrt-bench.XXXXXX").string();
    std::unique_ptr<World> world;

public:
    Machine(const std::string& base, const std::function<std::string(int pass)>& figures, int passes);
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;
    ~Machine() { std::filesystem::remove_all(folder); }
};
