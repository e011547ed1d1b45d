// A machine whose processes are sampled, and the rows that are made of them.
#pragma once

#include "model/proc.h"
#include "sample/proc.h"
#include "tests/unit/made.h"
#include "tests/unit/process.h"

#include <cstdint>
#include <string>

// The rows of one interval.
struct ProcessResult {
    Rows<ProcsRow> all;
    Rows<ProcRow> processes;
    Rows<StartRow> starts;
    Rows<ExitRow> exits;
    const ProcRow* find(uint64_t pid) const {
        for (auto& row : processes.rows)
            if (row.pid == pid) return &row;
        return nullptr;
    }
    const ProcsRow& total() const { return all.rows.at(0); }
};

// A machine with a sampler that has taken its first sample. Each step takes a second.
struct ProcessMachine {
    Made made;
    Helper helper;
    ProcSampler sampler{Root(), helper};
    ProcSample sample;
    explicit ProcessMachine(const std::string& lines) : made("boot 100\n" + lines) { sampler.sample(sample); }
    ProcessResult next(bool complete = false) {
        made.step();
        sampler.sample(sample);
        ProcessResult result;
        processRows(sample, complete, result.all, result.processes, result.starts, result.exits);
        return result;
    }
};

// The lines of a world by which a process ends.
inline std::string gone(int pid) {
    return "gone /proc/" + std::to_string(pid) + "\ncpuclock " + std::to_string(pid) + " gone\n";
}
