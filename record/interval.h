// One interval: what happened between two samples, as rows of every kind. Models fill it from samples, the log's reader
// fills it from lines, and tables are made from it alone.
#pragma once

#include "record/cgroup.h"
#include "record/churn.h"
#include "record/cpu.h"
#include "record/disk.h"
#include "record/file.h"
#include "record/fs.h"
#include "record/host.h"
#include "record/limits.h"
#include "record/memory.h"
#include "record/moment.h"
#include "record/net.h"
#include "record/pressure.h"
#include "record/proc.h"
#include "record/proto.h"
#include "record/rows.h"
#include "record/self.h"
#include "record/sock.h"
#include "record/thread.h"
#include "record/volumes.h"
#include "record/why.h"

#include <cstdint>

struct Interval {
    Moment time;            // of its end
    int64_t elapsed_us = 0; // since the previous sample, on the monotonic clock; 0: there was none
    uint64_t number = 0;    // 1 is the first of its run
    bool complete = false;  // idle things have rows, too: the first interval of a log
    bool damaged = false;   // read from a log, and its checksum is wrong

    Rows<HostRow> host;
    Rows<SelfRow> self;
    Rows<CpuRow> cpu;
    Rows<CoreRow> cores;
    Rows<MemoryRow> memory;
    Rows<NodeRow> nodes;
    Rows<PressureRow> pressure;
    Rows<DisksRow> disksTotal;
    Rows<DiskRow> disks;
    Rows<FsTotalRow> filesystemsTotal;
    Rows<FsRow> filesystems;
    Rows<LinksRow> linksTotal;
    Rows<LinkRow> links;
    Rows<SpaceLinkRow> spaceLinks;
    Rows<AddressRow> addresses;
    Rows<ProtocolsRow> protocolsTotal;
    Rows<ProtocolRow> protocols;
    Rows<LimitRow> limits;
    Rows<VolumeRow> volumes;
    Rows<HoldsRow> holds;
    Rows<MountRow> mounts;
    Rows<VolumeGroupRow> volumeGroups;
    Rows<CgroupsRow> cgroupsTotal;
    Rows<CgroupRow> cgroups;
    Rows<CgroupIoRow> cgroupDevices;
    Rows<ProcsRow> processesTotal;
    Rows<ProcRow> processes;
    Rows<ThreadsRow> threadsTotal;
    Rows<ThreadRow> threads;
    Rows<ChurnsRow> churnTotal;
    Rows<StartRow> starts;
    Rows<ExitRow> exits;
    Rows<ChurnRow> churn;
    Rows<FilesRow> filesTotal;
    Rows<FileRow> files;
    Rows<NetnsRow> namespaces;
    Rows<SocksRow> socketsTotal;
    Rows<ListenRow> listeners;
    Rows<SockRow> sockets;
    Rows<WhyRow> why;
    Rows<WhoRow> who;
    Rows<SufferRow> suffer;
    Rows<NearRow> nearest;
};

// Calls f(kind, rows) for each kind, in the order in which a log has them.
template <typename I, typename F> void eachKind(I& interval, F&& f) {
    f(HostKind, interval.host);
    f(SelfKind, interval.self);
    f(CpuKind, interval.cpu);
    f(CoreKind, interval.cores);
    f(MemoryKind, interval.memory);
    f(NodeKind, interval.nodes);
    f(PressureKind, interval.pressure);
    f(DisksKind, interval.disksTotal);
    f(DiskKindOf, interval.disks);
    f(FsTotalKind, interval.filesystemsTotal);
    f(FsKind, interval.filesystems);
    f(LinksKind, interval.linksTotal);
    f(LinkKind, interval.links);
    f(SpaceLinkKind, interval.spaceLinks);
    f(AddressKind, interval.addresses);
    f(ProtocolsKind, interval.protocolsTotal);
    f(ProtocolKind, interval.protocols);
    f(LimitKind, interval.limits);
    f(VolumeKind, interval.volumes);
    f(HoldsKind, interval.holds);
    f(MountKind, interval.mounts);
    f(VolumeGroupKind, interval.volumeGroups);
    f(CgroupsKind, interval.cgroupsTotal);
    f(CgroupKind, interval.cgroups);
    f(CgroupIoKind, interval.cgroupDevices);
    f(ProcsKind, interval.processesTotal);
    f(ProcKind, interval.processes);
    f(ThreadsKind, interval.threadsTotal);
    f(ThreadKind, interval.threads);
    f(ChurnsKind, interval.churnTotal);
    f(StartKind, interval.starts);
    f(ExitKind, interval.exits);
    f(ChurnKind, interval.churn);
    f(FilesKind, interval.filesTotal);
    f(FileKind, interval.files);
    f(NetnsKind, interval.namespaces);
    f(SocksKind, interval.socketsTotal);
    f(ListenKind, interval.listeners);
    f(SockKind, interval.sockets);
    f(WhyKind, interval.why);
    f(WhoKind, interval.who);
    f(SufferKind, interval.suffer);
    f(NearKind, interval.nearest);
}

// Removes the rows; their memory stays allocated for the next ones.
void clearRows(Interval& interval);
// Forgets what a log would not give back: that a kind without rows was sampled, and when. Tables made before and after
// a log are then the same.
void settle(Interval& interval);
