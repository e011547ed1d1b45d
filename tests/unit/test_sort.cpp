// The words of --sort in the list of areas are those that the tables know: each puts another row first.
#include "view/areas.h"

#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace {
// Rows named after the words, each the largest by its word and otherwise the same.
template <typename Row> struct Maker {
    std::string_view word;
    std::optional<uint64_t> Row::* figure;
};
} // namespace

template <typename Row, size_t N>
static void makeRows(const Maker<Row> (&makers)[N], std::vector<Row>& rows, std::string Row::* name) {
    for (auto& maker : makers) {
        Row row;
        for (auto& other : makers) row.*other.figure = 1000;
        row.*maker.figure = 5000;
        row.*name = "by-" + std::string(maker.word);
        rows.push_back(std::move(row));
    }
}

static Interval made() {
    Interval interval;
    interval.disksTotal.rows.emplace_back(), interval.linksTotal.rows.emplace_back().links = 5;
    interval.cgroupsTotal.rows.emplace_back().groups = 5;
    interval.disksTotal.elapsed_us = interval.linksTotal.elapsed_us = interval.cgroupsTotal.elapsed_us = 1000000;
    interval.disks.elapsed_us = interval.links.elapsed_us = interval.cgroups.elapsed_us = 1000000;
    static constexpr Maker<DiskRow> Disks[] = {
        {"busy", &DiskRow::busy_us},  {"read", &DiskRow::read_bytes}, {"write", &DiskRow::write_bytes},
        {"wait", &DiskRow::write_us}, {"queue", &DiskRow::queue_us},
    };
    makeRows(Disks, interval.disks.rows, &DiskRow::name);
    static constexpr Maker<LinkRow> Links[] = {
        {"read", &LinkRow::rx_bytes},
        {"write", &LinkRow::tx_bytes},
        {"packets", &LinkRow::rx_packets},
        {"errors", &LinkRow::tx_errors},
    };
    makeRows(Links, interval.links.rows, &LinkRow::name);
    auto& both = interval.links.rows.emplace_back(interval.links.rows[0]);
    both.name = "by-bytes", both.rx_bytes = both.tx_bytes = 4000;
    static constexpr Maker<CgroupRow> Groups[] = {
        {"cpu", &CgroupRow::cpu_us},    {"mem", &CgroupRow::memory},
        {"io", &CgroupRow::read_bytes}, {"throttled", &CgroupRow::throttled_us},
        {"pids", &CgroupRow::pids},
    };
    makeRows(Groups, interval.cgroups.rows, &CgroupRow::path);
    for (auto& group : interval.cgroups.rows) group.path.insert(0, "/");
    return interval;
}

TEST(Sort, EachWordOfAnAreaPutsItsRowFirst) {
    const auto interval = made();
    for (const std::string_view area : {"disk", "net", "cgroup"}) {
        const auto words = sortWords(area);
        EXPECT_GE(words.size(), 5U) << area;
        for (const auto word : words) {
            ViewRow asked;
            asked.sort = word;
            Page page(0, false);
            findArea(area)->show(interval, {LogHead{}, asked}, page);
            const auto& text = page.text();
            const auto first = text.find("by-");
            ASSERT_NE(first, text.npos) << text;
            EXPECT_EQ(text.substr(first, text.find(' ', first) - first), "by-" + std::string(word)) << text;
        }
    }
}

TEST(Sort, TheFirstWordIsTheUsualOrder) {
    const auto interval = made();
    for (auto& area : areas()) {
        if (!area.sorts) continue;
        std::string texts[2];
        for (const bool named : {false, true}) {
            ViewRow asked;
            if (named) asked.sort = sortWords(area.word).at(0);
            Page page(0, false);
            area.show(interval, {LogHead{}, asked}, page);
            texts[named] = page.text();
        }
        EXPECT_EQ(texts[0], texts[1]);
    }
}
