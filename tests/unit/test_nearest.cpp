#include "base/nearest.h"

#include <string>

#include <gtest/gtest.h>

TEST(EditDistance, OneStepOfEachKind) {
    struct Case {
        const char *a, *b;
        size_t distance;
    };
    const Case cases[] = {
        {"", "", 0},
        {"", "live", 4},
        {"live", "", 4},
        {"live", "live", 0},
        {"live", "livee", 1},
        {"live", "xlive", 1},
        {"live", "lve", 1},
        {"live", "liv", 1},
        {"live", "love", 1},
        {"live", "liev", 1},
        {"live", "ilve", 1},
        {"live", "evil", 3},
        {"record", "recrod", 1},
        {"record", "rceodr", 2},
        {"ab", "ba", 1},
        {"abc", "ca", 3},
        {"kitten", "sitting", 3},
        {"Live", "live", 1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(editDistance(c.a, c.b), c.distance) << c.a << " " << c.b;
        EXPECT_EQ(editDistance(c.b, c.a), c.distance) << c.b << " " << c.a;
    }
}

TEST(EditDistance, WordsLongerThanAnyCommand) {
    const std::string a(64, 'a'), longer(100000, 'a');
    EXPECT_EQ(editDistance(a, longer), 100000 - 64U);
    EXPECT_EQ(editDistance(longer, longer), 0U);
    EXPECT_EQ(editDistance(longer, "live"), 100000U);
    EXPECT_EQ(editDistance(std::string(64, 'b'), longer), 100000U);
}

TEST(Nearest, TheFirstOfThose) {
    const std::string_view words[] = {"cpu", "mem", "disk", "net"};
    EXPECT_EQ(nearest("dsk", words), "disk");
    EXPECT_EQ(nearest("network", words), "net");
    EXPECT_EQ(nearest("xyz", words), "cpu");
    EXPECT_EQ(nearest("disk", {}), "");
}
