// Tables made from an interval and from its log are the same to the byte, whatever the interval holds.
#include "record/log.h"
#include "tests/madelog.h"
#include "view/areas.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using Random = std::mt19937_64;

static std::string randomText(Random& random) {
    static const char* const Texts[] = {"sda",      "",     "a,b\"c\\", "\x1B[2J",  "\xFF\xFE", "\xC3\xA9",
                                        "/srv/x y", "loop", "disk",     "ext4",     "cpu",      "memory",
                                        "io",       "a\nb", "1:2",      "partition"};
    return Texts[random() % std::size(Texts)];
}

static double randomSize(Random& random) { return std::pow(10.0, static_cast<double>(random() % 180) / 10 - 1); }

template <typename T> static void fill(T& value, Random& random) {
    if constexpr (IsOptional<T>::value) {
        if (random() % 3 == 0) return;
        typename T::value_type inner{};
        fill(inner, random);
        value = inner;
    } else if constexpr (std::is_same_v<T, std::string>) {
        value = randomText(random);
    } else if constexpr (std::is_same_v<T, bool>) {
        value = random() % 2;
    } else if constexpr (std::is_same_v<T, char>) {
        value = static_cast<char>('a' + random() % 26);
    } else {
        value = random() % 4 ? static_cast<T>(randomSize(random)) : T{};
        if constexpr (std::is_signed_v<T>)
            if (random() % 4 == 0) value = -value;
    }
}

static Interval randomInterval(Random& random) {
    Interval interval;
    interval.time = {static_cast<int64_t>(1795266310000 + random() % 100000000), static_cast<int16_t>(random() % 1200)};
    interval.elapsed_us = static_cast<int64_t>(random() % 10000000);
    eachKind(interval, [&](const auto& kind, auto& rows) {
        rows.sampled = random() % 5 > 0;
        rows.elapsed_us = static_cast<int64_t>(random() % 10000000);
        const size_t count = random() % 4;
        bool ids = false;
        for (auto& member : kind.members) ids |= member.role == Role::Id;
        for (size_t i = 0; i < (ids ? count : std::min<size_t>(count, 1)); i++) {
            auto& row = rows.rows.emplace_back();
            bool identified = false;
            for (auto& member : kind.members) {
                std::visit([&](auto* value) { fill(*value, random); }, member.in(row));
                std::string cell;
                if (member.role == Role::Id) appendCell(cell, member.in(std::as_const(row)));
                identified |= !cell.empty();
            }
            if (ids && !identified) rows.rows.pop_back(); // that would be the sum of the others
        }
    });
    return interval;
}

TEST(RoundTrip, TablesOfALogAreThoseThatWereLive) {
    const unsigned seed = std::random_device()();
    Random random(seed);
    const LogHead head{"1", "a\"b", "boot", "run"};
    std::string areaWords;
    for (auto& area : areas()) areaWords.append(areaWords.empty() ? "" : " ").append(area.word);
    for (int round = 0; round < 400; round++) {
        auto interval = randomInterval(random);
        settle(interval);
        interval.number = 1;
        ViewRow view;
        view.areas = areaWords;
        if (random() % 2) view.rows = random() % 3 + 1;
        if (random() % 2) view.sort = random() % 2 ? "read" : "nonsense";
        view.partitions = random() % 2;
        std::string log;
        LogWriter writer;
        writer.head(head, view, interval.time, log);
        writer.interval(interval, log);
        LogReader reader(partsOf(log));
        Interval read;
        ASSERT_EQ(reader.next(read), LogReader::Found::Head);
        ASSERT_EQ(reader.next(read), LogReader::Found::Interval) << "seed " << seed;
        ASSERT_FALSE(read.damaged) << "seed " << seed << "\n" << log;
        for (const size_t width : {size_t{0}, size_t{40}, size_t{80}, size_t{120}}) {
            Page live(width, false), shown(width, false);
            showInterval(interval, {head, view}, live);
            showInterval(read, {reader.head(), reader.view()}, shown);
            ASSERT_EQ(live.text(), shown.text()) << "seed " << seed;
            for (const char c : live.text()) ASSERT_TRUE(c == '\n' || static_cast<unsigned char>(c) >= 0x20) << seed;
        }
    }
}
