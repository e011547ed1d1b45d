#include "classic/monitor/format.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include <gtest/gtest.h>

// The text that each step of the ladder prints: the number of digits, the divisor, the letter.
static std::string byHand(double v, double base, const char* wide, const char* narrow) {
    const auto text = [](const char* format, double value, const char* letter) {
        char buffer[64];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::snprintf(buffer, sizeof buffer, format, value);
#pragma GCC diagnostic pop
        return std::string(buffer) + letter;
    };
    const double k = base, m = k * base, g = m * base, t = g * base;
    if (v < 0 || v > 500000000000000) v = 0;
    if (v > 100000000000000) return text(wide, v / t, "T");
    if (v > 10000000000000) return text(narrow, v / t, "T");
    if (v > 999999999999.9999) return text(narrow, v / t, "T");
    if (v > 99999999999.9999) return text(wide, v / g, "G");
    if (v > 9999999999.9999) return text(narrow, v / g, "G");
    if (v > 999999999.9999) return text(narrow, v / g, "G");
    if (v > 99999999.9999) return text(wide, v / m, "M");
    if (v > 9999999.9999) return text(narrow, v / m, "M");
    if (v > 999999.9999) return text(narrow, v / m, "M");
    if (v > 99999.9999) return text(wide, v / k, "K");
    if (v > 9999.9999) return text(narrow, v / k, "K");
    if (v > 999.9999) return text(narrow, v / k, "K");
    if (v > 99.9999) return text(wide, v, "");
    if (v > 9.9999) return text(narrow, v, "");
    if (v < 0.000000001) return "0";
    return text(narrow, v, "");
}

static void expectAll(double v) {
    const auto trim = byHand(v, 1024, "%.1f", "%.2f");
    EXPECT_EQ(GetValueStr(v).view(), byHand(v, 1024, "%5.1f", "%5.2f")) << v;
    EXPECT_EQ(GetValueStrTrim(v).view(), trim) << v;
    EXPECT_EQ(GetValueStrNormal(v).view(), byHand(v, 1000, "%5.1f", "%5.2f")) << v;
    EXPECT_EQ(GetValueStrNormalTrim(v).view(), byHand(v, 1000, "%.1f", "%.2f")) << v;
    EXPECT_EQ(GetValueStrForFS(v).view(), v < 0 ? std::string("-").append(byHand(-v, 1024, "%.1f", "%.2f")) : trim)
        << v;
}

TEST(Format, EveryStepOnBothSides) {
    for (double step : {1e14, 1e13, 999999999999.9999, 99999999999.9999, 9999999999.9999, 999999999.9999, 99999999.9999,
                        9999999.9999, 999999.9999, 99999.9999, 9999.9999, 999.9999, 99.9999, 9.9999, 0.000000001, 5e14})
        for (double v : {std::nextafter(step, 0.0), step, std::nextafter(step, 1e300), step * 1.5, step * 0.7})
            for (double sign : {1.0, -1.0}) expectAll(v * sign);
}

TEST(Format, PowersAndTheirNeighbours) {
    for (double base : {10.0, 2.0})
        for (double v = 1e-12; v < 1e17; v *= base)
            for (double around : {v * 0.999999, v, v * 1.000001}) expectAll(around), expectAll(-around);
}

// Texts written by hand, without the ladder above.
TEST(Format, KnownTexts) {
    EXPECT_EQ(GetValueStr(0).view(), "0");
    EXPECT_EQ(GetValueStr(5).view(), " 5.00");
    EXPECT_EQ(GetValueStr(50).view(), "50.00");
    EXPECT_EQ(GetValueStr(500).view(), "500.0");
    EXPECT_EQ(GetValueStr(1000).view(), " 0.98K");
    EXPECT_EQ(GetValueStrNormal(1000).view(), " 1.00K");
    EXPECT_EQ(GetValueStr(100000).view(), " 97.7K");
    EXPECT_EQ(GetValueStr(1000000).view(), " 0.95M");
    EXPECT_EQ(GetValueStr(-1).view(), "0");
    EXPECT_EQ(GetValueStr(6e14).view(), "0");
    EXPECT_EQ(GetValueStr(5e14).view(), "454.7T");
    EXPECT_EQ(GetValueStrNormal(5e14).view(), "500.0T");
    EXPECT_EQ(GetValueStrTrim(1536).view(), "1.50K");
    EXPECT_EQ(GetValueStrNormalTrim(1536).view(), "1.54K");
    EXPECT_EQ(GetValueStrNormal(999.9999).view(), "1000.0");
    EXPECT_EQ(GetValueStrNormal(9.9999).view(), "10.00");
    EXPECT_EQ(GetValueStrNormal(1e-9).view(), " 0.00");
    EXPECT_EQ(GetValueStrNormal(0.9e-9).view(), "0");
    EXPECT_EQ(GetValueStrForFS(-1536).view(), "-1.50K");
    EXPECT_EQ(GetValueStrForFS(-2048).view(), "-2.00K");
    EXPECT_EQ(GetValueStrForFS(1536).view(), "1.50K");
    EXPECT_EQ(GetValueStrForFS(0).view(), "0");
    EXPECT_EQ(GetValueStrForFS(-6e14).view(), "-0");
    EXPECT_EQ(GetValueStrForFS(6e14).view(), "0");
    EXPECT_EQ(GetValueStrForFS(-1e-10).view(), "-0");
    EXPECT_EQ(GetValueStrForFS(-0.0).view(), "0");
}

TEST(Format, NeitherNumberNorEnd) {
    constexpr auto Nan = std::numeric_limits<double>::quiet_NaN(), Huge = std::numeric_limits<double>::infinity();
    EXPECT_EQ(GetValueStr(Nan).view(), "  nan");
    EXPECT_EQ(GetValueStr(-Nan).view(), " -nan");
    EXPECT_EQ(GetValueStrTrim(-Nan).view(), "-nan");
    EXPECT_EQ(GetValueStrNormal(Nan).view(), "  nan");
    EXPECT_EQ(GetValueStrNormalTrim(Nan).view(), "nan");
    EXPECT_EQ(GetValueStrForFS(-Nan).view(), "-nan"); // NaN is not below 0, so no sign is added
    EXPECT_EQ(GetValueStr(Huge).view(), "0");
    EXPECT_EQ(GetValueStr(-Huge).view(), "0");
    EXPECT_EQ(GetValueStrForFS(-Huge).view(), "-0");
}

namespace {
// The time zone of one test.
class Zone {
public:
    explicit Zone(const char* name) { setenv("TZ", name, 1), tzset(); }
    ~Zone() { unsetenv("TZ"), tzset(); }
};
} // namespace

TEST(Format, TimeOfDay) {
    const Zone utc("UTC0");
    EXPECT_EQ(GetTimeString(1457359509).view(), "16.03.07 14:05:09");
    EXPECT_EQ(GetTimeString(0).view(), "-30.01.01 00:00:00");
    EXPECT_EQ(GetTimeString(946684799).view(), "-1.12.31 23:59:59"); // a year before 2000 keeps its sign
    EXPECT_EQ(GetTimeString(946684800).view(), "00.01.01 00:00:00");
    EXPECT_EQ(GetTimeString(4102444800).view(), "100.01.01 00:00:00");
    EXPECT_EQ(GetTimeString(std::numeric_limits<time_t>::max()).view(), "");
}

TEST(Format, TimeOfDayInAZone) {
    {
        const Zone seoul("KST-9");
        EXPECT_EQ(GetTimeString(1457359509).view(), "16.03.07 23:05:09");
    }
    const Zone newYork("EST5EDT,M3.2.0,M11.1.0");
    EXPECT_EQ(GetTimeString(1457359509).view(), "16.03.07 09:05:09");
    EXPECT_EQ(GetTimeString(1467359509).view(), "16.07.01 03:51:49"); // summer time
}
