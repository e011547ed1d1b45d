// The facts of the host, each a record of its own, and the notes about what this kernel does not supply.
#pragma once

#include "record/field.h"

namespace classic {
inline constexpr auto StartFields = only({"banner", Role::Text, "", Form::Text});
inline constexpr Kind StartKind = {"info,Start", StartFields};
inline constexpr auto ProgramFields = only({"program", Role::Text, "", Form::Text});
inline constexpr Kind ProgramKind = {"info,Program", ProgramFields};
inline constexpr auto VersionFields = only({"version", Role::Text, "", Form::Text});
inline constexpr Kind VersionKind = {"info,Version", VersionFields};
inline constexpr auto HostnameFields = only({"hostname", Role::Text, "", Form::Text});
inline constexpr Kind HostnameKind = {"info,Hostname", HostnameFields};
inline constexpr auto OSFields = only({"os", Role::Text, "", Form::Text});
inline constexpr Kind OSKind = {"info,OS", OSFields};
inline constexpr auto DistributorFields = only({"distributor", Role::Text, "", Form::Text});
inline constexpr Kind DistributorKind = {"info,Distributor", DistributorFields};
inline constexpr auto DescriptionFields = only({"description", Role::Text, "", Form::Text});
inline constexpr Kind DescriptionKind = {"info,Description", DescriptionFields};
inline constexpr auto ReleaseFields = only({"release", Role::Text, "", Form::Text});
inline constexpr Kind ReleaseKind = {"info,Release", ReleaseFields};
inline constexpr auto ModelFields = only({"model", Role::Text, "", Form::Text});
inline constexpr Kind ModelKind = {"info,Model", ModelFields};
inline constexpr auto SerialFields = only({"serial", Role::Text, "", Form::Text});
inline constexpr Kind SerialKind = {"info,Serial", SerialFields};
inline constexpr auto LogicalCoreFields = only({"cores", Role::Level, "", Form::Int});
inline constexpr Kind LogicalCoreKind = {"info,Logical Core", LogicalCoreFields};
inline constexpr auto ClockFields = only({"clock", Role::Level, "MHz", Form::Long});
inline constexpr Kind ClockKind = {"info,Clock(MHz)", ClockFields};
inline constexpr auto CPUModelFields = only({"cpumodel", Role::Text, "", Form::Text});
inline constexpr Kind CPUModelKind = {"info,CPU Model", CPUModelFields};
inline constexpr auto HyperThreadsFields = only({"ht", Role::Text, "", Form::Letter});
inline constexpr Kind HyperThreadsKind = {"info,H/T", HyperThreadsFields};
inline constexpr auto SiblingsFields = only({"siblings", Role::Level, "", Form::Int});
inline constexpr Kind SiblingsKind = {"info,Sibling/Core", SiblingsFields};
inline constexpr auto MemoryFields = only({"memory", Role::Level, "MB", Form::Long});
inline constexpr Kind MemoryKind = {"info,Memory(MB)", MemoryFields};
inline constexpr auto SwapFields = only({"swap", Role::Level, "MB", Form::Long});
inline constexpr Kind SwapKind = {"info,Swap(MB)", SwapFields};
inline constexpr Field CurrentTimeFields[] = {
    {"date",    Role::Text, "",  Form::Text},
    {"seconds", Role::Time, "s", Form::Int },
};
inline constexpr Kind CurrentTimeKind = {"info,Current Time", CurrentTimeFields};

inline constexpr Field BootTimeFields[] = {
    {"date",    Role::Text, "",  Form::Text},
    {"seconds", Role::Time, "s", Form::Long},
};
inline constexpr Kind BootTimeKind = {"info,Boot Time", BootTimeFields};

inline constexpr Field UptimeFields[] = {
    {"days",    Role::Level, "", Form::Int},
    {"hours",   Role::Level, "", Form::Two},
    {"minutes", Role::Level, "", Form::Two},
    {"seconds", Role::Level, "", Form::Two},
};
inline constexpr Kind UptimeKind = {"info,Uptime", UptimeFields};

inline constexpr auto TimeZoneFields = only({"zone", Role::Level, "hours", Form::Int});
inline constexpr Kind TimeZoneKind = {"info,TimeZone", TimeZoneFields};
inline constexpr auto PageSizeFields = only({"pagesize", Role::Level, "bytes", Form::Int});
inline constexpr Kind PageSizeKind = {"info,Page Size", PageSizeFields};
inline constexpr auto ClockTickFields = only({"clocktick", Role::Level, "/s", Form::Int});
inline constexpr Kind ClockTickKind = {"info,ClockTick", ClockTickFields};

// Why something is not supplied. Some tags are misspelled and stay so, because readers of old logs know them.
inline constexpr auto NoteFields = only({"note", Role::Text, "", Form::Text});
inline constexpr Kind NoPositionsKind = {"info,Delta of file position", NoteFields};
inline constexpr Kind NoProcessIOKind = {"info,Process I/O(Charactor/SystemCall/Bytes)", NoteFields};
inline constexpr Kind NoVirtualMemoryKind = {"info,Virutal memory activities", NoteFields};
inline constexpr Kind NoDisksKind = {"info,Disk activities", NoteFields};
} // namespace classic
