#include "view/thread.h"

#include "view/filter.h"
#include "view/format.h"
#include "view/order.h"

#include <algorithm>
#include <vector>

// clang-format off
static constexpr Order<ThreadRow> Orders[] = {
    {"cpu",    [](const ThreadRow& r) { return valueOf(r.cpu_us); }},
    {"wait",   [](const ThreadRow& r) { return valueOf(r.wait_us); }},
    {"block",  [](const ThreadRow& r) { return valueOf(r.block_us); }},
    // One major fault takes longer than any usual number of minor ones.
    {"faults", [](const ThreadRow& r) { return valueOf(r.major_faults) * 1e9 + valueOf(r.minor_faults); }},
};
// clang-format on

std::span<const std::string_view> threadSorts() { return wordsOf<Orders>(); }

// A process with one thread is that thread, and has no row of its own among them.
static ThreadRow threadOf(const ProcRow& process) {
    ThreadRow row;
    row.pid = row.tid = process.pid, row.start = row.thread_start = process.start;
    row.name = row.process = process.name, row.state = process.state;
    row.cpu_us = process.cpu_us, row.user_us = process.user_us, row.system_us = process.system_us;
    row.wait_us = process.wait_us, row.block_us = process.block_us;
    row.minor_faults = process.minor_faults, row.major_faults = process.major_faults;
    row.nice = process.nice;
    return row;
}

static std::vector<ThreadRow> ordered(const Interval& interval, const View& view, size_t most) {
    const Filter filter(view.asked, interval);
    std::vector<ThreadRow> rows;
    const bool asked = findOrder(Orders, view.asked.sort) != nullptr;
    const auto of = orderOf(Orders, view.asked.sort).of;
    const auto add = [&](const ThreadRow& row) {
        if (of(row) > 0 || (!asked && valueOf(row.wait_us) > 0)) rows.push_back(row);
    };
    for (auto& row : interval.threads.rows)
        if (filter.wants(row)) add(row);
    for (auto& process : interval.processes.rows)
        if (process.threads == 1 && filter.wants(process)) add(threadOf(process));
    const auto end = rows.begin() + static_cast<std::ptrdiff_t>(std::min(most, rows.size()));
    std::partial_sort(rows.begin(), end, rows.end(), [&](auto& a, auto& b) {
        const double left = of(a), right = of(b);
        if (left != right) return left > right;
        return valueOf(a.wait_us) != valueOf(b.wait_us) ? valueOf(a.wait_us) > valueOf(b.wait_us) : a.tid < b.tid;
    });
    rows.erase(end, rows.end());
    return rows;
}

void showThreads(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"THREAD", 7, 0, false},
        {"pid", 7, 0, false},
        {"S", 1, 1, true},
        {"cpu%", 5, 0, false},
        {"wait%", 5, 0, false},
        {"usr%", 5, 2, false},
        {"sys%", 5, 2, false},
        {"blk%", 5, 4, false},
        {"majf/s", 6, 3, false},
        {"minf/s", 6, 5, false},
        {"core", 4, 4, false},
        {"ni", 3, 6, false},
        {"name", 15, 0, true},
        {"process", 8, 1, true, true},
    };
    constexpr size_t MostRows = 20;
    const auto* all = interval.threadsTotal.one();
    if (!all) return;
    const auto rows = ordered(interval, view, view.rowsOr(MostRows));
    const std::string sum = counted(all->threads, "thread") +
                            " of the processes that ran: " + std::to_string(all->ran) + " ran, " +
                            std::to_string(rows.size()) + " shown";
    if (rows.empty()) return page.clauses("THREAD  " + sum);
    const auto elapsed_us = static_cast<double>(interval.threadsTotal.elapsed_us);
    Table table(Columns);
    for (auto& row : rows) {
        const auto share = [&](const std::optional<uint64_t>& us) { table.cell(percentText(us, elapsed_us)); };
        const auto rate = [&](const std::optional<uint64_t>& count) { table.cell(rateText(count, elapsed_us / 1e6)); };
        table.cell(std::to_string(row.tid)), table.cell(std::to_string(row.pid));
        table.cell(row.state ? safeText({&row.state, 1}) : std::string(NoValue),
                   row.state == 'D' ? Tone::Notice : Tone::Plain);
        share(row.cpu_us), share(row.wait_us), share(row.user_us), share(row.system_us), share(row.block_us);
        rate(row.major_faults), rate(row.minor_faults);
        table.cell(row.core ? std::to_string(*row.core) : std::string(NoValue));
        table.cell(row.nice ? std::to_string(*row.nice) : std::string(NoValue));
        table.cell(safeText(row.name)), table.cell(safeText(row.process));
    }
    table.show(page);
    page.clauses(sum, Tone::Dim);
}
