#include "record/kind.h"

#include <cmath>
#include <limits>
#include <utility>

void appendCell(std::string& line, const ConstSlot& slot) {
    std::visit([&](const auto* value) { appendCell(line, *value); }, slot);
}

// No writer writes infinities and not-a-number; comparisons and conversions later on rely on that.
template <typename T> static bool isFinite(const T&) { return true; }
static bool isFinite(double value) { return std::isfinite(value); }
static bool isFinite(const std::optional<double>& value) { return !value || std::isfinite(*value); }

bool readCell(std::string_view cell, const Slot& slot) {
    return std::visit(
        [&](auto* value) {
            auto read = *value;
            if (!readCell(cell, read) || !isFinite(read)) return false;
            *value = std::move(read);
            return true;
        },
        slot);
}

template <typename T> static void add(const T& value, T& sum) {
    if constexpr (std::is_same_v<T, bool>) sum |= value;
    else if constexpr (std::is_integral_v<T> && Number<T>) {
        // A forged log can have amounts beyond any sum.
        if (__builtin_add_overflow(sum, value, &sum))
            sum = value < 0 ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
    } else if constexpr (Number<T>) sum += value;
}
template <typename T> static void add(const std::optional<T>& value, std::optional<T>& sum) {
    if (!value) return;
    if (!sum) sum.emplace(0);
    add(*value, *sum);
}

void addSlot(const ConstSlot& slot, const Slot& sum) {
    std::visit(
        [&](auto* to) {
            const auto* from = std::get_if<const std::remove_pointer_t<decltype(to)>*>(&slot);
            if (from) add(**from, *to);
        },
        sum);
}

template <typename T> static double figure(const T& value) {
    if constexpr (Number<T>) return static_cast<double>(value);
    else return 0;
}
template <typename T> static double figure(const std::optional<T>& value) { return value ? figure(*value) : 0; }

double figureOf(const ConstSlot& slot) {
    return std::visit([](const auto* value) { return figure(*value); }, slot);
}
