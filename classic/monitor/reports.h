// The reports. Each takes a sample of its own data and prints the figures of the interval since the previous sample.
// All take the pass number (0 only takes a first sample) and the slots of the current and the previous sample.
#pragma once

#include <cstdint>

struct TSystemInfo;
struct TProcTable;

int dispbasic(int CallingIndex, int icur, int ipre);

// nMode 0 samples and ranks the processes, 1 prints them. The thresholds are in 0.001 % of a core and in KB.
int dispproc(int CallingIndex, int icur, int ipre, int CPUThreshold, int TPUThreshold, int64_t RSSThreshold,
             int CommandLength, int nMode);
// The processes of a slot's last sample.
TProcTable* currentProcesses(int icur);
// Sockets with their owners among the processes; null: without processes, and so without owners.
int dispport(int CallingIndex, int icur, int ipre, TProcTable* processes, int PortRefLength);
// Processes, files and sockets once, before the loop. Thread monitoring is off after it.
void dispStartListing(int CommandLength, int PortRefLength);

int dispnetif(int CallingIndex, int icur, int ipre);
int dispdisk(int CallingIndex, int icur, int ipre);
int disptcpext(int CallingIndex, int icur, int ipre);
void dispfs(int CallingIndex, int icur, int ipre);

// The block of host facts, and the same as records.
void dispSystemInfo(const TSystemInfo& info);
void dispSystemInfoRecords(const TSystemInfo& info);
// The first line of every run.
extern const char* const Banner;

// The lines that name the fields of the records, printed once in log saving mode.
void dispBasicHeader();
void dispPortHeaders();
void dispNetifHeader();
void dispDiskHeader();
void dispProtocolHeaders();
void dispProcHeaders();
