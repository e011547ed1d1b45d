#include "view/fs.h"

#include "view/format.h"

#include <algorithm>
#include <vector>

// "stuck since 14:05:08"; with the day when that was not in the last 24 hours.
static std::string stuckText(Moment end, uint64_t stuck_us) {
    constexpr uint64_t DayUs = 86400000000;
    constexpr size_t Date = 10, Time = 8; // characters
    end.epoch_ms -= static_cast<int64_t>(stuck_us / 1000);
    std::string text;
    appendMoment(text, end);
    const auto day = stuck_us >= DayUs ? text.substr(0, Date) + " " : std::string();
    return "stuck since " + day + text.substr(Date + 1, Time);
}

// Its volume, or its device without the folder of devices, and its type.
static std::string sourceText(const FsRow& row) {
    std::string_view source = row.volume.empty() ? row.source : row.volume;
    for (std::string_view folder : {"/dev/mapper/", "/dev/"})
        if (source.starts_with(folder)) {
            source.remove_prefix(folder.size());
            break;
        }
    return safeText(source) + " " + safeText(row.type);
}

static void cells(const FsRow& row, const Interval& interval, Table& table) {
    const auto use = useOf(row);
    const auto tone = row.read_only       ? Tone::Plain
                      : use >= Full       ? Tone::Bad
                      : use >= NearlyFull ? Tone::Notice
                                          : Tone::Plain;
    const auto percent = [](double share) { return fixedText(share, 1); };
    table.cell("");
    table.cell(orNone(row.size, sizeText)), table.cell(orNone(row.available, sizeText));
    table.cell(orNone(use, percent), tone), table.cell(orNone(inodeUseOf(row), percent));
    const double seconds = interval.filesystemsTotal.seconds();
    table.cell(row.growth && seconds > 0 ? sizeText(static_cast<double>(*row.growth) / seconds) : std::string(NoValue));
    table.cell(row.full_in_s ? spanText(static_cast<double>(*row.full_in_s)) : std::string(NoValue));
    if (row.stuck_us) table.cell(safeText(row.point) + "  " + stuckText(interval.time, *row.stuck_us), Tone::Bad);
    else table.cell(safeText(row.point));
    table.cell(sourceText(row));
}

void showFilesystems(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"FS",      8, 0, true },
        {"size",    6, 2, false},
        {"free",    6, 0, false},
        {"use%",    5, 0, false},
        {"inode%",  6, 3, false},
        {"grows/s", 7, 1, false},
        {"full in", 7, 1, false},
        {"mount",   0, 0, true },
        {"on",      0, 4, true },
    };
    const auto* all = interval.filesystemsTotal.one();
    if (!all) return;
    std::vector<const FsRow*> rows;
    for (auto& row : interval.filesystems.rows)
        if (!isQuiet(row)) rows.push_back(&row);
    std::stable_sort(rows.begin(), rows.end(), [](auto* a, auto* b) {
        return a->stuck_us.has_value() != b->stuck_us.has_value() ? a->stuck_us.has_value()
                                                                  : useOf(*a).value_or(0) > useOf(*b).value_or(0);
    });
    std::string others = all->filesystems == 0 ? "none answers"
                                               : std::to_string(all->quiet) + " of " +
                                                     std::to_string(all->filesystems) + " below 80% and still";
    if (rows.empty()) {
        size_t used = 0;
        page.piece("FS", used, Tone::Title), page.piece("  " + others, used);
        return page.newline();
    }
    constexpr size_t Most = 12;
    const size_t shown = std::min(rows.size(), view.rowsOr(Most));
    Table table(Columns);
    for (size_t i = 0; i < shown; i++) cells(*rows[i], interval, table);
    if (!all->quiet) others.clear();
    if (rows.size() > shown)
        others += (others.empty() ? "" : ", ") + std::to_string(rows.size() - shown) + " not shown";
    table.show(page, others.empty() ? others : "(" + others + ")");
}
