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
    uint64_t overruns = 0;
    // Of processes whose first thread has ended before others: its status and name are those of the process.
    struct First {
        uint32_t status;
        Text<17> name;
    };
    std::unordered_map<uint32_t, First> firsts;
    std::vector<EndedProcess> reported; // since the last sample
    bool full = false;                  // more came than are kept
    int64_t lookAt = INT64_MAX;
    NoReports state; // the last member: it is found out by means of the others

    NoReports begin();
    bool takeMessages(uint32_t awaited);
    void add(const EndedTask& task);

public:
    explicit ChurnSampler(const Root& where);
    NoReports reports() const { return state; }
    // Whether a right forbids the reports: one question, which is asked once.
    uint64_t notAllowed() const { return state == NoReports::Refused ? 1 : 0; }
    void sample(ChurnSample& now);
    // Between two samples: takes reports, which may not find room until the next one.
    int64_t nextLook() const { return lookAt; } // monotonic; INT64_MAX: there are no reports
    void look();
    static constexpr size_t MostReports = 1 << 18; // between two samples: 16 MB
};
