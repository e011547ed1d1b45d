// A small file in which a program keeps what the next one goes on with.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// Its text; none: it cannot be read, and errno tells why (ENOENT: there is none yet). `most`: a longer one is refused
// with EFBIG.
std::optional<std::string> readState(const std::string& path, size_t most);
// Replaces the file in one step: whenever the power fails, the old text or the new one is there. False: errno tells
// why, and the old one is there. EFBIG: the text is longer than `most`, so that readState() would refuse it.
bool replaceState(const std::string& path, std::string_view text, size_t most = static_cast<size_t>(-1));
