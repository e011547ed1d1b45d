// CRC-32C (Castagnoli), as END lines of a log carry it. "123456789" has E3069283.
#pragma once

#include <cstdint>
#include <string_view>

// The sum of `bytes` appended to what `before` is the sum of (0: nothing).
uint32_t crc32c(std::string_view bytes, uint32_t before = 0);
// The same without the processor's instruction, for processors that lack it and for tests.
uint32_t crc32cByTable(std::string_view bytes, uint32_t before = 0);
