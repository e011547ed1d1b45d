#include "model/procshown.h"

#include <algorithm>
#include <functional>
#include <utility>

static uint64_t levelOf(const ProcSample& sample, const ProcEntry& entry, std::string_view sort) {
    const auto& process = sample.slots[entry.slot];
    if (sort == "mem") return process.rss.value_or(0);
    if (sort == "swap") return process.swap.value_or(0);
    if (sort == "files") return process.descriptors.value_or(0);
    return sort == "threads" ? entry.threads : 0;
}

static void markLargest(const ProcSample& sample, const ViewRow& asked, std::vector<char>& shown) {
    constexpr size_t Usual = 20, Filtered = 500; // with a filter it is not known which of them are shown
    const bool filtered = !asked.user.empty() || !asked.pid.empty() || !asked.command.empty() ||
                          !asked.cgroup.empty() || !asked.by.empty();
    const size_t most = filtered ? Filtered : asked.rows ? std::min<size_t>(*asked.rows, Filtered) : Usual;
    std::vector<std::pair<uint64_t, size_t>> figures;
    for (size_t i = 0; i < sample.entries.size(); i++)
        if (const auto level = levelOf(sample, sample.entries[i], asked.sort)) figures.emplace_back(level, i);
    const auto end = figures.begin() + static_cast<std::ptrdiff_t>(std::min(most, figures.size()));
    std::partial_sort(figures.begin(), end, figures.end(), std::greater<>());
    for (auto figure = figures.begin(); figure != end; ++figure) shown[figure->second] = 1;
}

static void markAbove(const ProcSample& sample, std::vector<char>& shown) {
    constexpr int Deepest = 64;
    for (auto& entry : sample.entries) {
        if (!entry.tell) continue;
        int parent = sample.slots[entry.slot].parent;
        for (int step = 0; step < Deepest; step++) {
            const auto at = std::lower_bound(sample.entries.begin(), sample.entries.end(), parent,
                                             [](auto& e, int pid) { return e.pid < pid; });
            if (at == sample.entries.end() || at->pid != parent) break;
            auto& mark = shown[static_cast<size_t>(at - sample.entries.begin())];
            if (mark) break;
            mark = 1;
            parent = sample.slots[at->slot].parent;
        }
    }
}

void markShown(const ProcSample& sample, const ViewRow& asked, std::vector<char>& shown) {
    shown.clear();
    if (asked.sort.empty() && !asked.tree) return;
    shown.assign(sample.entries.size(), 0);
    for (const char* level : {"mem", "swap", "threads", "files"})
        if (asked.sort == level) markLargest(sample, asked, shown);
    if (asked.tree) markAbove(sample, shown);
}
