#include "classic/monitor/format.h"

// Quirk: the unit changes at powers of 1000 even where the divisors are powers of 1024. So 1000 bytes are " 0.98K", and
// the text keeps its width. Seen by tests/unit/test_format.cpp.
static constexpr struct {
    double above;
    int unit;  // which divisor
    bool wide; // one decimal instead of two
} Ladder[] = {
    {100000000000000,   4, true },
    {10000000000000,    4, false},
    {999999999999.9999, 4, false},
    {99999999999.9999,  3, true },
    {9999999999.9999,   3, false},
    {999999999.9999,    3, false},
    {99999999.9999,     2, true },
    {9999999.9999,      2, false},
    {999999.9999,       2, false},
    {99999.9999,        1, true },
    {9999.9999,         1, false},
    {999.9999,          1, false},
    {99.9999,           0, true },
    {9.9999,            0, false},
};
static constexpr double Binary[] = {1, 1024, 1048576, 1073741824, 1099511627776};
static constexpr double Decimal[] = {1, 1000, 1000000, 1000000000, 1000000000000};
static constexpr const char* Letters[] = {"", "K", "M", "G", "T"};
static constexpr double Most = 500000000000000; // a larger difference of counters has wrapped

static ValueText getText(double v, const double (&divisors)[5], int width) {
    if (v < 0 || v > Most) v = 0;
    for (auto& step : Ladder)
        if (v > step.above)
            return ValueText().addf("%*.*f%s", width, step.wide ? 1 : 2, v / divisors[step.unit], Letters[step.unit]);
    return v < 0.000000001 ? ValueText("0") : ValueText().addf("%*.2f", width, v);
}

ValueText GetValueStr(double v) { return getText(v, Binary, 5); }
ValueText GetValueStrTrim(double v) { return getText(v, Binary, 0); }
ValueText GetValueStrNormal(double v) { return getText(v, Decimal, 5); }
ValueText GetValueStrNormalTrim(double v) { return getText(v, Decimal, 0); }

ValueText GetValueStrForFS(double v) {
    if (!(v < 0)) return GetValueStrTrim(v);
    return ValueText("-").add(GetValueStrTrim(-v));
}

Text<64> GetTimeString(time_t tm) {
    std::tm local{};
    if (!localtime_r(&tm, &local)) return {};
    return Text<64>().addf("%02d.%02d.%02d %02d:%02d:%02d", local.tm_year - 100, local.tm_mon + 1, local.tm_mday,
                           local.tm_hour, local.tm_min, local.tm_sec);
}
