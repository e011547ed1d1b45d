// The names and values of the metrics that go to stores of time series.
#include "record/log.h"
#include "tests/madelog.h"
#include "wyrtlog/metrics.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

// All metrics of the program's own kinds.
static std::vector<Metric> allMetrics() {
    LogWriter writer;
    std::string log;
    writer.head(Head, {}, {Start, 60}, log);
    LogReader reader(partsOf(log));
    Interval none;
    EXPECT_EQ(reader.next(none), LogReader::Found::Head);
    Sheets sheets;
    EXPECT_EQ(sheets.takeHead(reader), "");
    std::vector<Metric> metrics;
    for (auto& kind : metricKinds()) {
        const auto* sheet = sheets.find(kind.tag);
        if (!sheet) {
            ADD_FAILURE() << kind.tag;
            continue;
        }
        const auto has = [&](std::string_view name) {
            return name.empty() || std::any_of(sheet->columns.begin(), sheet->columns.end(),
                                               [&](auto& column) { return column.name == name; });
        };
        for (auto& [field, label] : kind.labels) EXPECT_TRUE(has(field)) << kind.tag << field;
        for (auto& field : kind.details) EXPECT_TRUE(has(field)) << kind.tag << field;
        for (auto& column : sheet->columns)
            if (auto metric = metricOf(kind, column)) metrics.push_back(*metric);
    }
    return metrics;
}

TEST(Metrics, NamesAreValidAndNoTwoAreEqual) {
    std::vector<std::string> names;
    for (auto& kind : metricKinds()) names.push_back("wyrt_" + std::string(kind.prefix)); // of info metrics
    for (auto& metric : allMetrics()) {
        names.push_back(metric.name);
        EXPECT_EQ(metric.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_"), std::string::npos)
            << metric.name;
        EXPECT_TRUE(metric.unit.empty() || metric.name.ends_with("_" + metric.unit)) << metric.name;
        for (const char* end : {"_total", "_info", "_created", "_bucket"})
            EXPECT_FALSE(metric.name.ends_with(end)) << metric.name;
        EXPECT_EQ(metric.name.find("_us_"), std::string::npos) << metric.name;
    }
    EXPECT_GT(names.size(), 250U);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end())
        << *std::adjacent_find(names.begin(), names.end());
}

TEST(Metrics, Values) {
    const auto counter = [](uint64_t value, bool micro) {
        std::string text;
        appendCounter(value, micro, text);
        return text;
    };
    EXPECT_EQ(counter(1500000, true), "1.5");
    EXPECT_EQ(counter(1000000, true), "1");
    EXPECT_EQ(counter(7, true), "0.000007");
    EXPECT_EQ(counter(UINT64_MAX, true), "18446744073709.551615");
    EXPECT_EQ(counter(UINT64_MAX, false), "18446744073709551615");
    const auto level = [](double value) {
        std::string text;
        appendLevel(value, text);
        return text;
    };
    EXPECT_EQ(level(25276510208), "25276510208");
    EXPECT_EQ(level(-0.25), "-0.25");
    EXPECT_EQ(level(1e300), "1e+300");
    EXPECT_EQ(cutLabel(std::string(199, 'a') + "\xc3\xb6"), std::string(199, 'a'));
}
