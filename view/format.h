// What the tables of the new form show in their cells. A missing value is "-".
#pragma once

#include "base/figures.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

inline constexpr std::string_view NoValue = "-";

// The same for values that may be missing.
template <typename T, typename Show> std::string orNone(const std::optional<T>& value, const Show& show) {
    return value ? show(static_cast<double>(*value)) : std::string(NoValue);
}

// An amount as a number; one that is missing counts as 0.
template <typename T> double valueOf(const std::optional<T>& amount) { return static_cast<double>(amount.value_or(0)); }

// So many a second; "-" without an amount or time.
std::string rateText(const std::optional<uint64_t>& amount, double seconds);
// The same of bytes, in MB (1048576) a second with one decimal.
std::string speedText(const std::optional<uint64_t>& bytes, double seconds);

// "1 disk", "2 disks"; with `ending` "es" "2 processes".
std::string counted(uint64_t number, std::string_view what, std::string_view ending = "s");

// A share of a whole in percent, one decimal; "-" without a whole.
std::string percentText(std::optional<double> part, double whole);

// Makes a text from the machine safe for a terminal: control characters and bytes that are not UTF-8 become \xHH.
std::string safeText(std::string_view text);
// How many columns of a terminal a text takes, as far as that is known without asking the terminal: characters,
// combining ones not counted, wide ones twice.
size_t textWidth(std::string_view text);
// The start of a text, at most so many columns wide.
std::string_view cutToWidth(std::string_view text, size_t width);
// The end of a text, at most so many columns wide, with "..." for what was cut: of a path it says more than the start.
std::string endOf(std::string_view text, size_t width);
