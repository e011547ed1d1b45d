// The counters that `wyrt push` and `wyrt serve` go on with: what is read is written and read again as it was, and
// whatever it says, the series go on. With an odd first byte the checksum is mended first.
#include "fuzz/check.h"
#include "record/crc.h"
#include "record/log.h"
#include "tests/unit/made.h"
#include "wyrtlog/influx.h"
#include "wyrtlog/serve/answers.h"
#include "wyrtlog/statefile.h"

#include <cstdint>
#include <cstring>

static constexpr int64_t Start = 1795266310000; // of the log, milliseconds

// With the checksum that its text should have.
static std::string summed(std::string_view text) {
    const auto comma = text.rfind(',');
    if (comma == text.npos) return std::string(text);
    char sum[16];
    snprintf(sum, sizeof sum, ",%08x\n", crc32c(text.substr(0, comma)));
    return std::string(text.substr(0, comma)) + sum;
}

// A log of one host: a disk and a process in each of two intervals.
static std::string madeLog() {
    std::string log;
    LogWriter writer;
    writer.head({"1.2.0", "db7", "boot", "run"}, {}, {Start, 0}, log);
    Interval interval;
    auto& disk = interval.disks.rows.emplace_back();
    disk.name = "sda", disk.device = "8:0", disk.reads = 5, disk.in_flight = 1;
    auto& process = interval.processes.rows.emplace_back();
    process.name = "x", process.pid = 7, process.cpu_us = 1000000;
    for (uint64_t number = 1; number <= 2; number++) {
        interval.number = number;
        interval.time = {Start + static_cast<int64_t>(number) * 10000, 0};
        interval.elapsed_us = 10000000;
        writer.interval(interval, log);
    }
    return log;
}

static void give(std::string_view log, SeriesFormat& series) {
    LogReader reader([&](char* to, size_t size) {
        const size_t n = log.copy(to, size);
        log.remove_prefix(n);
        return n;
    });
    reader.leaveOutRows();
    Sheets sheets;
    Cells cells;
    Interval interval;
    for (LogReader::Found found{}; (found = reader.next(interval)) != LogReader::Found::End;) {
        if (found == LogReader::Found::Head)
            check(sheets.takeHead(reader).empty() && series.head(reader.head(), sheets));
        else if (series.begin(interval))
            check(series.end(eachLine(reader.text(), sheets, cells, [&](auto& sheet, auto& all, std::string_view line) {
                return series.line(sheet, all, line);
            })));
    }
}

// What has been saved is there again.
static void checkSaved(const SeriesFormat& series) {
    const auto text = totalsText(series.totals());
    const auto totals = parseTotals(text);
    check(totals && totalsText(*totals) == text);
    check(replaceState("/cursor", text) && readState("/cursor", LongestTotals) == text);
}

template <typename Series> static void checkSeries(Totals totals, Series&& series) {
    static const std::string log = madeLog();
    totals.of = series.totals().of;
    if (!series.take(totals)) return;
    checkSaved(series);
    give(log, series);
    checkSaved(series);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Made machine("");
    if (size == 0) return 0;
    const std::string_view given(reinterpret_cast<const char*>(data) + 1, size - 1);
    const auto totals = parseTotals(data[0] % 2 ? summed(given) : std::string(given));
    if (!totals) return 0;
    const auto text = totalsText(*totals);
    const auto again = parseTotals(text);
    check(again && totalsText(*again) == text && again->of == totals->of);
    check(again->hosts.size() == totals->hosts.size() && again->things.size() == totals->things.size());
    beginOf(*totals, Start);
    std::string points;
    checkSeries(*totals, InfluxFormat([&](std::string_view more) { return points += more, true; }, {}));
    ScrapeFormat scrape{SeriesChoice()};
    checkSeries(*totals, scrape);
    for (const auto form : {Exposition::Text, Exposition::OpenMetrics})
        for (const char c : scrape.text(form, Start)) check(c != 0);
    return 0;
}
