#include "model/procshown.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace {
// What idle processes may have most of, by the word of --sort.
struct Level {
    std::string_view word;
    uint64_t (*of)(const Process& process);
};
} // namespace

static constexpr Level Levels[] = {
    {"mem",     [](const Process& process) { return process.rss.value_or(0); }        },
    {"swap",    [](const Process& process) { return process.swap.value_or(0); }       },
    {"threads", [](const Process& process) { return process.threads; }                },
    {"files",   [](const Process& process) { return process.descriptors.value_or(0); }},
};

static void markLargest(const ProcSample& sample, const Level& level, const ViewRow& asked, std::vector<char>& shown) {
    constexpr size_t Usual = 20, Filtered = 500; // with a filter it is not known which of them are shown
    const bool filtered = !asked.user.empty() || !asked.pid.empty() || !asked.command.empty() ||
                          !asked.cgroup.empty() || !asked.by.empty();
    const size_t most = filtered ? Filtered : asked.rows ? std::min<size_t>(*asked.rows, Filtered) : Usual;
    std::vector<std::pair<uint64_t, size_t>> figures;
    for (size_t i = 0; i < sample.entries.size(); i++)
        if (const auto figure = level.of(sample.slots[sample.entries[i].slot])) figures.emplace_back(figure, i);
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
            const auto* above = sample.find(parent);
            if (!above) break;
            auto& mark = shown[static_cast<size_t>(above - sample.entries.data())];
            if (mark) break;
            mark = 1;
            parent = sample.slots[above->slot].parent;
        }
    }
}

void markShown(const ProcSample& sample, const ViewRow& asked, std::vector<char>& shown) {
    shown.clear();
    if (asked.sort.empty() && !asked.tree) return;
    shown.assign(sample.entries.size(), 0);
    for (const auto& level : Levels)
        if (asked.sort == level.word) markLargest(sample, level, asked, shown);
    if (asked.tree) markAbove(sample, shown);
}
