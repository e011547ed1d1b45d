// The files of /proc and /sys about the machine as a whole: the first byte says which. What was read is in the text.
#include "fuzz/check.h"
#include "parse/diskstats.h"
#include "parse/keyed.h"
#include "parse/loadavg.h"
#include "parse/nodeinfo.h"
#include "parse/numberlist.h"
#include "parse/pressure.h"
#include "parse/stat.h"

#include <cstdint>
#include <string>

// The text has the number, but for zeros before it.
static void checkNumber(std::string_view text, const std::optional<uint64_t>& number) {
    check(!number || isFrom(text, std::to_string(*number)));
}

static void checkStat(std::string_view text) {
    SystemStat stat;
    check(parseStat(text, stat) == (stat.all.columns > 0));
    check(stat.all.columns <= 10);
    for (auto& core : stat.cores) check(core.columns > 0 && isFrom(text, "cpu"));
    for (auto& figure : {stat.switches, stat.interrupts, stat.softirqs, stat.forks, stat.running, stat.blocked})
        checkNumber(text, figure);
}

static void checkDisks(std::string_view text) {
    std::vector<DiskCounters> disks(3); // of the sample before the last
    parseDiskstats(text, disks);
    for (auto& disk : disks) {
        check(!disk.name.empty() && isFrom(text, disk.name) && disk.name.find_first_of(" \t\n") == disk.name.npos);
        check(disk.columns >= 11 && disk.columns <= 17);
    }
}

namespace {
struct Values {
    std::optional<uint64_t> total, free, oom;
};
} // namespace

// With and without the plan of another text, the same is found.
static void checkKeyed(std::string_view text) {
    static constexpr Keyed<Values> Keys[] = {
        {"MemTotal:", &Values::total},
        {"MemFree:", &Values::free},
        {"oom_kill", &Values::oom},
    };
    const auto half = text.size() / 2;
    KeyPlan planned;
    Values first, second;
    parseKeyed<Values>(text.substr(half), Keys, planned, second);
    parseKeyed<Values>(text, Keys, planned, second);
    KeyPlan anew;
    parseKeyed<Values>(text, Keys, anew, first);
    check(first.total == second.total && first.free == second.free && first.oom == second.oom);
    for (auto& number : {first.total, first.free, first.oom}) checkNumber(text, number);
}

static void checkNumbers(std::string_view text) {
    const auto count = countOfList(text);
    const auto numbers = numbersOfList(text);
    check(numbers.size() <= 1024);
    if (!numbers.empty()) check(count == numbers.size());
}

static void checkLevels(std::string_view text) {
    if (const auto load = parseLoadAverage(text)) {
        check(load->one >= 0 && load->five >= 0 && load->fifteen >= 0);
        check(isFrom(text, std::to_string(load->tasks)) || load->tasks == 0);
    }
    if (const auto pressure = parsePressure(text))
        checkNumber(text, pressure->some_us), checkNumber(text, pressure->full_us);
    const auto node = parseNodeInfo(text);
    for (auto& number : {node.total, node.free, node.file, node.anonymous, node.shared}) checkNumber(text, number);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0]) {
    case 's':
        checkStat(text);
        break;
    case 'd':
        checkDisks(text);
        break;
    case 'k':
        checkKeyed(text);
        break;
    case 'n':
        checkNumbers(text);
        break;
    default:
        checkLevels(text);
    }
    return 0;
}
