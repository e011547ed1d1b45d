// What push and serve keep is bounded, however many things come and go.
#include "record/log.h"
#include "tests/madelog.h"
#include "tests/unit/made.h"
#include "wyrtlog/serve/scrape.h"

#include <map>

static constexpr int64_t Pause = 3 * 3600000; // milliseconds

namespace {
// A log in whose intervals each kind has as many things as have room, and none of them was there before.
class Churn {
    std::string head;
    LogReader reader;
    Sheets sheets;
    Cells cells;
    Interval interval;

    static const char* cellOf(const SheetColumn& column) {
        if (column.cast == Cast::Text) return column.range == Range::Letter ? "=" : "@";
        return column.range == Range::Flag ? "1" : "7";
    }
    static std::string lineOf(const Sheet& sheet) {
        std::vector<std::string> all;
        for (auto& column : sheet.columns) {
            if (column.place == NoCell) continue;
            all.resize(std::max(all.size(), column.place + 1));
            all[column.place] = cellOf(column);
        }
        all[0] = sheet.tag, all[SecondsPlace] = "2.000000";
        std::string line;
        for (auto& cell : all) line += cell + ",";
        line.pop_back();
        return line;
    }
    static std::string named(const std::string& line, const std::string& name) {
        std::string all;
        for (size_t at = 0, next = 0; at < line.size(); at = next + 1) {
            next = std::min(line.find('@', at), line.size());
            all.append(line, at, next - at).append(next < line.size() ? name : "");
        }
        return all;
    }

public:
    Churn()
        : reader([this](char* to, size_t size) {
              const auto n = head.copy(to, size);
              head.erase(0, n);
              return n;
          }) {
        LogWriter().head(Head, {}, {Start, 0}, head);
        EXPECT_EQ(reader.next(interval), LogReader::Found::Head);
        EXPECT_EQ(sheets.takeHead(reader), "");
    }
    const LogReader& log() const { return reader; }
    const Sheets& kinds() const { return sheets; }
    void give(SeriesFormat& format, const SeriesChoice& choice) {
        interval.number++;
        interval.time = {Start + static_cast<int64_t>(interval.number) * Pause, 0};
        interval.elapsed_us = 2000000;
        ASSERT_TRUE(format.begin(interval));
        for (auto& sheet : sheets.sheets()) {
            const auto* kind = metricKind(sheet.tag, choice);
            const auto form = lineOf(sheet);
            for (size_t i = 0; kind && i < (kind->labels[0].label.empty() ? 1 : kind->most); i++) {
                const auto name =
                    std::to_string(interval.number) + "-" + std::to_string(i) + "-" + std::string(50, 'n');
                const auto line = named(form, name);
                cells.split(line);
                ASSERT_TRUE(format.line(sheet, cells, line)) << line;
            }
        }
        ASSERT_TRUE(format.end(true));
    }
};
} // namespace

// How many things of each kind, and infos about them, a restart would go on with.
static std::map<std::string, std::pair<size_t, size_t>> kept(const SeriesFormat& format) {
    std::map<std::string, std::pair<size_t, size_t>> counts;
    for (auto& thing : format.totals().things) (thing.info ? counts[thing.tag].second : counts[thing.tag].first)++;
    return counts;
}

static void churn(SeriesFormat& format, const SeriesChoice& choice) {
    Churn log;
    ASSERT_TRUE(format.head(log.log().head(), log.kinds()));
    size_t before = 0;
    for (int i = 0; i < 2; i++) {
        log.give(format, choice);
        const size_t size = format.savedText().size();
        EXPECT_TRUE(i == 0 || size <= before + before / 20) << size << " " << before; // numbers become longer
        before = size;
    }
    for (auto& [tag, count] : kept(format)) {
        const auto* kind = metricKind(tag, choice);
        ASSERT_NE(kind, nullptr) << tag;
        EXPECT_LE(count.first, kind->most + 1) << tag; // and the others
        EXPECT_LE(count.second, kind->most) << tag;
    }
}

TEST(SeriesBound, WhateverComesAndGoes) {
    SeriesChoice choice;
    choice.endless = true;
    ScrapeFormat served(choice);
    churn(served, choice);
}
