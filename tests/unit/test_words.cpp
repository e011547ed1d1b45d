#include "base/words.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

static std::vector<std::string> linesOf(std::string_view text, size_t limit) {
    std::vector<std::string> result;
    Lines lines(text, limit);
    for (std::string_view line; lines.next(line);) result.emplace_back(line);
    return result;
}

// The same with the C library.
static std::vector<std::string> linesByFgets(std::string_view text, size_t limit) {
    std::vector<std::string> result;
    std::string copy(text);
    if (copy.empty()) return result;
    FILE* file = fmemopen(copy.data(), copy.size(), "r");
    std::vector<char> line(limit);
    while (fgets(line.data(), static_cast<int>(limit), file)) result.emplace_back(line.data());
    fclose(file);
    return result;
}

TEST(Lines, CutsAsFgets) {
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(linesOf("", 8), Pieces{});
    EXPECT_EQ(linesOf("\n", 8), Pieces{"\n"});
    EXPECT_EQ(linesOf("a\nb", 8), (Pieces{"a\n", "b"}));
    EXPECT_EQ(linesOf("a\n\nb\n", 8), (Pieces{"a\n", "\n", "b\n"}));
    EXPECT_EQ(linesOf("123456\n", 8), Pieces{"123456\n"});           // n-1 with the newline: fits
    EXPECT_EQ(linesOf("1234567\n", 8), (Pieces{"1234567", "\n"}));   // n: the newline is a piece of its own
    EXPECT_EQ(linesOf("12345678\n", 8), (Pieces{"1234567", "8\n"})); // n+1
    EXPECT_EQ(linesOf("1234567", 8), Pieces{"1234567"});             // without a newline
    EXPECT_EQ(linesOf(std::string_view("ab\0cd\nef\n", 9), 8), (Pieces{"ab", "ef\n"}));
    EXPECT_EQ(linesOf(std::string_view("\0\n\0", 3), 8), (Pieces{"", ""}));
    EXPECT_EQ(linesOf(std::string_view("ab\0cdefgh\n", 10), 8), (Pieces{"ab", "gh\n"})); // seven bytes, then the rest
}

TEST(Lines, EqualFgetsOnRandomBytes) {
    std::mt19937 random(1);
    for (int round = 0; round < 2000; round++) {
        std::string text;
        for (auto n = random() % 60; n > 0; n--) text += "ab \n\0c"[random() % 6];
        for (size_t limit : {2U, 3U, 8U, 61U}) EXPECT_EQ(linesOf(text, limit), linesByFgets(text, limit)) << round;
    }
}

TEST(Words, DropLast) {
    EXPECT_EQ(dropLast("abc\n"), "abc");
    EXPECT_EQ(dropLast("abc"), "ab");
    EXPECT_EQ(dropLast("\n"), "");
    EXPECT_EQ(dropLast(""), "");
}

TEST(Words, SkipBlanks) {
    EXPECT_EQ(skipBlanks("  a b "), "a b ");
    EXPECT_EQ(skipBlanks("\t a"), "\t a"); // only the space counts as a blank
    EXPECT_EQ(skipBlanks("   "), "");
    EXPECT_EQ(skipBlanks(""), "");
}

TEST(Words, SkipWhite) {
    EXPECT_EQ(skipWhite(" \t a b "), "a b ");
    EXPECT_EQ(skipWhite("\na"), "\na"); // a newline is a character
    EXPECT_EQ(skipWhite("a"), "a");
    EXPECT_EQ(skipWhite(" \t ").data(), nullptr);
    EXPECT_EQ(skipWhite("").data(), nullptr);
}

TEST(Words, NumberAfterTheFirstColon) {
    EXPECT_EQ(numberAfter("MemTotal:       16316412 kB\n", ':'), 16316412);
    EXPECT_EQ(numberAfter("MemTotal:12", ':'), 12);
    EXPECT_EQ(numberAfter("a:b:12", ':'), 0);
    EXPECT_EQ(numberAfter("Uid:\t1000\t1000", ':'), 1000); // the conversion skips tabs
    EXPECT_EQ(numberAfter("x: -5", ':'), -5);
    EXPECT_EQ(numberAfter("x:", ':'), 0);
    EXPECT_EQ(numberAfter("x:   ", ':'), 0);
    EXPECT_EQ(numberAfter("x 12", ':'), 0);
    EXPECT_EQ(numberAfter("", ':'), 0);
    EXPECT_EQ(numberAfter("x: 99999999999999999999", ':'), INT64_MAX);
}

TEST(Words, NumberAfterTheFirstSpace) {
    EXPECT_EQ(numberAfter("pgscan_direct_dma 12\n", ' '), 12);
    EXPECT_EQ(numberAfter("pgscan_direct_dma32   12\n", ' '), 12);
    EXPECT_EQ(numberAfter("key 1 2", ' '), 1);
    EXPECT_EQ(numberAfter("key", ' '), 0);
    EXPECT_EQ(numberAfter("key ", ' '), 0);
    EXPECT_EQ(numberAfter(" 12", ' '), 12);
    EXPECT_EQ(numberAfter("key\t12", ' '), 0);
}

TEST(Words, AfterKey) {
    std::string_view rest = "kept";
    EXPECT_FALSE(afterKey("ctx", "ctxt ", rest));
    EXPECT_FALSE(afterKey(" ctxt 1", "ctxt ", rest));
    EXPECT_EQ(rest, "kept");
    EXPECT_TRUE(afterKey("ctxt 12\n", "ctxt ", rest));
    EXPECT_EQ(rest, "12\n");
    EXPECT_TRUE(afterKey("ctxt ", "ctxt ", rest));
    EXPECT_EQ(rest, "");
}

static const char* const Numbers[] = {
    "",
    "0",
    "12",
    "-12",
    "+12",
    "  12",
    "\t\n\v\f\r 12",
    "\b12",
    "\x0e\t12",
    "12abc",
    "abc12",
    "0x10",
    "010",
    "--1",
    "+-1",
    "- 1",
    "-",
    "+",
    "1.9",
    "1e3",
    "2147483647",
    "2147483648",
    "-2147483648",
    "-2147483649",
    "4294967295",
    "4294967296",
    "4294967297",
    "9223372036854775806",
    "9223372036854775807",
    "9223372036854775808",
    "-9223372036854775807",
    "-9223372036854775808",
    "-9223372036854775809",
    "18446744073709551615",
    "18446744073709551616",
    "99999999999999999999999999",
    "-99999999999999999999999999",
    "00000000000000000000000000000000000012",
};

TEST(Words, NumbersAsTheCLibraryReadsThem) {
    for (auto text : Numbers) {
        size_t end = 99;
        char* stop = nullptr;
        EXPECT_EQ(toLong(std::string_view(text), &end), strtoll(text, &stop, 10)) << text;
        EXPECT_EQ(end, static_cast<size_t>(stop - text)) << text;
        EXPECT_EQ(toLong(std::string_view(text)), atoll(text)) << text;
        EXPECT_EQ(toInt(std::string_view(text)), atoi(text)) << text;
    }
}

TEST(Words, NumbersOfRandomText) {
    std::mt19937 random(2);
    for (int round = 0; round < 20000; round++) {
        std::string text;
        for (auto n = random() % 24; n > 0; n--) text += " +-0123456789x"[random() % 14];
        size_t end = 99;
        char* stop = nullptr;
        EXPECT_EQ(toLong(std::string_view(text), &end), strtoll(text.c_str(), &stop, 10)) << text;
        EXPECT_EQ(end, static_cast<size_t>(stop - text.c_str())) << text;
        EXPECT_EQ(toInt(std::string_view(text)), atoi(text.c_str())) << text;
    }
}

TEST(Words, NumberStopsAtTheViewsEnd) {
    const std::string_view text = "12345";
    EXPECT_EQ(toLong(text.substr(0, 2)), 12);
    EXPECT_EQ(toInt(text.substr(1, 3)), 234);
}

TEST(Words, DoublesBecomeIntegersAsTheProcessorMakesThem) {
    constexpr auto Nan = std::numeric_limits<double>::quiet_NaN(), Huge = std::numeric_limits<double>::infinity();
    EXPECT_EQ(toInt(0.0), 0);
    EXPECT_EQ(toInt(1.99), 1);
    EXPECT_EQ(toInt(-1.99), -1);
    EXPECT_EQ(toInt(2147483647.0), INT32_MAX);
    EXPECT_EQ(toInt(2147483647.9), INT32_MAX);
    EXPECT_EQ(toInt(2147483648.0), INT32_MIN);
    EXPECT_EQ(toInt(-2147483648.0), INT32_MIN);
    EXPECT_EQ(toInt(-2147483648.9), INT32_MIN);
    EXPECT_EQ(toInt(-2147483649.0), INT32_MIN);
    EXPECT_EQ(toInt(-2147483647.9), -INT32_MAX);
    for (double v : {Nan, -Nan, Huge, -Huge, 1e300}) {
        EXPECT_EQ(toInt(v), INT32_MIN);
        EXPECT_EQ(toLong(v), INT64_MIN);
    }
    EXPECT_EQ(toLong(-7.5), -7);
    EXPECT_EQ(toLong(4294967296.5), 4294967296);
    EXPECT_EQ(toLong(std::nextafter(9223372036854775808.0, 0)), 9223372036854774784);
    EXPECT_EQ(toLong(9223372036854775808.0), INT64_MIN);
    EXPECT_EQ(toLong(-9223372036854775808.0), INT64_MIN);
    EXPECT_EQ(toLong(std::nextafter(-9223372036854775808.0, 0)), -9223372036854774784);
}

static std::vector<std::string> fieldsOf(std::string_view line, size_t most = 10) {
    std::vector<std::string_view> fields(most);
    const int count = splitFields(line, fields);
    return {fields.begin(), fields.begin() + count};
}

TEST(Words, FieldsBeginAfterEverySpace) {
    using Fields = std::vector<std::string>;
    EXPECT_EQ(fieldsOf(""), Fields{""});
    EXPECT_EQ(fieldsOf("a"), Fields{"a"});
    EXPECT_EQ(fieldsOf("a b\n"), (Fields{"a", "b\n"}));
    EXPECT_EQ(fieldsOf("a  b"), (Fields{"a", "", "b"}));
    EXPECT_EQ(fieldsOf(" a "), (Fields{"", "a", ""}));
    EXPECT_EQ(fieldsOf("a\tb c"), (Fields{"a\tb", "c"}));
    EXPECT_EQ(fieldsOf("1 2 3", 2), (Fields{"1", "2"}));
    EXPECT_EQ(fieldsOf("1 2 3", 3), (Fields{"1", "2", "3"}));
    EXPECT_EQ(fieldsOf("1 2 3", 4), (Fields{"1", "2", "3"}));
    EXPECT_EQ(fieldsOf("1 2 3", 0), Fields{});
}

static std::vector<std::string> wordsOf(std::string_view line, char also = ' ', size_t most = 10) {
    std::vector<std::string_view> words(most);
    const int count = splitWords(line, words, also);
    return {words.begin(), words.begin() + count};
}

TEST(Words, WordsReachToTheEndOfTheLine) {
    using Words = std::vector<std::string>;
    EXPECT_EQ(wordsOf(""), Words{});
    EXPECT_EQ(wordsOf("   "), Words{});
    EXPECT_EQ(wordsOf("  a  bc\n"), (Words{"a  bc\n", "bc\n"}));
    EXPECT_EQ(wordsOf("a \n"), (Words{"a \n", "\n"})); // a newline after a space is a word
    EXPECT_EQ(wordsOf("a\tb"), Words{"a\tb"});
    EXPECT_EQ(wordsOf("eth0:12 3", ':'), (Words{"eth0:12 3", "12 3", "3"}));
    EXPECT_EQ(wordsOf("a::b", ':'), (Words{"a::b", ":b", "b"})); // a word may begin with any character but a space
    EXPECT_EQ(wordsOf("1 2 3", ' ', 2), (Words{"1 2 3", "2 3"}));
    EXPECT_EQ(wordsOf("1 2 3", ' ', 0), Words{});
}

TEST(Words, WordEndsAtTheFirstSpace) {
    EXPECT_EQ(word("eth0 12"), "eth0");
    EXPECT_EQ(word("eth0\t12"), "eth0\t12");
    EXPECT_EQ(word(" a"), "");
    EXPECT_EQ(word(""), "");
}
