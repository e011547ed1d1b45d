// The rules, by resource. Each looks at its kinds of an interval and adds what it finds to the scene.
#pragma once

#include "why/scene.h"

void judgeCpu(Scene& scene);
void judgeQuotas(Scene& scene);
void judgeForks(Scene& scene);
void judgeMemory(Scene& scene);
void judgeGroupMemory(Scene& scene);
void judgeDisks(Scene& scene);
void judgeFilesystems(Scene& scene);
void judgeLinks(Scene& scene);
void judgeListeners(Scene& scene);
void judgeRetransmissions(Scene& scene);
void judgeUnread(Scene& scene);
void judgeLimits(Scene& scene);
// "0.0.0.0:8080"
std::string objectOf(const ListenRow& listener);
// "postgres[811]"
std::string nameOfOwner(const SocketOwner& owner);
// After all others.
void judgeBlocked(Scene& scene);

// --- Processes

// What ended of the children of a process: "5.8K ended, mean 3.9 ms of CPU: sh 2903, grep 1451, cut 1450".
std::string childrenText(const Interval& interval, const ProcRow& parent);

// --- Disks

// Whether the disk holds the file, or a part of the volume that does. The disks of files have their names for people.
bool isOn(const FileRow& file, const DiskRow& disk);
// Those who moved what the disk (its row) did most of, reads or writes, as culprits, by bytes.
void addMovers(const Scene& scene, size_t disk, Finding& finding);
// Whether requests of the disk ended in the interval.
bool endsRequests(const DiskRow& disk);
// Mean number of requests under way; at the end, where none ended and the kernel has not counted their time yet.
double queueOf(const Scene& scene, const DiskRow& disk);
// "queue 17.0, writes wait 41.2 ms"
std::string busyText(const Scene& scene, const DiskRow& disk);
