#include "parse/json.h"

#include <gtest/gtest.h>

TEST(Json, Values) {
    const auto json = parseJson(" {\"a\" : [1, -2.5e+3, true, false, null, \"x\"], \"b\":{}, \"a\":0}\n");
    ASSERT_TRUE(json);
    EXPECT_EQ(json->kind, Json::Object);
    const auto& a = (*json)["a"];
    ASSERT_EQ(a.items.size(), 6u);
    EXPECT_EQ(a.items[0].whole(), 1u);
    EXPECT_EQ(a.items[1].word(), "-2.5e+3");
    EXPECT_EQ(a.items[1].whole(), std::nullopt);
    EXPECT_TRUE(a.items[2].truth);
    EXPECT_FALSE(a.items[3].truth);
    EXPECT_EQ(a.items[4].kind, Json::Null);
    EXPECT_EQ(a.items[5].word(), "x");
    EXPECT_EQ((*json)["b"].kind, Json::Object);
    EXPECT_EQ((*json)["none"]["deeper"].kind, Json::Null);
}

TEST(Json, Texts) {
    const auto text = [](std::string_view json) {
        const auto value = parseJson(json);
        return value ? value->text : "(damaged)";
    };
    EXPECT_EQ(text(R"("\"\\\/\b\f\n\r\t")"), "\"\\/\b\f\n\r\t");
    EXPECT_EQ(text(R"("\u00e9\u20ac\ud83d\ude00")"), "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
    EXPECT_EQ(text("\"\xc3\xa9\""), "\xc3\xa9");
    EXPECT_EQ(text(R"("\u0000")"), std::string_view("\0", 1));
    for (const auto* damaged : {R"("\ud83d")", R"("\ude00")", R"("\ud83dx")", R"("\ud83d\u0041")", R"("\u12g4")",
                                R"("\u-123")", R"("\x")", R"("\)", R"("open)", "\"a\nb\"", R"("\u12)"})
        EXPECT_EQ(text(damaged), "(damaged)") << damaged;
}

TEST(Json, NumbersInTextsAndWithout) {
    EXPECT_EQ(parseJson("\"18446744073709551615\"")->whole(), UINT64_MAX);
    EXPECT_EQ(parseJson("18446744073709551616")->whole(), std::nullopt);
    EXPECT_EQ(parseJson("\"12B\"")->whole(), std::nullopt);
    EXPECT_EQ(parseJson("\"\"")->whole(), std::nullopt);
    EXPECT_EQ(parseJson("true")->whole(), std::nullopt);
}

TEST(Json, Damaged) {
    for (const auto* text :
         {"",   " ",  "{",  "}",  "[1,]", "[,1]", "{\"a\"}", "{\"a\":}", "{a:1}", "{\"a\":1,}", "01", "-",
          "1.", ".5", "1e", "+1", "tru",  "nul",  "[1]x",    "1 2",      "'a'",   "[1;2]",      "NaN"})
        EXPECT_FALSE(parseJson(text)) << text;
}

TEST(Json, DeepNestingIsRefusedWithoutHarm) {
    const auto nested = [](size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    EXPECT_TRUE(parseJson(nested(64)));
    EXPECT_FALSE(parseJson(nested(65)));
    EXPECT_FALSE(parseJson(std::string(1000000, '[')));
    EXPECT_FALSE(parseJson(std::string(1000000, '{')));
}
