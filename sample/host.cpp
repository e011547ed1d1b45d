#include "sample/host.h"

#include "base/clock.h"
#include "base/numbers.h"
#include "parse/numberlist.h"

HostSampler::HostSampler(const Root& where)
    : root(where), online(where, "/sys/devices/system/cpu/online"), meminfo(where, "/proc/meminfo"),
      uptime(where, "/proc/uptime"), host(getHost()) {
    if (!root.isOther()) return;
    // The kernel of another machine is in its files; what it runs on is not.
    const auto line = [&](const char* path) -> std::string {
        if (!readFile(root.path(path).c_str(), text)) return {};
        return std::string(text.view().substr(0, text.view().find('\n')));
    };
    host = {line("/proc/sys/kernel/hostname"), line("/proc/sys/kernel/osrelease"), ""};
}

// "MemTotal:       65834280 kB" is the first line.
void HostSampler::readMemory() {
    memory.reset();
    if (!meminfo.read(text, Reading::Single) || !text.view().starts_with("MemTotal:")) return;
    auto rest = text.view().substr(9);
    if (uint64_t total = 0; takeNumber(rest, total)) memory = total * 1024;
}

void HostSampler::sample(HostSample& now) {
    now.at_us = getMonotonic();
    now.boottime_us = getBoottime();
    now.cpus.reset(), now.uptime_s.reset();
    if (online.read(text)) now.cpus = countOfList(text.view());
    // Memory is seldom added to a running machine, which seldom gets another name. The file is the dearest of the
    // three.
    constexpr uint64_t ReadEvery = 64; // samples
    if (samples++ % ReadEvery == 0) {
        readMemory();
        if (!root.isOther()) host = getHost();
    }
    now.host = host;
    now.memory = memory;
    if (!root.isOther()) {
        now.uptime_s = static_cast<uint64_t>(now.boottime_us / 1000000);
    } else if (uint64_t seconds = 0; uptime.read(text)) {
        auto rest = text.view();
        if (takeNumber(rest, seconds)) now.uptime_s = seconds;
    }
}
