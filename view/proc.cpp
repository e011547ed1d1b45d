#include "view/proc.h"

#include "view/filter.h"
#include "view/format.h"
#include "view/proclist.h"

#include <algorithm>
#include <vector>

// --- Cells

static std::string growthText(const std::optional<int64_t>& growth) {
    return !growth ? std::string(NoValue) : (*growth > 0 ? "+" : "") + sizeText(valueOf(growth));
}

// Who waited for a CPU as long as that has noticed it.
static Tone toneOfWait(double wait_us, double elapsed_us) {
    constexpr double Long = 0.2;
    return wait_us > Long * elapsed_us ? Tone::Notice : Tone::Plain;
}

// From the CPU to the faults.
static void figureCells(const ProcRow& row, double elapsed_us, bool tcp, Table& table) {
    const double seconds = elapsed_us / 1e6;
    const auto share = [&](const std::optional<uint64_t>& us) { return percentText(us, elapsed_us); };
    const auto speed = [&](const auto& bytes) { return speedText(bytes, seconds); };
    const auto rate = [&](const auto& amount) { return rateText(amount, seconds); };
    table.cell(share(row.cpu_us));
    table.cell(share(row.wait_us), toneOfWait(valueOf(row.wait_us), elapsed_us));
    table.cell(share(row.block_us));
    table.cell(share(row.children_us));
    table.cell(orNone(row.threads, countText));
    table.cell(orNone(row.rss, sizeText));
    table.cell(growthText(row.growth));
    table.cell(orNone(row.swap, sizeText));
    table.cell(speed(row.read_bytes)), table.cell(speed(row.write_bytes));
    if (tcp)
        table.cell(row.tcp_received ? speed(std::optional(*row.tcp_received + row.tcp_sent.value_or(0)))
                                    : std::string(NoValue));
    table.cell(rate(row.major_faults)), table.cell(rate(row.minor_faults));
    table.cell(row.voluntary || row.involuntary ? rate(row.voluntary.value_or(0) + row.involuntary.value_or(0))
                                                : std::string(NoValue));
    table.cell(orNone(row.descriptors, countText));
}

// What people know a process by: the command line without the directory of its program. A kernel thread has none, only
// a name.
static std::string commandOf(const ProcRow& row) {
    if (row.command.empty()) return safeText(row.kernel ? "[" + row.name + "]" : row.name);
    std::string_view command = row.command;
    const auto end = std::min(command.find(' '), command.size());
    if (const auto slash = command.rfind('/', end); command.starts_with('/') && slash != command.npos)
        command.remove_prefix(slash + 1 < end ? slash + 1 : 0);
    return safeText(command);
}

// As much of a name as its column has room for; ".." stands for the rest.
static std::string shortened(const std::string& text, size_t width) {
    return textWidth(text) <= width ? text : std::string(cutToWidth(text, width - 2)) + "..";
}

// --- Tables

static constexpr Column Figures[] = {
    {"cpu%",   5, 0, false},
    {"wait%",  5, 2, false},
    {"blk%",   5, 9, false},
    {"chld%",  5, 6, false},
    {"thr",    4, 7, false},
    {"rss",    5, 2, false},
    {"+mem",   5, 3, false},
    {"swap",   5, 6, false},
    {"rMB/s",  5, 1, false},
    {"wMB/s",  5, 1, false},
    {"majf/s", 6, 5, false},
    {"minf/s", 6, 8, false},
    {"csw/s",  5, 9, false},
    {"fds",    5, 9, false},
};

// Where sockets are looked at.
static constexpr Column Tcp = {"TCPMB/s", 7, 3, false};

static bool knowsTcp(const std::vector<ProcLine>& lines) {
    return std::any_of(lines.begin(), lines.end(), [](auto& line) { return line.row->tcp_received.has_value(); });
}

static std::vector<Column> withFigures(std::initializer_list<Column> first, bool tcp,
                                       std::initializer_list<Column> last) {
    std::vector<Column> columns(first);
    for (const auto& column : Figures) {
        columns.push_back(column);
        if (tcp && column.title == "wMB/s") columns.push_back(Tcp);
    }
    columns.insert(columns.end(), last);
    return columns;
}

static void showLines(const std::vector<ProcLine>& lines, const ProcRow* culprit, double elapsed_us, Page& page) {
    constexpr size_t UserWidth = 10, UnitWidth = 18, DeepestIndent = 40;
    const bool tcp = knowsTcp(lines);
    const auto columns = withFigures(
        {
            {"PROC", 4, 0, true },
            {"pid",  7, 0, false},
            {"user", 8, 4, true },
            {"S",    1, 1, true }
    },
        tcp, {{"unit", 8, 4, true}, {"command", 20, 0, true, true}});
    Table table(columns);
    for (auto& line : lines) {
        const auto& row = *line.row;
        table.cell(&row == culprit ? ">" : "", Tone::Bad);
        table.cell(std::to_string(row.pid));
        table.cell(shortened(safeText(row.user), UserWidth));
        table.cell(row.state ? safeText({&row.state, 1}) : std::string(NoValue),
                   row.state == 'D' ? Tone::Notice : Tone::Plain);
        figureCells(row, elapsed_us, tcp, table);
        table.cell(shortened(safeText(row.unit), UnitWidth));
        table.cell(std::string(2 * std::min(line.depth, DeepestIndent), ' ') + commandOf(row));
    }
    table.show(page);
}

static void showSums(const std::vector<ProcLine>& lines, std::string_view by, double elapsed_us, Page& page) {
    const bool tcp = knowsTcp(lines);
    const auto columns = withFigures(
        {
            {"PROC", 4, 0, true },
            {"n",    7, 0, false}
    },
        tcp, {{by, 12, 0, true, true}});
    Table table(columns);
    for (auto& line : lines) {
        table.cell("");
        table.cell(line.count ? std::to_string(line.count) : std::string(NoValue));
        figureCells(*line.row, elapsed_us, tcp, table);
        table.cell(line.name.empty() ? std::string(NoValue) : safeText(line.name));
    }
    table.show(page);
}

// What the processes explain of the CPU time. Their clocks are read one after another, after /proc/stat, which counts
// in ticks: what is a little more than all is all. What is much more is shown as it was measured.
static std::string accountedText(double accounted, double used) {
    const bool isMuchMore = accounted * 1000 > used * 1015;
    return percentText(isMuchMore ? accounted : std::min(accounted, used), used) + "%";
}

// "412 processes: 38 ran, 14 shown; 28 started, 27 ended; CPU accounted for 99.2% (irq 4.0%); 3 without I/O figures"
static std::string summary(const ProcsRow& all, size_t shown, const char* what) {
    std::string text = counted(all.processes, "process", "es") + ": " + std::to_string(all.ran) + " ran, " +
                       std::to_string(shown) + what;
    if (all.blocked > 0) text += ", " + std::to_string(all.blocked) + " blocked";
    if (all.zombies > 0) text += ", " + counted(all.zombies, "zombie");
    if (all.started && all.ended)
        text += "; " + std::to_string(*all.started) + " started, " + std::to_string(*all.ended) + " ended";
    // Of less CPU time the clock's ticks and the reading itself are too large a part.
    constexpr uint64_t Least = 100000; // microseconds
    if (all.accounted_us && all.used_us.value_or(0) >= Least) {
        const auto used = valueOf(all.used_us);
        text += "; CPU accounted for " + accountedText(valueOf(all.accounted_us), used);
        if (all.irq_us) text += " (irq " + percentText(valueOf(all.irq_us), used) + "%)";
    }
    if (all.without_io > 0) text += "; " + std::to_string(all.without_io) + " without I/O figures: wyrt check";
    if (!all.hidden_by.empty())
        text += "; " + (all.hidden ? "~" + counted(*all.hidden, "thread") + " of others" : std::string("others")) +
                " hidden: " + safeText(all.hidden_by);
    return text;
}

static const ProcRow* culpritOf(const Interval& interval) {
    const auto* who = firstCulprit(interval.who);
    if (!who) return nullptr;
    for (auto& row : interval.processes.rows)
        if (row.pid == who->pid && row.start == who->start) return &row;
    return nullptr;
}

void showProcesses(const Interval& interval, const View& view, Page& page) {
    constexpr size_t MostRows = 12;
    const auto* all = interval.processesTotal.one();
    if (!all) return;
    const auto& asked = view.asked;
    const double elapsed_us = static_cast<double>(interval.processesTotal.elapsed_us);
    const Filter filter(asked, interval);
    if (!asked.by.empty()) {
        std::vector<ProcRow> sums;
        const auto lines = sumLines(interval, filter, asked.by, asked.sort, view.rowsOr(MostRows), sums);
        const auto text = summary(*all, lines.size(), " sums shown");
        if (lines.empty()) return page.clauses("PROC  " + text);
        showSums(lines, asked.by, elapsed_us, page);
        return page.clauses(text, Tone::Dim);
    }
    const auto* culprit = culpritOf(interval);
    auto lines = flatLines(interval, filter, asked.sort, view.rowsOr(MostRows), culprit);
    if (asked.tree) lines = treeLines(interval, lines);
    const auto text = summary(*all, lines.size(), " shown");
    if (lines.empty()) return page.clauses("PROC  " + text);
    showLines(lines, culprit, elapsed_us, page);
    page.clauses(text, Tone::Dim);
}
