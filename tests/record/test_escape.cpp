// The texts of the log: what is escaped, and that reading gives the bytes back.
#include "record/escape.h"

#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using namespace std::string_view_literals;

static std::string escaped(std::string_view text) {
    std::string out;
    escape(text, out);
    return out;
}

static std::string unescaped(std::string_view text) {
    std::string out;
    EXPECT_TRUE(unescape(text, out)) << text;
    return out;
}

TEST(Escape, WhatIsEscaped) {
    const std::vector<std::pair<std::string_view, std::string_view>> table = {
        {"", ""},
        {"plain text ~!$^;'", "plain text ~!$^;'"},
        {"a,b", R"(a\x2Cb)"},
        {"\"", R"(\x22)"},
        {"\\", R"(\x5C)"},
        {"\\x41", R"(\x5Cx41)"},
        {"\0"sv, R"(\x00)"},
        {"\t\n\r\x1B[31m", R"(\x09\x0A\x0D\x1B[31m)"},
        {"\x1F \x7E\x7F", "\\x1F ~\\x7F"},
        {"\xC2\x80\xC2\x9F", R"(\xC2\x80\xC2\x9F)"}, // U+0080, U+009F
        {"\xC2\xA0", "\xC2\xA0"},                    // U+00A0
        {"gr\xC3\xBC\xC3\x9F", "gr\xC3\xBC\xC3\x9F"},
        {"\xE2\x82\xAC", "\xE2\x82\xAC"},
        {"\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
    };
    for (auto& [text, expected] : table) {
        EXPECT_EQ(escaped(text), expected);
        EXPECT_EQ(unescaped(expected), text);
    }
}

TEST(Escape, WhatIsNotUTF8) {
    const std::vector<std::pair<std::string_view, std::string_view>> table = {
        {"\x80", R"(\x80)"},
        {"\xBF", R"(\xBF)"},
        {"\xC0\x80", R"(\xC0\x80)"},                                      // overlong NUL
        {"\xC1\xBF", R"(\xC1\xBF)"},                                      // overlong U+007F
        {"\xE0\x9F\xBF", R"(\xE0\x9F\xBF)"},                              // overlong U+07FF
        {"\xF0\x8F\xBF\xBF", R"(\xF0\x8F\xBF\xBF)"},                      // overlong U+FFFF
        {"\xED\xA0\x80", R"(\xED\xA0\x80)"},                              // U+D800
        {"\xED\xBF\xBF", R"(\xED\xBF\xBF)"},                              // U+DFFF
        {"\xF4\x90\x80\x80", R"(\xF4\x90\x80\x80)"},                      // U+110000
        {"\xF5\x80\x80\x80", R"(\xF5\x80\x80\x80)"},                      // above any character
        {"\xF8\x88\x80\x80\x80", R"(\xF8\x88\x80\x80\x80)"},              // five bytes
        {"\xFE\xFF", R"(\xFE\xFF)"},                                      // never
        {"\xC3", R"(\xC3)"},                                              // cut at the end
        {"\xE2\x82", R"(\xE2\x82)"},                                      //
        {"\xF0\x9F\x98", R"(\xF0\x9F\x98)"},                              //
        {"\xE2\x82,", R"(\xE2\x82\x2C)"},                                 // cut by a comma
        {"\xE2\xE2\x82\xAC", "\\xE2\xE2\x82\xAC"},                        // cut by a whole character
        {"\xC3\xBC\x80\xC3\xBC", "\xC3\xBC\\x80\xC3\xBC"},                // one byte too many
        {"\xED\x9F\xBF\xEE\x80\x80", "\xED\x9F\xBF\xEE\x80\x80"},         // U+D7FF and U+E000 are characters
        {"\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},                         // U+10FFFF is the last one
        {"\xE0\xA0\x80\xF0\x90\x80\x80", "\xE0\xA0\x80\xF0\x90\x80\x80"}, // U+0800 and U+10000, the first of their size
    };
    for (auto& [text, expected] : table) {
        EXPECT_EQ(escaped(text), expected);
        EXPECT_EQ(unescaped(expected), text);
    }
}

TEST(Escape, DamageIsReportedAndLeavesTheOutput) {
    for (auto text : {R"(\)", R"(\x)", R"(\x4)", R"(a\n)", R"(\X41)", R"(\x4g)", R"(\xg4)", R"(\x2c)", R"(\\)",
                      R"(\x41\)", R"(\x41\x4)", R"(\u0041)", R"(\ x41)"}) {
        std::string out = "before";
        EXPECT_FALSE(unescape(text, out)) << text;
        EXPECT_EQ(out, "before") << text;
    }
}

TEST(Escape, BothAppend) {
    std::string out = "a";
    escape(",", out);
    EXPECT_EQ(out, R"(a\x2C)");
    EXPECT_TRUE(unescape(R"(\x2C)", out));
    EXPECT_EQ(out, R"(a\x2C,)");
}

// A UTF-8 reader of the test's own, straight from the table of RFC 3629. Returns 0 for what is none.
static size_t lengthOfCharacter(std::string_view s) {
    const auto byte = [&](size_t i) { return i < s.size() ? static_cast<unsigned char>(s[i]) : 0U; };
    const auto in = [&](size_t i, unsigned least, unsigned most) { return byte(i) >= least && byte(i) <= most; };
    const auto tail = [&](size_t i) { return in(i, 0x80, 0xBF); };
    if (in(0, 0x00, 0x7F)) return 1;
    if (in(0, 0xC2, 0xDF) && tail(1)) return 2;
    if (((byte(0) == 0xE0 && in(1, 0xA0, 0xBF)) || (in(0, 0xE1, 0xEC) && tail(1)) ||
         (byte(0) == 0xED && in(1, 0x80, 0x9F)) || (in(0, 0xEE, 0xEF) && tail(1))) &&
        tail(2))
        return 3;
    if (((byte(0) == 0xF0 && in(1, 0x90, 0xBF)) || (in(0, 0xF1, 0xF3) && tail(1)) ||
         (byte(0) == 0xF4 && in(1, 0x80, 0x8F))) &&
        tail(2) && tail(3))
        return 4;
    return 0;
}

static bool isClean(std::string_view text) {
    for (size_t at = 0, length; at < text.size(); at += length) {
        const auto c = static_cast<unsigned char>(text[at]);
        length = lengthOfCharacter(text.substr(at));
        if (length == 0 || c < 0x20 || c == 0x7F || c == ',' || c == '"') return false;
        if (c == 0xC2 && static_cast<unsigned char>(text[at + 1]) < 0xA0) return false;
    }
    return true;
}

TEST(Escape, AnyBytesComeBack) {
    constexpr unsigned Seed = 20261121;
    std::mt19937 random(Seed);
    // Bytes that begin, continue and break characters are as likely as all the others together.
    constexpr std::string_view Likely = "\xC2\x80\x9F\xA0\xBF\xC3\xE0\xED\xEF\xF0\xF4\x8F\x90,\"\\x2C\x1B\x7F"sv;
    for (int round = 0; round < 20000; round++) {
        std::string text(random() % 40, ' ');
        for (auto& c : text)
            c = random() % 2 ? Likely[random() % Likely.size()] : static_cast<char>(static_cast<uint8_t>(random()));
        const auto line = escaped(text);
        ASSERT_TRUE(isClean(line)) << "seed " << Seed << ", round " << round << ": " << line;
        ASSERT_EQ(unescaped(line), text) << "seed " << Seed << ", round " << round;
        ASSERT_EQ(isClean(text) && text.find('\\') == text.npos, line == text) << "round " << round << ": " << line;
    }
}

// Every single byte and every pair of bytes.
TEST(Escape, AnyPairComesBack) {
    for (unsigned first = 0; first < 256; first++)
        for (unsigned second = 0; second < 256; second++) {
            const std::string text = {static_cast<char>(first), static_cast<char>(second)};
            const auto line = escaped(text);
            ASSERT_TRUE(isClean(line)) << first << " " << second;
            ASSERT_EQ(unescaped(line), text) << first << " " << second;
        }
}
