// Processes that ended, as the kernel reports each of them (taskstats).
#pragma once

#include "base/netlink.h"
#include "base/root.h"
#include "parse/taskstats.h"
#include "sample/reports.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

struct EndedProcess {
    uint32_t pid = 0, parent = 0, uid = 0;
    uint32_t status = 0; // as wait() gives it
    uint64_t cpu_ns = 0, life_us = 0;
    Text<17> name;
};

struct ChurnSample {
    int64_t at_us = 0;               // monotonic
    bool reported = false;           // the kernel reports what ends
    uint64_t lost = 0;               // times that reports were lost since the last sample
    std::vector<EndedProcess> ended; // since the last sample, in this order
};

class ChurnSampler {
    Root root;
    Netlink socket;
    Contents message;
    NoReports state;
    uint64_t overruns = 0;
    // Of processes whose first thread has ended before others: its status and name are those of the process.
    struct First {
        uint32_t status;
        Text<17> name;
    };
    std::unordered_map<uint32_t, First> firsts;

    NoReports begin();
    void takeMessages(std::vector<EndedProcess>* ended, uint32_t awaited, bool& seen);
    void add(const EndedTask& task, std::vector<EndedProcess>& ended);

public:
    explicit ChurnSampler(const Root& where);
    NoReports reports() const { return state; }
    // Whether a right forbids the reports: one question, which is asked once.
    uint64_t notAllowed() const { return state == NoReports::Refused ? 1 : 0; }
    void sample(ChurnSample& now);
};
