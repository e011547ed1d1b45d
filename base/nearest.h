// Which known word somebody may have wanted to type.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

// How many letters were added, left out or replaced, or neighbours exchanged, between the two words. Only the first 64
// bytes of each are compared; what is longer counts as added.
size_t editDistance(std::string_view a, std::string_view b);

// The known word with the smallest distance, the first of several; empty when none is known.
std::string_view nearest(std::string_view word, std::span<const std::string_view> known);
