// Formats numbers and times for the tables.
#pragma once

#include "base/text.h"

#include <ctime>

// A formatted number: "-", a mantissa such as 1000.0 and a unit letter, or all digits of a 64-bit number.
using ValueText = Text<24>;

// Five characters, followed by a unit letter (K, M, G, T) for large values. The first two divide by powers of 1024
// (bytes), the Normal ones by powers of 1000 (counts and rates). The Trim ones leave out the padding.
// A negative value and one above 5e14 are shown as 0.
ValueText GetValueStr(double v);
ValueText GetValueStrTrim(double v);
ValueText GetValueStrNormal(double v);
ValueText GetValueStrNormalTrim(double v);
// Bytes with their sign, without padding.
ValueText GetValueStrForFS(double v);

// Local time as "yy.mm.dd hh:mm:ss"; empty when the C library cannot represent it.
Text<64> GetTimeString(time_t tm);
