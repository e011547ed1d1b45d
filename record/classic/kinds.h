// Every kind of record that a classic log can have, in the order of docs/records.md.
#pragma once

#include "record/classic/basic.h"
#include "record/classic/disk.h"
#include "record/classic/fs.h"
#include "record/classic/host.h"
#include "record/classic/interval.h"
#include "record/classic/net.h"
#include "record/classic/port.h"
#include "record/classic/proc.h"
#include "record/classic/volumes.h"

namespace classic {
// clang-format off
inline constexpr const Kind* Kinds[] = {
    &TimeKind, &EndKind, &PauseKind,
    &StartKind, &ProgramKind, &VersionKind, &HostnameKind, &OSKind, &DistributorKind, &DescriptionKind, &ReleaseKind,
    &ModelKind, &SerialKind, &LogicalCoreKind, &ClockKind, &CPUModelKind, &HyperThreadsKind, &SiblingsKind, &MemoryKind,
    &SwapKind, &CurrentTimeKind, &BootTimeKind, &UptimeKind, &TimeZoneKind, &PageSizeKind, &ClockTickKind,
    &NoPositionsKind, &NoProcessIOKind, &NoVirtualMemoryKind, &NoDisksKind,
    &BasicKind, &CoreKind,
    &StateKind, &PortKind,
    &SummaryKind, &PIDKind, &FileKind, &SocketKind, &CreatedKind, &TerminatedKind,
    &AddressKind, &AddressEndKind, &NetifKind,
    &DiskKind, &GroupActivityKind, &VolumeActivityKind,
    &CounterKind, &CounterRateKind,
    &FSUsageKind, &FSDeltaKind,
    &GroupCountKind, &GroupKind,
    &LogicalCountKind, &LogicalKind, &LogicalSegmentKind,
    &MountCountKind, &MountKind,
    &PhysicalCountKind, &PhysicalKind, &PhysicalSegmentKind,
    &PathCountKind, &PathKind, &MemberKind,
    &DiskMapKind, &MapCompleteKind,
};
// clang-format on
} // namespace classic
