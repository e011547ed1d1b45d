#include "model/churn.h"

#include "model/amounts.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace {
// The process of a pid, as far as it is known.
struct Known {
    uint64_t start = 0;
    std::string_view name, unit;
};

class Sums {
    const ProcSample& processes;
    std::unordered_map<uint32_t, Known> ended; // those that the last sample saw, and those that were only reported
    std::map<std::pair<uint32_t, std::string_view>, size_t> places;
    Rows<ChurnRow>& rows;

public:
    Sums(const ProcSample& known, Rows<ChurnRow>& churn) : processes(known), rows(churn) {
        for (auto& gone : known.gone)
            ended.try_emplace(static_cast<uint32_t>(gone.pid), Known{gone.start, gone.name, {}});
    }
    const ProcEntry* find(uint32_t pid) const { return processes.find(static_cast<int>(pid)); }
    // The name of a process that no sample saw, which can be a parent of others.
    void name(const EndedProcess& report) { ended.try_emplace(report.pid, Known{0, report.name.view(), {}}); }
    Known parentOf(const EndedProcess& report) const {
        if (const auto* entry = find(report.parent)) {
            auto& process = processes.slots[entry->slot];
            return {process.start, process.name, process.group ? std::string_view(process.group->unit) : ""};
        }
        const auto found = ended.find(report.parent);
        return found == ended.end() ? Known{} : found->second;
    }
    void add(const EndedProcess& report);
};
} // namespace

static uint64_t codeOf(const EndedProcess& report) { return report.status >> 8 & 0xFFU; }
static uint64_t signalOf(const EndedProcess& report) { return report.status & 0x7FU; }

void Sums::add(const EndedProcess& report) {
    const auto [at, fresh] = places.try_emplace({report.parent, report.name.view()}, rows.rows.size());
    if (fresh) {
        auto& row = rows.rows.emplace_back();
        const auto parent = parentOf(report);
        row.parent = report.parent, row.parent_start = parent.start;
        row.parent_name = parent.name, row.unit = parent.unit;
        row.command = report.name.view();
        for (auto* sum : {&row.ended, &row.cpu_us, &row.life_us, &row.failed, &row.killed}) *sum = 0;
    }
    auto& row = rows.rows[at->second];
    row.ended = *row.ended + 1;
    row.cpu_us = *row.cpu_us + report.cpu_ns / 1000;
    row.life_us = *row.life_us + report.life_us;
    row.failed = *row.failed + (signalOf(report) == 0 && codeOf(report) != 0);
    row.killed = *row.killed + (signalOf(report) != 0);
}

// `own_ns`: what it had at the last sample.
static void fillExit(const EndedProcess& report, std::optional<uint64_t> own_ns, ExitRow& row) {
    if (own_ns) row.cpu_us = (report.cpu_ns - std::min(report.cpu_ns, *own_ns)) / 1000;
    row.signal = signalOf(report);
    if (*row.signal == 0) row.code = codeOf(report);
    row.life_us = report.life_us;
}

// Returns how many processes no sample saw.
static uint64_t addReports(const ChurnSample& now, const ProcSample& known, WaitingReports& waiting,
                           Rows<ExitRow>& exits, Rows<ChurnRow>& churn) {
    Sums sums(known, churn);
    struct Open {
        ExitRow* row;
        std::optional<uint64_t> own_ns;
    };
    std::unordered_map<uint64_t, Open> open; // rows whose report has not come, by pid
    for (auto& row : exits.rows) open.emplace(row.pid, Open{&row, {}});
    for (auto& gone : known.gone)
        if (const auto row = open.find(static_cast<uint64_t>(gone.pid)); row != open.end())
            row->second.own_ns = gone.own_ns;
    WaitingReports unseen, kept;
    // A pid can be used again within the interval: the process that the last sample saw ended before the others.
    const auto take = [&](const EndedProcess& report) {
        const auto row = open.find(report.pid);
        if (row != open.end()) return fillExit(report, row->second.own_ns, *row->second.row), void(open.erase(row));
        if (sums.find(report.pid)) return kept.push_back(report);
        unseen.push_back(report);
    };
    for (auto& report : waiting) take(report);
    for (auto& report : now.ended) take(report);
    for (auto& report : unseen) sums.name(report);
    for (auto& report : unseen) sums.add(report);
    waiting = std::move(kept);
    return unseen.size();
}

// Without reports only the parents tell: the CPU time of children that ended, less what they had when they were seen.
static void addParents(const Rows<ProcRow>& processes, Rows<ChurnRow>& churn) {
    for (auto& process : processes.rows) {
        if (process.children_us.value_or(0) == 0) continue;
        auto& row = churn.rows.emplace_back();
        row.parent = process.pid, row.parent_start = process.start;
        row.parent_name = process.name, row.unit = process.unit;
        row.cpu_us = process.children_us;
    }
}

void churnRows(const ChurnSample& now, const ProcSample& known, const Rows<ProcRow>& processes, WaitingReports& waiting,
               Rows<ExitRow>& exits, Rows<ChurnsRow>& all, Rows<ChurnRow>& churn) {
    if (!known.known || !known.paired) return;
    all.sampled = churn.sampled = true;
    all.elapsed_us = churn.elapsed_us = known.at_us - known.before_us;
    auto& total = all.rows.emplace_back();
    if (known.forks && known.forksBefore) total.forks = grown(*known.forksBefore, *known.forks);
    total.lost = now.lost;
    if (!now.reported) return addParents(processes, churn);
    total.ended = now.ended.size();
    total.unseen = addReports(now, known, waiting, exits, churn);
}
