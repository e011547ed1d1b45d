// Figures on their way into the page of wyrt chart: thinned, shared out, encoded.
#include "wyrtlog/chart/encode.h"
#include "wyrtlog/chart/picture.h"
#include "wyrtlog/chart/thin.h"
#include "wyrtlog/chart/top.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

static bool isSame(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }

TEST(ChartThin, ExtremesInOrderOfTime) {
    const float none = NoFigure;
    const struct {
        Extremes a, b, expected;
    } Cases[] = {
        {{1, 1}, {2, 2}, {1, 2}},
        {{2, 2}, {1, 1}, {2, 1}},
        {{1, 5}, {0, 3}, {5, 0}},
        {{5, 1}, {3, 3}, {5, 1}},
        {{none, none}, {4, 2}, {4, 2}},
        {{4, 4}, {none, none}, {4, 4}},
        {{none, none}, {none, none}, {none, none}},
        {{7, 7}, {7, 7}, {7, 7}},
    };
    for (auto& c : Cases) {
        const auto found = joined(c.a, c.b);
        EXPECT_TRUE(isSame(found.first, c.expected.first) && isSame(found.second, c.expected.second))
            << c.a.first << " " << c.b.first;
    }
}

TEST(ChartThin, FewIntervalsAreKeptWhole) {
    Lines lines(4);
    const auto line = lines.add(Absent::Unknown);
    for (int i = 0; i < 8; i++) {
        if (i != 3) lines.set(line, i * i);
        lines.end(1000 * i);
    }
    EXPECT_EQ(lines.times().size(), 4U);
    EXPECT_EQ(pointTimes(lines), (std::vector<int64_t>{0, 1000, 2000, 3000, 4000, 5000, 6000, 7000}));
    const auto points = pointsOf(lines, line);
    ASSERT_EQ(points.size(), 8U);
    for (size_t i = 0; i < 8; i++)
        EXPECT_EQ(points[i], i == 3 ? 4 : static_cast<float>(i * i)); // the bucket of 2 and 3 only knows that of 2
}

TEST(ChartThin, WhatIsAbsent) {
    Lines lines(10);
    const auto unknown = lines.add(Absent::Unknown), zero = lines.add(Absent::Zero), last = lines.add(Absent::Last);
    lines.end(1);
    for (const auto line : {unknown, zero, last}) lines.set(line, 5);
    lines.end(2);
    lines.end(3);
    const auto late = lines.add(Absent::Zero);
    EXPECT_TRUE(std::isnan(pointsOf(lines, unknown)[0]) && std::isnan(pointsOf(lines, unknown)[2]));
    EXPECT_EQ(pointsOf(lines, zero), (std::vector<float>{0, 5, 0}));
    EXPECT_TRUE(std::isnan(pointsOf(lines, last)[0]));
    EXPECT_EQ(pointsOf(lines, last)[2], 5);
    EXPECT_EQ(pointsOf(lines, late), (std::vector<float>{0, 0, 0}));
    EXPECT_FALSE(lines[late].moved);
    EXPECT_TRUE(lines[zero].moved);
}

// However many intervals come, and in whatever order of sizes: memory is bounded, times rise, and the least and largest
// value of the whole span stay.
TEST(ChartThin, NoPeakIsLost) {
    for (unsigned seed = 1; seed <= 40; seed++) {
        std::mt19937 random(seed);
        const size_t most = 1 + random() % 20, count = 1 + random() % 400;
        Lines lines(most);
        Stack stack(most);
        const auto line = lines.add(Absent::Unknown);
        float least = 1e9F, largest = -1;
        for (size_t i = 0; i < count; i++) {
            const auto value = static_cast<float>(random() % 1000);
            least = std::min(least, value), largest = std::max(largest, value);
            lines.set(line, static_cast<double>(value));
            lines.end(static_cast<int64_t>(i) * 10);
            stack.add({static_cast<int64_t>(i) * 10, value, {{1, value / 2}, {2, value / 2}}});
            if (random() % 50 == 0) lines.halve(), stack.halve();
        }
        ASSERT_LE(lines.times().size(), most) << seed;
        ASSERT_LE(stack.moments().size(), most) << seed;
        const auto points = pointsOf(lines, line);
        EXPECT_EQ(*std::min_element(points.begin(), points.end()), least) << seed;
        EXPECT_EQ(*std::max_element(points.begin(), points.end()), largest) << seed;
        for (auto& times : {pointTimes(lines), pointTimes(stack.moments())}) {
            EXPECT_TRUE(std::is_sorted(times.begin(), times.end())) << seed;
            EXPECT_EQ(std::adjacent_find(times.begin(), times.end()), times.end()) << seed;
        }
        EXPECT_EQ(pointTimes(lines).back(), static_cast<int64_t>(count - 1) * 10) << seed;
        float leastWhole = 1e9F, largestWhole = -1;
        for (auto& bucket : stack.moments())
            for (auto& moment : bucket) {
                leastWhole = std::min(leastWhole, moment.whole), largestWhole = std::max(largestWhole, moment.whole);
                EXPECT_EQ(moment.parts[0].value + moment.parts[1].value, moment.whole) << seed; // as it was then
            }
        EXPECT_EQ(leastWhole, least) << seed;
        EXPECT_EQ(largestWhole, largest) << seed;
    }
}

// Very many lines have fewer buckets, whenever they begin.
TEST(ChartThin, AllLinesTogetherAreBounded) {
    Lines lines;
    constexpr size_t Many = 2 * MostFigures / MostBuckets, Count = MostBuckets;
    for (size_t i = 0; i < Count; i++) {
        if (i == Count / 2)
            for (size_t line = 1; line < Many; line++) lines.add(Absent::Zero);
        if (i == 0) lines.add(Absent::Unknown);
        lines.set(0, static_cast<double>(i));
        lines.end(static_cast<int64_t>(i));
        ASSERT_LE(lines.size() * lines.times().size(), MostFigures) << i;
    }
    EXPECT_GT(lines.size() * lines.times().size(), MostFigures / 4);
    const auto points = pointsOf(lines, 0);
    EXPECT_EQ(points.front(), 0);
    EXPECT_EQ(points.back(), static_cast<float>(Count - 1));
}

TEST(ChartTop, TheLargestAndTheirNames) {
    Members members;
    const auto number = [&](int i) {
        return members.find("p" + std::to_string(i), "", 100 + static_cast<uint64_t>(i));
    };
    Top top(10);
    for (int interval = 0; interval < 3; interval++) {
        std::vector<Stack::Part> parts;
        for (int i = 1; i <= 30; i++) parts.push_back({number(i), static_cast<float>(i)});
        parts.push_back({number(2), 100}); // a second process of the name
        parts.push_back({0, 50});
        top.add(interval * 1000, 1, 1000, parts);
    }
    const auto largest = top.largest();
    ASSERT_EQ(largest.size(), Top::Shown);
    EXPECT_EQ(largest[0], number(2));
    EXPECT_EQ(largest[1], number(30));
    EXPECT_EQ(largest.back(), number(24));
    EXPECT_EQ(pointsOf(top.moments(), largest[0]), (std::vector<float>{102, 102, 102}));
    EXPECT_EQ(pointsOf(top.moments(), number(1)), (std::vector<float>{0, 0, 0})); // one of the others
    EXPECT_EQ(members.text(number(2)), "p2[102]");
    EXPECT_EQ(members.find("p2", "", 7), number(2));
    EXPECT_EQ(members.text(number(2)), "p2 (several)");
    EXPECT_EQ(members.text(members.find("p2", "cron.service", 0)), "p2 cron.service");
}

TEST(ChartTop, NamesWithoutEnd) {
    Members members;
    uint32_t last = 1;
    for (int i = 0; i < 30000 && last != 0; i++) last = members.find("n" + std::to_string(i), "", 1);
    EXPECT_EQ(last, 0U);
    EXPECT_NE(members.find("n5", "", 1), 0U);
}

// --- Encoding, as the page's script reads it

static size_t digitOf(char c) {
    return std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_").find(c);
}

static std::vector<float> decoded(const std::string& text) {
    std::vector<float> values;
    for (size_t i = 0; i < text.size();) {
        const auto power = digitOf(text[i++]);
        if (power == 61) values.push_back(0);
        else if (power == 62) values.push_back(NoFigure);
        else {
            const auto bits = digitOf(text.at(i)) * 64 + digitOf(text.at(i + 1));
            i += 2;
            if (power == 63) values.insert(values.end(), bits + 1, values.back());
            else
                values.push_back(
                    static_cast<float>(std::ldexp(1 + static_cast<double>(bits) / 4096, static_cast<int>(power) - 12)));
        }
    }
    return values;
}

TEST(ChartEncode, Figures) {
    EXPECT_EQ(encodedFigures({}), "");
    EXPECT_EQ(encodedFigures(std::vector<float>{1, 0, NoFigure, -3}), "MAA9-9");
    std::vector<float> values{0.0001F, 0.0003F, 1, 1, 1.9999F, 100, 4095, 1e9F, 5.6e14F, 1e20F, 3.4e38F};
    values.insert(values.end(), 10000, 7.25F);
    values.insert(values.end(), 5, 0);
    values.insert(values.end(), 3, NoFigure);
    values.push_back(std::numeric_limits<float>::infinity());
    const auto text = encodedFigures(values);
    EXPECT_LT(text.size(), 80U);
    const auto back = decoded(text);
    ASSERT_EQ(back.size(), values.size());
    EXPECT_EQ(back[0], 0);
    for (size_t i = 1; i < values.size(); i++) {
        if (values[i] > 1e15F) EXPECT_GT(back[i], 5e14F);
        else if (std::isnan(values[i])) EXPECT_TRUE(std::isnan(back[i])) << i;
        else EXPECT_NEAR(back[i], values[i], values[i] / 8000) << i;
    }
}

TEST(ChartEncode, AnyFigures) {
    std::mt19937 random(7);
    std::vector<float> values;
    while (values.size() < 20000) {
        const auto kind = random() % 4;
        const auto value =
            kind == 0   ? 0
            : kind == 1 ? NoFigure
                        : std::ldexp(static_cast<float>(random() % 4096 + 1), static_cast<int>(random() % 40) - 12);
        values.insert(values.end(), 1 + (random() % 8 == 0 ? random() % 60 : 0), value);
    }
    const auto back = decoded(encodedFigures(values));
    ASSERT_EQ(back.size(), values.size());
    for (size_t i = 0; i < values.size(); i++)
        ASSERT_TRUE(isSame(back[i], values[i]) || std::abs(back[i] - values[i]) <= values[i] / 8000) << i;
}

TEST(ChartEncode, Times) { EXPECT_EQ(encodedTimes(std::vector<int64_t>{0, 31, 63, 62, 1087}), "AfgBAggB"); }

TEST(ChartEncode, TextsAreTexts) {
    const std::string hostile = "</script><img src=x onerror=alert(1)>&\"'\\\x1B\xE2\x80\xA8\xFF\n";
    std::string json;
    appendPageJson(json, hostile);
    EXPECT_EQ(json, "\"\\u003c/script\\u003e\\u003cimg src=x onerror=alert(1)\\u003e\\u0026\\\"'\\\\\\\\x1B\xE2\x80\xA8"
                    "\\\\xFF\\\\x0A\"");
    EXPECT_EQ(html(hostile), "&lt;/script&gt;&lt;img src=x onerror=alert(1)&gt;&amp;&quot;&#39;\\\\x1B\xE2\x80\xA8"
                             "\\xFF\n");
    EXPECT_EQ(html("a\n\nb"), "a\n\nb");
}
