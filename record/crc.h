// CRC-32C (Castagnoli), as END lines of a log carry it. "123456789" has E3069283.
#pragma once

#include <cstdint>
#include <string_view>

// The checksum of an earlier text followed by `bytes`. `before` is the checksum of the earlier text, 0 without one.
uint32_t crc32c(std::string_view bytes, uint32_t before = 0);
// The same without the CPU's CRC instruction, for CPUs that lack it and for tests.
uint32_t crc32cByTable(std::string_view bytes, uint32_t before = 0);
