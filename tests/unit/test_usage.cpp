#include "classic/monitor/options.h"

#include "tests/unit/made.h"

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

// The text as printf of the C library prints it, line by line. Percent signs that begin no conversion ("CPU%(unit",
// "CPU% Threshold") are printed unchanged.
static std::string byPrintf(const char* program) {
    std::string result;
    for (std::string_view rest = UsageText; !rest.empty();) {
        const std::string line(rest.substr(0, rest.find('\n') + 1));
        rest.remove_prefix(line.size());
        char text[4096];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
        std::snprintf(text, sizeof text, line.c_str(), program, program, program);
#pragma GCC diagnostic pop
        result += text;
    }
    return result;
}

TEST(Usage, IsWhatPrintfMakesOfIt) {
    for (const char* program : {"wyrt", "./build/wyrt", "", "50%% of %s %d"})
        EXPECT_EQ(printed([&] { dispUsage(program); }), byPrintf(program));
}

TEST(Usage, NamesTheProgramInEveryExample) {
    const auto text = printed([] { dispUsage("PROGRAM"); });
    size_t count = 0;
    for (size_t at = 0; (at = text.find("PROGRAM", at)) != text.npos; at++) count++;
    EXPECT_EQ(count, 10U);
    EXPECT_EQ(text.substr(0, 60), "Usage : PROGRAM [ -e : System environment ] [ -c Number of u");
    EXPECT_NE(text.find("process CPU%(unit is 0.001%) ]"), text.npos);
    EXPECT_NE(text.find("Prcoess CPU% Threshold : 1 -> 0.001%(List all if -1)"), text.npos);
    EXPECT_NE(text.find("processes consuming 10% CPU or more : PROGRAM -C 10000\n"), text.npos);
}
