// Values: what they hold, how each form spells them, and which types a form takes.
#include "record/value.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

static std::string spelled(const Value& value, Form form) {
    std::string out;
    value.append(out, form);
    return out;
}

TEST(Value, EveryFormAsPrintf) {
    EXPECT_EQ(spelled(-7, Form::Int), "-7");
    EXPECT_EQ(spelled(2147483648, Form::Int), "-2147483648"); // the low 32 bits
    EXPECT_EQ(spelled(4294967295U, Form::Int), "-1");
    EXPECT_EQ(spelled(INT64_MIN, Form::Long), "-9223372036854775808");
    EXPECT_EQ(spelled(UINT64_MAX, Form::Long), "-1");
    EXPECT_EQ(spelled(UINT64_MAX, Form::Whole), "18446744073709551615");
    EXPECT_EQ(spelled(INT64_MIN, Form::Whole), "-9223372036854775808");
    EXPECT_EQ(spelled(2.5, Form::Real0), "2"); // to even
    EXPECT_EQ(spelled(3.5, Form::Real0), "4");
    EXPECT_EQ(spelled(0.25, Form::Real1), "0.2");
    EXPECT_EQ(spelled(1e15, Form::Real2), "1000000000000000.00");
    EXPECT_EQ(spelled(-0.001, Form::Real2), "-0.00");
    EXPECT_EQ(spelled(0.3, Form::Real6), "0.300000");
    EXPECT_EQ(spelled(0.1, Form::Real), "0.1");
    EXPECT_EQ(spelled(7, Form::Milli), "007");
    EXPECT_EQ(spelled(-7, Form::Milli), "-07");
    EXPECT_EQ(spelled(1234, Form::Milli), "1234");
    EXPECT_EQ(spelled(INT32_MIN, Form::Milli), "-2147483648");
    EXPECT_EQ(spelled(7, Form::Two), "07");
    EXPECT_EQ(spelled(-7, Form::Two), "-7");
    EXPECT_EQ(spelled(0x8000, Form::Hex7), "0008000");
    EXPECT_EQ(spelled(-1, Form::Hex7), "FFFFFFFF");
    EXPECT_EQ(spelled('S', Form::Letter), "S");
    EXPECT_EQ(spelled('\0', Form::Letter), std::string(1, '\0'));
    EXPECT_EQ(spelled("as it is, \\ and all", Form::Text), "as it is, \\ and all");
    EXPECT_EQ(spelled("a,b", Form::Escaped), "a\\x2Cb");
}

TEST(Value, RealNumbersThatAreNone) {
    constexpr double NaN = std::numeric_limits<double>::quiet_NaN(), Inf = std::numeric_limits<double>::infinity();
    for (Form form : {Form::Real0, Form::Real2, Form::Real6}) {
        EXPECT_EQ(spelled(NaN, form), "nan");
        EXPECT_EQ(spelled(-NaN, form), "-nan");
        EXPECT_EQ(spelled(Inf, form), "inf");
        EXPECT_EQ(spelled(-Inf, form), "-inf");
    }
}

// The C library is the measure: any double, and any whole number, in any form that printf has.
TEST(Value, AnyNumberAsPrintf) {
    constexpr unsigned Seed = 11;
    std::mt19937_64 random(Seed);
    const auto printed = [](const char* format, auto number) {
        char text[512];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        snprintf(text, sizeof text, format, number);
#pragma GCC diagnostic pop
        return std::string(text);
    };
    for (int round = 0; round < 20000; round++) {
        const uint64_t bits = random() >> random() % 64;
        double real = 0;
        std::memcpy(&real, &bits, sizeof real);
        if (round % 2)
            real = static_cast<double>(static_cast<int64_t>(bits)) / static_cast<double>(1 + random() % 1000);
        for (auto [form, format] : {std::pair{Form::Real0, "%.0f"}, std::pair{Form::Real1, "%.1f"},
                                    std::pair{Form::Real2, "%.2f"}, std::pair{Form::Real6, "%f"}}) {
            ASSERT_EQ(spelled(real, form), printed(format, real)) << "seed " << Seed << ", round " << round;
            ASSERT_EQ(spelled(-real, form), printed(format, -real)) << "seed " << Seed << ", round " << round;
        }
        const auto number = static_cast<int32_t>(bits);
        for (auto [form, format] : {std::pair{Form::Int, "%d"}, std::pair{Form::Milli, "%03d"},
                                    std::pair{Form::Two, "%02d"}, std::pair{Form::Hex7, "%07X"}})
            ASSERT_EQ(spelled(bits, form), printed(format, number)) << "seed " << Seed << ", round " << round;
        if (std::isfinite(real)) {
            ASSERT_EQ(std::strtod(spelled(real, Form::Real).c_str(), nullptr), real);
        }
    }
}

TEST(Value, NothingIsSpelledAsNothing) {
    for (Form form : {Form::Whole, Form::Int, Form::Real2, Form::Hex7, Form::Letter, Form::Text, Form::Escaped}) {
        EXPECT_EQ(spelled({}, form), "");
        EXPECT_EQ(spelled(std::optional<int>(), form), "");
    }
    EXPECT_TRUE(Value().isNothing());
    EXPECT_TRUE(Value(std::optional<double>()).isNothing());
    EXPECT_FALSE(Value(std::optional<double>(0)).isNothing());
    EXPECT_FALSE(Value("").isNothing()); // an empty text is a text
    EXPECT_EQ(spelled(std::optional<uint64_t>(7), Form::Whole), "7");
}

TEST(Value, IsConvertedWhereTypeAndFormDiffer) {
    EXPECT_EQ(spelled(2.9, Form::Int), "2");
    EXPECT_EQ(spelled(-2.9, Form::Whole), "-2");
    EXPECT_EQ(spelled(1e30, Form::Long), "9223372036854775807");
    EXPECT_EQ(spelled(9223372036854775808.0, Form::Whole), "9223372036854775807");
    EXPECT_EQ(spelled(-1e30, Form::Long), "-9223372036854775808");
    EXPECT_EQ(spelled(std::numeric_limits<double>::quiet_NaN(), Form::Int), "");
    EXPECT_EQ(spelled(7, Form::Real2), "7.00");
    EXPECT_EQ(spelled(UINT64_MAX, Form::Real0), "18446744073709551616");
    EXPECT_EQ(spelled(UINT64_MAX, Form::Text), "18446744073709551615");
    EXPECT_EQ(spelled(-7, Form::Escaped), "-7");
    EXPECT_EQ(spelled(0.5, Form::Text), "0.5");
    EXPECT_EQ(spelled("7", Form::Int), "");
    EXPECT_EQ(spelled("7", Form::Real2), "");
    EXPECT_EQ(spelled("S", Form::Letter), "");
}

// What is known when the program is compiled is checked then.
static_assert(isFor<int>(Form::Int) && isFor<uint64_t>(Form::Whole) && isFor<char>(Form::Letter));
static_assert(!isFor<double>(Form::Int) && !isFor<double>(Form::Whole) && !isFor<float>(Form::Hex7));
static_assert(isFor<double>(Form::Real2) && isFor<int64_t>(Form::Real0));
static_assert(isFor<std::string>(Form::Text) && isFor<const char*>(Form::Escaped) && isFor<Text<8>>(Form::Text));
static_assert(!isFor<std::string_view>(Form::Int) && !isFor<const char*>(Form::Letter) && !isFor<int>(Form::Text));
static_assert(isFor<std::optional<double>>(Form::Real1) && !isFor<std::optional<double>>(Form::Long));
static_assert(!isFor<bool>(Form::Int) && !std::is_constructible_v<Value, bool>);
static_assert(!std::is_constructible_v<Value, std::nullptr_t> && !std::is_constructible_v<Value, int*>);

TEST(Value, ForAFieldOfKnownForm) {
    EXPECT_EQ(spelled(valueFor<Form::Int>(7), Form::Int), "7");
    EXPECT_EQ(spelled(valueFor<Form::Real2>(7), Form::Real2), "7.00");
    EXPECT_EQ(spelled(valueFor<Form::Real2>(std::optional<double>()), Form::Real2), "");
    EXPECT_EQ(spelled(valueFor<Form::Text>(std::string("own")), Form::Text), "own");
}

TEST(Value, ViewsWhatLivesAndOwnsWhatPasses) {
    std::string text = "a text that is long enough to be on the heap";
    const Value view = text, own = std::string(text), moved = Text<64>(text), literal = "literal";
    text[0] = 'A';
    EXPECT_EQ(spelled(view, Form::Text), text);
    text[0] = 'a';
    EXPECT_EQ(spelled(own, Form::Text), text);
    EXPECT_EQ(spelled(moved, Form::Text), text);
    EXPECT_EQ(spelled(literal, Form::Text), "literal");
    Text<8> bounded = "sda";
    const Value ofBounded = bounded, ofView = bounded.view();
    bounded = "sdb";
    EXPECT_EQ(spelled(ofBounded, Form::Text), "sdb");
    EXPECT_EQ(spelled(ofView, Form::Text), "sdb");
    const Value copy = own; // NOLINT(performance-unnecessary-copy-initialization): the copy is the test
    EXPECT_EQ(spelled(copy, Form::Text), text);
}

TEST(Field, ListsArePutTogether) {
    static constexpr auto Name = only({"name", Role::Id, "", Form::Text});
    static constexpr Field Rates[] = {{"reads", Role::Amount, "", Form::Whole},
                                      {"busy", Role::Level, "%", Form::Real2}};
    static constexpr auto All = joined<Name, Rates, Name>();
    static constexpr Kind Disk = {"DISK", All, 3};
    std::string names;
    for (auto& field : Disk.fields) names.append(field.name).append(" ");
    EXPECT_EQ(names, "name reads busy name ");
}
