#include "record/rowplan.h"

#include <algorithm>
#include <cstring>

// --- Making a plan

RowPlan::Type RowPlan::typeOf(const ConstSlot& slot) {
    // In the order of the types of a slot.
    constexpr Type Types[] = {Type::Text,
                              Type::Letter,
                              Type::Flag,
                              Type::Whole,
                              Type::Signed,
                              Type::Real,
                              Type::MayWhole,
                              Type::MaySigned,
                              Type::MayReal};
    static_assert(std::size(Types) == std::variant_size_v<ConstSlot>);
    return Types[slot.index()];
}

void RowPlan::place(Step step, size_t cell) {
    if (cell == NoCell || cell < FirstCell) return missing.push_back(step);
    steps.resize(std::max(steps.size(), cell - FirstCell + 1));
    auto& taken = steps[cell - FirstCell];
    if (taken.type == Type::None) taken = step;
    else missing.push_back(step);
}

// --- Reading numbers

namespace {
// What is left of a line.
struct Rest {
    const char* at;
    const char* end;
    bool cellEnds() const { return at == end || *at == ','; }
};
} // namespace

// A cell of any form, up to its comma.
static std::string_view cellOf(Rest& rest) {
    const auto size = static_cast<size_t>(rest.end - rest.at);
    const auto* comma = size ? static_cast<const char*>(memchr(rest.at, ',', size)) : nullptr;
    const char* const from = rest.at;
    rest.at = comma ? comma : rest.end;
    return {from, static_cast<size_t>(rest.at - from)};
}

// Digits that cannot be too many for 64 bits; moves on to what follows them.
static uint64_t digitsOf(Rest& rest) {
    constexpr std::ptrdiff_t Most = 19;
    const char* const stop = rest.end - rest.at > Most ? rest.at + Most : rest.end;
    uint64_t value = 0;
    for (; rest.at < stop; rest.at++) {
        const auto digit = static_cast<unsigned char>(*rest.at - '0');
        if (digit > 9) break;
        value = value * 10 + digit;
    }
    return value;
}

// The usual forms are read at once; the others as cells are read everywhere.
static bool take(Rest& rest, uint64_t& value) {
    const Rest before = rest;
    const uint64_t digits = digitsOf(rest);
    if (rest.cellEnds()) return value = digits, true;
    rest = before;
    return readCell(cellOf(rest), value);
}

static bool take(Rest& rest, int64_t& value) {
    const Rest before = rest;
    const bool negative = *rest.at == '-';
    rest.at += negative ? 1 : 0;
    const char* const first = rest.at;
    const uint64_t digits = digitsOf(rest);
    if (rest.cellEnds() && rest.at > first && digits <= INT64_MAX) {
        value = static_cast<int64_t>(negative ? 0 - digits : digits);
        return true;
    }
    rest = before;
    return readCell(cellOf(rest), value);
}

// Up to fifteen digits and a power of ten up to 22 are exact, so their quotient is the nearest double.
static bool take(Rest& rest, double& value) {
    static constexpr double Powers[] =
        {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const Rest before = rest;
    const char* const first = rest.at;
    uint64_t digits = digitsOf(rest);
    std::ptrdiff_t decimals = 0, all = rest.at - first;
    if (all > 0 && all < 16 && rest.at < rest.end && *rest.at == '.') {
        const char* const point = rest.at++;
        uint64_t part = digitsOf(rest);
        decimals = rest.at - point - 1, all += decimals;
        if (all < 16) digits = digits * static_cast<uint64_t>(Powers[decimals]) + part;
    }
    if (rest.cellEnds() && all > 0 && all < 16) {
        value = static_cast<double>(digits) / Powers[decimals];
        return true;
    }
    rest = before;
    double read = 0;
    if (!readCell(cellOf(rest), Slot(&read))) return false;
    value = read;
    return true;
}

static bool take(Rest& rest, std::string& text) {
    const auto cell = cellOf(rest);
    if (memchr(cell.data(), '\\', cell.size())) return readCell(cell, text);
    text.assign(cell);
    return true;
}

template <typename T>
concept Short = std::same_as<T, bool> || std::same_as<T, char>;
template <Short T> static bool take(Rest& rest, T& value) { return readCell(cellOf(rest), value); }

template <typename T> static bool take(Rest& rest, std::optional<T>& value) {
    T number{};
    if (!take(rest, number)) return value.reset(), false;
    value = number;
    return true;
}

// --- Reading a row

// Calls f with the member's type in both rows.
template <typename F> bool RowPlan::visit(const Step& step, std::byte* row, const std::byte* none, const F& f) {
    const auto as = [&]<typename T>(T*) {
        return f(*reinterpret_cast<T*>(row + step.at), *reinterpret_cast<const T*>(none + step.at));
    };
    switch (step.type) {
    case Type::Text:
        return as(static_cast<std::string*>(nullptr));
    case Type::Letter:
        return as(static_cast<char*>(nullptr));
    case Type::Flag:
        return as(static_cast<bool*>(nullptr));
    case Type::Whole:
        return as(static_cast<uint64_t*>(nullptr));
    case Type::Signed:
        return as(static_cast<int64_t*>(nullptr));
    case Type::Real:
        return as(static_cast<double*>(nullptr));
    case Type::MayWhole:
        return as(static_cast<std::optional<uint64_t>*>(nullptr));
    case Type::MaySigned:
        return as(static_cast<std::optional<int64_t>*>(nullptr));
    case Type::MayReal:
        return as(static_cast<std::optional<double>*>(nullptr));
    case Type::None:
        break;
    }
    return true;
}

RowRead RowPlan::read(std::string_view cells, void* to, const void* from) const {
    auto* row = static_cast<std::byte*>(to);
    const auto* none = static_cast<const std::byte*>(from);
    const auto clear = [](auto& member, auto& empty) { return member = empty, true; };
    Rest rest{cells.data(), cells.data() + cells.size()};
    bool damaged = false, named = false;
    for (const auto& step : steps) {
        if (rest.cellEnds()) {
            visit(step, row, none, clear);
        } else if (step.type == Type::None) {
            cellOf(rest);
        } else {
            named |= step.identity;
            const bool good = visit(step, row, none, [&](auto& member, auto& empty) {
                if (take(rest, member)) return true;
                member = empty;
                return false;
            });
            damaged |= !good;
        }
        rest.at += rest.at < rest.end ? 1 : 0; // the comma
    }
    for (const auto& step : missing) visit(step, row, none, clear);
    return damaged ? RowRead::Damaged : identified && !named ? RowRead::Rest : RowRead::Row;
}
