#include "sample/hidden.h"

#include "parse/loadavg.h"
#include "parse/mountinfo.h"

#include <algorithm>

// The first pid namespace has the same number on each machine: PROC_PID_INIT_INO of the kernel.
static bool isInFirstNamespace(const Root& root) {
    constexpr std::string_view First = "pid:[4026531836]";
    HeldPlace proc;
    char target[32];
    if (!proc.open(root.path("/proc").c_str())) return true;
    const auto size = readLink(proc, "self/ns/pid", target, sizeof target);
    return size <= 0 || std::string_view(target, static_cast<size_t>(size)) == First;
}

// hidepid=1 leaves the processes in the list, and hides their files.
static bool isMountedHiding(const Root& root) {
    Contents text;
    if (!readFile(root.path("/proc/self/mountinfo").c_str(), text)) return false;
    std::string value;
    for (auto& mount : parseMountInfo(text.view()))
        if (mount.point == "/proc") value = mountOption(mount.superOptions, "hidepid"); // the last one is on top
    return value == "2" || value == "invisible" || value == "4" || value == "ptraceable";
}

HiddenSampler::HiddenSampler(const Root& root) : loadavg(root, "/proc/loadavg") {
    if (root.isOther()) return;
    if (isMountedHiding(root)) cause = Hiding::HidePid;
    else if (!isInFirstNamespace(root)) cause = Hiding::PidNamespace;
}

// The parent of all threads of the kernel is everywhere the second process. Whoever sees it sees all.
static bool seesKernel(const ProcSample& processes) {
    const auto* second = processes.find(2);
    return second && processes.slots[second->slot].kernel;
}

void HiddenSampler::sample(const ProcSample& processes, HiddenSample& now) {
    now = {};
    if (cause == Hiding::Nothing || !processes.known || seesKernel(processes)) return;
    now.by = cause;
    const auto load = loadavg.read(text) ? parseLoadAverage(text.view()) : std::nullopt;
    if (load) now.threads = load->tasks;
}
