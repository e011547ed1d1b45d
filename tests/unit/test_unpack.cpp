#include "wyrtlog/unpack.h"

#include "tests/madelog.h"

#include <gtest/gtest.h>
#include <zlib.h>
#include <zstd.h>

static std::string zstdOf(const std::string& text) {
    std::string packed(ZSTD_compressBound(text.size()), 0);
    packed.resize(ZSTD_compress(packed.data(), packed.size(), text.data(), text.size(), 3));
    return packed;
}

static std::string gzipOf(const std::string& text) {
    z_stream state{};
    deflateInit2(&state, 6, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY);
    std::string packed(deflateBound(&state, text.size()), 0), from = text;
    state.next_in = reinterpret_cast<Bytef*>(from.data()), state.avail_in = static_cast<uInt>(from.size());
    state.next_out = reinterpret_cast<Bytef*>(packed.data()), state.avail_out = static_cast<uInt>(packed.size());
    deflate(&state, Z_FINISH);
    packed.resize(packed.size() - state.avail_out);
    deflateEnd(&state);
    return packed;
}

namespace {
struct Result {
    std::string text, failure;
};
} // namespace

// The file comes in pieces of `piece` bytes, and `room` bytes are asked for at a time.
static Result unpacked(const std::string& file, size_t piece = 4096, size_t room = 1000) {
    Unpacker unpacker(partsOf(file, piece));
    Result result;
    std::string some(room, 0);
    while (const size_t n = unpacker.read(some.data(), some.size())) result.text.append(some, 0, n);
    result.failure = unpacker.failure();
    return result;
}

static std::string longText() {
    std::string text;
    for (int i = 0; i < 20000; i++) text += "DISK," + std::to_string(i * 7919 % 10007) + ",sda\n";
    return text;
}

TEST(Unpack, PlainBytesStayAsTheyAre) {
    const std::string shortOnes[] = {"", "#", "(\xB5/", "\x1F", "#wyrt,2\n"};
    for (auto& text : shortOnes) EXPECT_EQ(unpacked(text).text, text);
    EXPECT_EQ(unpacked(longText()).text, longText());
    EXPECT_EQ(unpacked(longText(), 1, 1).text, longText());
}

TEST(Unpack, CompressedBytesAreThoseThatWerePacked) {
    for (const auto& text : {std::string(), std::string("a"), longText()})
        for (const auto& file : {zstdOf(text), gzipOf(text)})
            for (const size_t piece : {size_t{1}, size_t{100000}}) {
                const auto result = unpacked(file, piece);
                EXPECT_EQ(result.text, text);
                EXPECT_EQ(result.failure, "");
            }
}

TEST(Unpack, SeveralFilesInARowAreOne) {
    EXPECT_EQ(unpacked(zstdOf("one ") + zstdOf("") + zstdOf("two")).text, "one two");
    EXPECT_EQ(unpacked(gzipOf("one ") + gzipOf("") + gzipOf("two")).text, "one two");
}

TEST(Unpack, AFileCutShortGivesItsStartAndAReason) {
    for (const auto& file : {zstdOf(longText()), gzipOf(longText())})
        for (size_t size = 4; size < file.size(); size += 501) {
            const auto result = unpacked(file.substr(0, size));
            EXPECT_EQ(result.failure, "it is compressed, and cut short");
            EXPECT_EQ(result.text, longText().substr(0, result.text.size()));
        }
}

TEST(Unpack, DamageIsAReasonToo) {
    auto damaged = gzipOf(longText());
    damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 0x55);
    EXPECT_EQ(unpacked(damaged).failure, "it is compressed, and damaged");
    EXPECT_EQ(unpacked(zstdOf("whole") + "and then something else").failure, "it is compressed, and damaged");
    // A window of 128 MiB.
    EXPECT_EQ(unpacked(std::string("\x28\xB5\x2F\xFD\x00\x88\x00\x00\x00", 9)).failure,
              "it is compressed, and damaged");
}
