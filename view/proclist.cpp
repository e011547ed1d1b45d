#include "view/proclist.h"

#include "view/format.h"
#include "view/order.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <unordered_set>

// --- Order

// clang-format off
static constexpr Order<ProcRow> Orders[] = {
    {"cpu",      [](const ProcRow& r) { return valueOf(r.cpu_us); }},
    {"wait",     [](const ProcRow& r) { return valueOf(r.wait_us); }},
    {"mem",      [](const ProcRow& r) { return valueOf(r.rss); }},
    {"growth",   [](const ProcRow& r) { return valueOf(r.growth); }},
    {"io",       [](const ProcRow& r) { return valueOf(r.read_bytes) + valueOf(r.write_bytes); }},
    {"read",     [](const ProcRow& r) { return valueOf(r.read_bytes); }},
    {"write",    [](const ProcRow& r) { return valueOf(r.write_bytes); }},
    // One major fault takes longer than any usual number of minor ones.
    {"faults",   [](const ProcRow& r) { return valueOf(r.major_faults) * 1e9 + valueOf(r.minor_faults); }},
    {"swap",     [](const ProcRow& r) { return valueOf(r.swap); }},
    {"children", [](const ProcRow& r) { return valueOf(r.children_us); }},
    {"threads",  [](const ProcRow& r) { return valueOf(r.threads); }},
    {"switches", [](const ProcRow& r) { return valueOf(r.voluntary) + valueOf(r.involuntary); }},
    {"block",    [](const ProcRow& r) { return valueOf(r.block_us); }},
    {"files",    [](const ProcRow& r) { return valueOf(r.descriptors); }},
    {"tcp",      [](const ProcRow& r) { return valueOf(r.tcp_received) + valueOf(r.tcp_sent); }},
};
// clang-format on

std::span<const std::string_view> processSorts() { return wordsOf<Orders>(); }

// Whether anything happened.
static bool isActive(const ProcRow& row) {
    const auto some = [](const auto& figure) { return figure.value_or(0) != 0; };
    return some(row.cpu_us) || some(row.wait_us) || some(row.children_us) || some(row.block_us) ||
           some(row.read_bytes) || some(row.write_bytes) || some(row.major_faults) || some(row.growth);
}

// The default order is of everything that happened; one that was asked for leaves out who has nothing of it.
static bool isShown(const ProcRow& row, const Order<ProcRow>& order) {
    return order.of(row) > 0 || (&order == Orders && isActive(row));
}

static bool precedes(const ProcRow& a, const ProcRow& b, const Order<ProcRow>& order) {
    for (const auto of : {order.of, Orders[0].of, findOrder(Orders, "io")->of}) {
        const double left = of(a), right = of(b);
        if (left != right) return left > right;
    }
    return a.pid < b.pid;
}

static void cutTo(size_t most, const Order<ProcRow>& order, std::vector<ProcLine>& lines) {
    const auto end = lines.begin() + static_cast<std::ptrdiff_t>(std::min(most, lines.size()));
    std::partial_sort(lines.begin(), end, lines.end(),
                      [&](auto& a, auto& b) { return precedes(*a.row, *b.row, order); });
    lines.erase(end, lines.end());
}

std::vector<ProcLine> flatLines(const Interval& interval, const Filter& filter, std::string_view sort, size_t most,
                                const ProcRow* culprit) {
    const auto& order = orderOf(Orders, sort);
    std::vector<ProcLine> lines;
    for (auto& row : interval.processes.rows)
        if (&row != culprit && isShown(row, order) && filter.wants(row)) lines.push_back({&row, 0, 1, {}});
    cutTo(culprit && most > 0 ? most - 1 : most, order, lines);
    if (culprit) lines.insert(lines.begin(), {culprit, 0, 1, {}});
    return lines;
}

// --- Tree

namespace {
// The processes that a tree has: those that were added, and all above them.
class Tree {
    std::unordered_map<uint64_t, const ProcRow*> known; // of the interval, by pid
    std::unordered_set<const ProcRow*> members, placed;
    std::vector<const ProcRow*> order; // of the members: as they were added
    std::unordered_map<const ProcRow*, std::vector<const ProcRow*>> below;

    const ProcRow* parentOf(const ProcRow& row) const;
    void place(const ProcRow* root, std::vector<ProcLine>& lines);

public:
    explicit Tree(const Interval& interval) {
        for (auto& row : interval.processes.rows) known.emplace(row.pid, &row);
    }
    void add(const ProcRow* row) {
        for (; row && members.insert(row).second; row = parentOf(*row)) order.push_back(row);
    }
    std::vector<ProcLine> lines();
};
} // namespace

// Null: it has no row, or the pid has been used again, by a process that is younger than its child.
const ProcRow* Tree::parentOf(const ProcRow& row) const {
    const auto found = known.find(row.parent);
    if (found == known.end() || found->second == &row || found->second->start > row.start) return nullptr;
    return found->second;
}

void Tree::place(const ProcRow* root, std::vector<ProcLine>& lines) {
    std::vector<ProcLine> left{
        {root, 0, 1, {}}
    };
    while (!left.empty()) {
        const auto line = left.back();
        left.pop_back();
        if (!placed.insert(line.row).second) continue;
        lines.push_back(line);
        const auto children = below.find(line.row);
        if (children == below.end()) continue;
        for (auto child = children->second.rbegin(); child != children->second.rend(); ++child)
            left.push_back({*child, line.depth + 1, 1, {}});
    }
}

std::vector<ProcLine> Tree::lines() {
    std::vector<const ProcRow*> roots;
    for (auto* row : order)
        if (const auto* parent = parentOf(*row)) below[parent].push_back(row);
        else roots.push_back(row);
    std::vector<ProcLine> lines;
    for (auto* root : roots) place(root, lines);
    for (auto* row : order) place(row, lines); // a forged log can have circles
    return lines;
}

std::vector<ProcLine> treeLines(const Interval& interval, std::span<const ProcLine> flat) {
    Tree tree(interval);
    for (auto& line : flat) tree.add(line.row);
    return tree.lines();
}

// --- Sums

static void addLevels(const ProcRow& row, ProcRow& sum) {
    const auto add = [](const auto& from, auto& to) {
        if (from) to = to.value_or(0) + *from;
    };
    add(row.rss, sum.rss), add(row.anonymous, sum.anonymous), add(row.swap, sum.swap);
    add(row.threads, sum.threads), add(row.descriptors, sum.descriptors);
}

std::vector<ProcLine> sumLines(const Interval& interval, const Filter& filter, std::string_view by,
                               std::string_view sort, size_t most, std::vector<ProcRow>& sums) {
    std::unordered_map<std::string_view, size_t> places;
    std::vector<ProcLine> all;
    sums.clear();
    const auto add = [&](const ProcRow& row, std::string_view name, uint64_t count) {
        const auto [at, fresh] = places.try_emplace(name, sums.size());
        if (fresh) sums.emplace_back(), all.push_back({nullptr, 0, 0, name});
        addAmounts(ProcKind, row, sums[at->second]);
        addLevels(row, sums[at->second]);
        all[at->second].count += count;
    };
    for (auto& row : interval.processes.rows)
        if (filter.wants(row)) add(row, by == "user" ? row.user : by == "unit" ? row.unit : row.name, 1);
    // Of the rows that found no room only the sum is known, not how many they were.
    if (interval.processes.rest && !filter.any()) add(*interval.processes.rest, "(others)", 0);
    const auto& order = orderOf(Orders, sort);
    std::vector<ProcLine> lines;
    for (size_t i = 0; i < all.size(); i++) {
        all[i].row = &sums[i];
        if (isShown(sums[i], order)) lines.push_back(all[i]);
    }
    cutTo(most, order, lines);
    return lines;
}
