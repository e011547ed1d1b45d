// Formats numbers for the tables of the new form. A missing value is "-".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

inline constexpr std::string_view NoValue = "-";

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

// The same for values that may be missing.
template <typename T, typename Show> std::string orNone(const std::optional<T>& value, const Show& show) {
    return value ? show(static_cast<double>(*value)) : std::string(NoValue);
}

// A share of a whole in percent, one decimal; "-" without a whole.
std::string percentText(std::optional<double> part, double whole);

// Makes a text from the machine safe for a terminal: control characters and bytes that are not UTF-8 become \xHH.
std::string safeText(std::string_view text);
// How many columns of a terminal a text takes, as far as that is known without asking the terminal: characters,
// combining ones not counted, wide ones twice.
size_t textWidth(std::string_view text);
// The start of a text, at most so many columns wide.
std::string_view cutToWidth(std::string_view text, size_t width);
