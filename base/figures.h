// Numbers as people read them: in tables and in the texts of findings.
#pragma once

#include <string>

// With this number of decimals.
std::string fixedText(double value, int decimals);
// A count or a rate: "0", "0.4", "12", "2894", "41.2K", "3.1M". Steps of 1000.
std::string countText(double value);
// Bytes: "0", "812", "5.8G", "412M". Steps of 1024; three digits at the least from the first step on.
std::string sizeText(double bytes);
// Bits per second, steps of 1000: "10G", "2.5G", "100M".
std::string bitsText(double bits);
// A span of time in its largest unit: "42s", "57m", "31h", "12d".
std::string spanText(double seconds);
