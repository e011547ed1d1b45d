// A closed log becomes a compressed one.
#include "wyrtlog/pack.h"

#include "base/infile.h"
#include "base/outfile.h"
#include "tests/unit/made.h"
#include "wyrtlog/unpack.h"

static void save(const std::string& path, const std::string& text) {
    OutFile file;
    ASSERT_TRUE(file.open(path, OutFile::How::New));
    ASSERT_TRUE(file.write(text));
}

static std::string unpacked(const std::string& path) {
    InFile file;
    EXPECT_TRUE(file.open(path));
    Unpacker unpacker([&](char* to, size_t size) { return file.read(to, size); });
    std::string text, piece(1 << 16, '\0');
    while (const size_t size = unpacker.read(piece.data(), piece.size())) text.append(piece, 0, size);
    EXPECT_EQ(unpacker.failure(), "");
    return text;
}

static std::string lines(size_t bytes) {
    std::string text;
    for (unsigned i = 1; text.size() < bytes; i++)
        text += "CPU,2026-11-21T14:05:12.000+01:00,2.000000," + std::to_string(i * 2654435761U) + "\n";
    return text;
}

TEST(Pack, TheLogComesBack) {
    for (const size_t bytes : {5000U, 65536U, 200000U, 9U << 20}) {
        const Made machine("dir /logs\n");
        const auto text = lines(bytes);
        save("/logs/a.wyrt", text);
        const auto said = printed([] { EXPECT_EQ(pack("/logs/a.wyrt"), 0); }, STDERR_FILENO);
        EXPECT_EQ(said, "");
        EXPECT_FALSE(machine.world.find("/logs/a.wyrt"));
        EXPECT_FALSE(machine.world.find("/logs/a.wyrt-new"));
        EXPECT_EQ(unpacked("/logs/a.wyrt.zst"), text);
    }
}

// Several parts that can each be read alone: 9 MiB have three.
TEST(Pack, EveryFourMebibytesAreAPartOfTheirOwn) {
    const Made machine("dir /logs\n");
    save("/logs/a.wyrt", lines(9U << 20));
    EXPECT_EQ(pack("/logs/a.wyrt"), 0);
    const auto& packed = machine.world.find("/logs/a.wyrt.zst")->text;
    size_t parts = 0;
    for (size_t at = 0; (at = packed.find("\x28\xB5\x2F\xFD", at)) != packed.npos; at++) parts++;
    EXPECT_GE(parts, 3U);
}

TEST(Pack, WhatAnEarlierOneLeftIsReplaced) {
    const Made machine("text /logs/a.wyrt-new \"half\"\ntext /logs/a.wyrt.zst \"half\"\n");
    save("/logs/a.wyrt", lines(5000));
    EXPECT_EQ(pack("/logs/a.wyrt"), 0);
    EXPECT_EQ(unpacked("/logs/a.wyrt.zst"), lines(5000));
}

// Returns what is said. The log stays, and nothing else is left.
static std::string refusal(const std::string& directives, const std::string& text) {
    const Made machine(directives);
    save("/logs/a.wyrt", text);
    const auto said = printed([] { EXPECT_EQ(pack("/logs/a.wyrt"), 1); }, STDERR_FILENO);
    EXPECT_EQ(machine.world.find("/logs/a.wyrt")->text, text) << directives;
    EXPECT_FALSE(machine.world.find("/logs/a.wyrt-new")) << directives;
    EXPECT_FALSE(machine.world.find("/logs/a.wyrt.zst")) << directives;
    return said;
}

TEST(Pack, OtherwiseTheLogStays) {
    const std::string start = "wyrt: '/logs/a.wyrt' stays uncompressed: ";
    const auto text = lines(200000);
    EXPECT_EQ(refusal("disk /logs 204800\n", text), start + "No space left on device\n");
    EXPECT_EQ(refusal("fail read /logs/a.wyrt EIO\n", text), start + "Input/output error\n");
    EXPECT_EQ(refusal("fail open /logs/a.wyrt-new EACCES\n", text), start + "Permission denied\n");
    EXPECT_EQ(refusal("fail write /logs/a.wyrt-new ENOSPC\n", text), start + "No space left on device\n");
    EXPECT_EQ(refusal("fail read /logs/a.wyrt-new EIO\n", text), start + "reading it back gives something else\n");
    EXPECT_EQ(refusal("fail rename /logs/a.wyrt-new EIO\n", text), start + "Input/output error\n");
    EXPECT_EQ(refusal("dir /logs\n", ""), start + "it can hardly be compressed\n");
    std::string noise;
    for (unsigned i = 1, value = 1; i < 300000; i++)
        noise += static_cast<char>((value = value * 1664525 + 1013904223) >> 24);
    EXPECT_EQ(refusal("dir /logs\n", noise), start + "it can hardly be compressed\n");
}

TEST(Pack, NoLog) {
    const Made machine("");
    EXPECT_EQ(printed([] { EXPECT_EQ(pack("/none"), 1); }, STDERR_FILENO),
              "wyrt: '/none' stays uncompressed: No such file or directory\n");
}
