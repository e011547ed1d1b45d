#include "classic/collect/flushed.h"

#include "base/output.h"
#include "base/words.h"
#include "tests/unit/made.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {
// A machine with one command, "tool".
class WithTool {
    TempFolder folder;
    Made machine;

public:
    explicit WithTool(const std::string& output, const std::string& further = "")
        : machine("commandcopy ../" + std::filesystem::path(folder.with("output", output)).filename().string() +
                  "/output tool\n" + further) {}
};
} // namespace

template <typename Source> static std::vector<std::string> linesOf(Source& lines) {
    std::vector<std::string> result;
    for (std::string_view line; lines.next(line);) result.emplace_back(line);
    return result;
}

static std::vector<std::string> linesOf(const std::string& output, size_t limit) {
    const WithTool machine(output);
    CommandLines lines("tool", limit);
    return linesOf(lines);
}

static std::vector<std::string> expectedOf(const std::string& output, size_t limit) {
    Lines lines(output, limit);
    return linesOf(lines);
}

TEST(CommandLines, AsOfTheWholeOutput) {
    for (const std::string& output :
         {std::string(), std::string("\n"), std::string("a"), std::string("a\nb"), std::string("a\n\nb\n"),
          std::string(63, 'x'), std::string(64, 'x') + "\n", std::string(5000, 'x'), std::string("a\0b\nc\0", 6)})
        for (size_t limit : {2U, 63U, 64U, 65U, 512U}) EXPECT_EQ(linesOf(output, limit), expectedOf(output, limit));
}

TEST(CommandLines, AsOfTheWholeOutputAtRandom) {
    constexpr unsigned Seed = 20261121;
    std::mt19937 random(Seed);
    for (int round = 0; round < 50; round++) {
        std::string output;
        const size_t size = random() % 5000, rare = 1 + random() % 200;
        while (output.size() < size) output += random() % rare == 0 ? "\n\n\0"[random() % 3] : 'x';
        const size_t limit = 2 + random() % 600;
        EXPECT_EQ(linesOf(output, limit), expectedOf(output, limit)) << "seed " << Seed << " round " << round;
    }
}

TEST(CommandLines, WithoutACommand) {
    const Made machine("nopipe tool\n");
    CommandLines lines("tool", 64);
    EXPECT_EQ(linesOf(lines), std::vector<std::string>());
}

// A command that never stops printing is read as far as lines are wanted, and no further than the bound.
TEST(CommandLines, OfACommandThatNeverStops) {
    std::string output;
    while (output.size() < 65536) output += "one line of many, always the same\n";
    const WithTool machine(output, "endless tool\n");
    CommandLines lines("tool", 8192);
    std::string_view line;
    ASSERT_TRUE(lines.next(line));
    EXPECT_EQ(line, "one line of many, always the same\n");
    size_t total = line.size();
    while (lines.next(line)) total += line.size();
    EXPECT_GE(total, MostOutput);
    EXPECT_LE(total, MostOutput + 65536);
    Contents text;
    ASSERT_TRUE(runCommand("tool", text));
    EXPECT_GE(text.size, MostOutput);
    EXPECT_LE(text.size, MostOutput + 65536);
    EXPECT_EQ(text.view().substr(0, 34), "one line of many, always the same\n");
}

TEST(Commands, TheWholeOutput) {
    const std::string output(200000, 'x');
    const WithTool machine(output, "nopipe none\n");
    Contents text;
    ASSERT_TRUE(runCommand("tool", text));
    EXPECT_EQ(text.view(), output);
    ASSERT_TRUE(runCommand("unknown", text));
    EXPECT_EQ(text.view(), "");
    EXPECT_FALSE(runCommand("none", text));
}

// What was said is out before a command runs and before a pause.
TEST(Flushed, BeforeCommandsAndPauses) {
    Made machine("step 1\n");
    std::vector<off_t> written;
    const auto look = [&] { written.push_back(lseek(STDOUT_FILENO, 0, SEEK_CUR)); };
    machine.world.watch = [&](const std::string&) { look(); };
    EXPECT_EQ(printed([&] {
                  Contents text;
                  sayText("first\n");
                  runCommand("tool", text);
                  sayText("second\n");
                  const CommandLines lines("tool", 64);
                  sayText("third\n");
                  pauseFlushed(1);
                  look();
              }),
              "first\nsecond\nthird\n");
    EXPECT_EQ(written, (std::vector<off_t>{6, 13, 19}));
}
