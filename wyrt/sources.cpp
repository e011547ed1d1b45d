#include "wyrt/source.h"

#include "base/numbers.h"
#include "model/cgroup.h"
#include "model/churn.h"
#include "model/cpu.h"
#include "model/disk.h"
#include "model/file.h"
#include "model/fs.h"
#include "model/host.h"
#include "model/limits.h"
#include "model/memory.h"
#include "model/net.h"
#include "model/netspaces.h"
#include "model/pressure.h"
#include "model/proc.h"
#include "model/procshown.h"
#include "model/proto.h"
#include "model/sock.h"
#include "model/thread.h"
#include "view/areas.h"
#include "wyrt/volumesource.h"

#include <algorithm>

static void fillHost(const HostSample* before, const HostSample& now, Interval& interval) {
    hostRows(before, now, interval.host);
}

static void fillCpu(const CpuSample* before, const CpuSample& now, Interval& interval) {
    cpuRows(before, now, interval.cpu);
}

static void fillCores(const CpuSample* before, const CpuSample& now, Interval& interval) {
    coreRows(before, now, interval.cores);
}

static void fillMemory(const MemorySample* before, const MemorySample& now, Interval& interval) {
    memoryRows(before, now, interval.memory);
    nodeRows(now, interval.nodes);
}

static void fillPressure(const PressureSample* before, const PressureSample& now, Interval& interval) {
    pressureRows(before, now, interval.pressure);
}

static void fillDisks(const DiskSample* before, const DiskSample& now, Interval& interval) {
    diskRows(before, now, interval.complete, interval.disks, interval.disksTotal);
}

static void fillFilesystems(const FsSample* before, const FsSample& now, Interval& interval) {
    fsRows(before, now, interval.complete, interval.filesystems, interval.filesystemsTotal);
}

static void fillNet(const NetSample* before, const NetSample& now, Interval& interval) {
    netRows(before, now, interval.complete, interval.links, interval.linksTotal, interval.addresses);
}

static void fillProtocols(const ProtocolSample* before, const ProtocolSample& now, Interval& interval) {
    protocolRows(before, now, interval.complete, interval.protocolsTotal, interval.protocols);
}

static void fillLimits(const LimitSample* before, const LimitSample& now, Interval& interval) {
    limitRows(before, now, interval.complete, interval.limits);
}

namespace {
// Each group keeps its last two readings itself, so one sample is enough.
class CgroupSource : public Source {
    CgroupSampler sampler;
    CgroupSample groups;

public:
    CgroupSource(const Root& root, Helper& helper) : sampler(root, helper) {}
    void sample() override { sampler.sample(groups); }
    uint64_t notAllowed() const override { return sampler.notAllowed(); }
    void rows(Interval& interval) override {
        cgroupRows(groups, interval.complete, interval.cgroupsTotal, interval.cgroups, interval.cgroupDevices);
    }
};

// Each process keeps its last two readings itself, too.
class ProcSource : public Source {
    ProcSampler sampler;
    ProcSample processes;
    HiddenSampler hiddenSampler;
    HiddenSample hidden;
    const ViewRow asked;
    std::vector<char> shown; // entries that have rows because of the tables

public:
    ProcSource(const Root& root, Helper& helper, const ViewRow& view)
        : sampler(root, helper), hiddenSampler(root), asked(view) {}
    void sample() override {
        sampler.sample(processes);
        hiddenSampler.sample(processes, hidden);
    }
    uint64_t notAllowed() const override { return sampler.notAllowed() + hiddenSampler.notAllowed(); }
    void rows(Interval& interval) override {
        markShown(processes, asked, shown);
        processRows(processes, interval.complete, interval.processesTotal, interval.processes, interval.starts,
                    interval.exits, shown);
        hiddenThreads(hidden, interval.processesTotal);
    }
    // For sources that are sampled later: threads and files are those of the processes that ran.
    std::span<const Ran> ran() const { return sampler.ran(); }
    const ProcSample& sampled() const { return processes; }
};

// What sources have in common.
class SockSource;
struct Shared {
    const Root& root;
    Helper& helper;
    const ViewRow& asked;
    const ProcSource* processes = nullptr; // made before the sources that need it
    const SockSource* sockets = nullptr;
};

class ThreadSource : public Source {
    const ProcSource& processes;
    ThreadSampler sampler;
    ThreadSample threads;

public:
    explicit ThreadSource(const Shared& shared) : processes(*shared.processes), sampler(shared.root) {}
    void sample() override { sampler.sample(processes.ran(), processes.sampled(), threads); }
    uint64_t notAllowed() const override { return sampler.notAllowed(); }
    void rows(Interval& interval) override { threadRows(threads, interval.threadsTotal, interval.threads); }
};

// Adds to the rows of processes that ended how they ended.
class ChurnSource : public Source {
    const ProcSource& processes;
    ChurnSampler sampler;
    ChurnSample churn;
    WaitingReports waiting;

public:
    explicit ChurnSource(const Shared& shared) : processes(*shared.processes), sampler(shared.root) {}
    void sample() override { sampler.sample(churn); }
    int64_t nextLook() const override { return sampler.nextLook(); }
    void look() override { sampler.look(); }
    uint64_t notAllowed() const override { return sampler.notAllowed(); }
    void rows(Interval& interval) override {
        churnRows(churn, processes.sampled(), interval.processes, waiting, interval.exits, interval.churnTotal,
                  interval.churn);
    }
};

// Files are those of the processes that ran.
class FileSource : public Source {
    FileSampler sampler;
    FileSample files;
    const ProcSource& processes;

public:
    explicit FileSource(const Shared& shared) : sampler(shared.root), processes(*shared.processes) {}
    void sample() override { sampler.sample(processes.ran(), files); }
    uint64_t notAllowed() const override { return sampler.notAllowed(); }
    void rows(Interval& interval) override { fileRows(files, interval.processes, interval.filesTotal, interval.files); }
};

// Sockets keep their last readings, too, and belong to processes.
class SockSource : public Source {
    SockSampler sampler;
    SockSample sockets;
    NetnsNames spaceNames;
    const ProcSource& processes;
    const ViewRow asked;

public:
    explicit SockSource(const Shared& shared)
        : sampler(shared.root, shared.helper), spaceNames(shared.root), processes(*shared.processes),
          asked(shared.asked) {}
    void sample() override {
        sampler.sample(processes.ran(), processes.sampled().gone, sockets);
        if (sockets.spaces.size() > 1) spaceNames.renew();
    }
    int64_t nextLook() const override { return sampler.nextLook(); }
    void look() override { sampler.look(); }
    uint64_t notAllowed() const override { return sampler.notAllowed(); }
    void rows(Interval& interval) override {
        sockRows(sockets, processes.sampled(), asked, interval);
        nameSpaces(spaceNames, interval.namespaces);
    }
    const ProcSample& ofProcesses() const { return processes.sampled(); }
    const SockSample& sampled() const { return sockets; }
    const NetnsNames& names() const { return spaceNames; }
};

// The interfaces of other network namespaces, which the area of sockets finds.
class NetSpaceSource : public Source {
    NetSpaceSampler sampler;
    NetSpaceSample links;
    const SockSource& sockets;

public:
    NetSpaceSource(const Root& root, const SockSource& found) : sampler(root), sockets(found) {}
    void sample() override { sampler.sample(sockets.sampled().spaces, links); }
    uint64_t notAllowed() const override { return sampler.notAllowed(); }
    void rows(Interval& interval) override {
        netSpaceRows(links, sockets.names(), sockets.ofProcesses(), interval.complete, interval.spaceLinks);
    }
};
} // namespace

template <typename S> static std::unique_ptr<Source> makeSource(Shared& shared) {
    return std::make_unique<S>(shared.root, shared.helper);
}

// Of a source that looks at the processes.
template <typename S> static std::unique_ptr<Source> makeOfProcesses(Shared& shared) {
    return std::make_unique<S>(shared);
}

static std::unique_ptr<Source> makeProcesses(Shared& shared) {
    auto source = std::make_unique<ProcSource>(shared.root, shared.helper, shared.asked);
    shared.processes = source.get();
    return source;
}

static std::unique_ptr<Source> makeSockets(Shared& shared) {
    auto source = std::make_unique<SockSource>(shared);
    shared.sockets = source.get();
    return source;
}

// Null: nothing looks for network namespaces.
static std::unique_ptr<Source> makeNetSpaces(Shared& shared) {
    return shared.sockets ? std::make_unique<NetSpaceSource>(shared.root, *shared.sockets) : nullptr;
}

template <typename Sampler, typename Sample, auto Fill> static std::unique_ptr<Source> make(Shared& shared) {
    return std::make_unique<PairSource<Sampler, Sample, Fill>>(shared.root, shared.helper);
}

namespace {
struct Maker {
    std::string_view areas; // any of these words needs it; empty: it is always there
    std::unique_ptr<Source> (*make)(Shared& shared);
};
} // namespace

// clang-format off
static constexpr Maker Makers[] = {
    {"",                           make<HostSampler, HostSample, fillHost>},
    {"cpu why",                    make<CpuSampler, CpuSample, fillCpu>},
    {"cores",                      make<CoreSampler, CpuSample, fillCores>},
    {"mem why",                    make<MemorySampler, MemorySample, fillMemory>},
    {"pressure why",               make<PressureSampler, PressureSample, fillPressure>},
    {"disk why",                   make<DiskSampler, DiskSample, fillDisks>},
    {"fs why",                     make<FsSampler, FsSample, fillFilesystems>},
    {"net why",                    make<NetSampler, NetSample, fillNet>},
    {"proto",                      make<ProtocolSampler, ProtocolSample, fillProtocols>},
    {"limits why",                 make<LimitSampler, LimitSample, fillLimits>},
    {"cgroup why",                 makeSource<CgroupSource>},
    {"proc thread churn file sock why", makeProcesses},
    {"thread",                     makeOfProcesses<ThreadSource>},
    {"churn why",                  makeOfProcesses<ChurnSource>},
    {"file why",                   makeOfProcesses<FileSource>},
    {"sock proc why",              makeSockets},
    {"net",                        makeNetSpaces},
    {"volumes disk fs file why",   makeSource<VolumeSource>},
};
// clang-format on

static bool anyOf(std::string_view words, std::string_view list) {
    while (!words.empty()) {
        const auto word = words.substr(0, words.find(' '));
        if (hasWord(list, word)) return true;
        words.remove_prefix(std::min(word.size() + 1, words.size()));
    }
    return false;
}

std::vector<std::unique_ptr<Source>> makeSources(std::string_view areas, const Root& root, Helper& helper,
                                                 const ViewRow& asked) {
    std::vector<std::unique_ptr<Source>> sources;
    Shared shared{root, helper, asked};
    // The usual tables begin with a line of findings.
    const std::string words = std::string(areas) + (needsFindings(areas) ? " why" : "");
    for (const auto& maker : Makers)
        if (maker.areas.empty() || anyOf(maker.areas, words))
            if (auto source = maker.make(shared)) sources.push_back(std::move(source));
    return sources;
}
