#include "record/crc.h"

#include <array>
#include <cstring>

#if defined(__x86_64__)
#include <nmmintrin.h>
#endif

// Eight tables: one for each byte of a word, so that eight bytes take one step.
static constexpr auto Tables = [] {
    constexpr uint32_t Polynomial = 0x82F63B78; // reversed
    std::array<std::array<uint32_t, 256>, 8> tables{};
    for (uint32_t i = 0; i < 256; i++) {
        uint32_t sum = i;
        for (int bit = 0; bit < 8; bit++) sum = sum >> 1 ^ (sum & 1 ? Polynomial : 0);
        tables[0][i] = sum;
    }
    for (size_t t = 1; t < 8; t++)
        for (size_t i = 0; i < 256; i++) {
            const uint32_t sum = tables[t - 1][i];
            tables[t][i] = sum >> 8 ^ tables[0][sum & 0xFF];
        }
    return tables;
}();

static uint64_t wordAt(const char* bytes) {
    uint64_t word = 0;
    memcpy(&word, bytes, sizeof word);
    if constexpr (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__) word = __builtin_bswap64(word);
    return word;
}

uint32_t crc32cByTable(std::string_view bytes, uint32_t before) {
    uint32_t sum = ~before;
    for (; bytes.size() >= 8; bytes.remove_prefix(8)) {
        const uint64_t word = wordAt(bytes.data()) ^ sum;
        sum = 0;
        for (size_t i = 0; i < 8; i++) sum ^= Tables[7 - i][word >> (8 * i) & 0xFF];
    }
    for (const char c : bytes) sum = sum >> 8 ^ Tables[0][(sum ^ static_cast<unsigned char>(c)) & 0xFF];
    return ~sum;
}

#if defined(__x86_64__)
[[gnu::target("sse4.2")]] static uint32_t crc32cByInstruction(std::string_view bytes, uint32_t before) {
    uint64_t sum = static_cast<uint32_t>(~before);
    for (; bytes.size() >= 8; bytes.remove_prefix(8)) sum = _mm_crc32_u64(sum, wordAt(bytes.data()));
    auto last = static_cast<uint32_t>(sum);
    for (const char c : bytes) last = _mm_crc32_u8(last, static_cast<unsigned char>(c));
    return ~last;
}

uint32_t crc32c(std::string_view bytes, uint32_t before) {
    return __builtin_cpu_supports("sse4.2") ? crc32cByInstruction(bytes, before) : crc32cByTable(bytes, before);
}
#else
uint32_t crc32c(std::string_view bytes, uint32_t before) { return crc32cByTable(bytes, before); }
#endif
