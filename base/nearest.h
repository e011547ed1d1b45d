// Finds the known word that somebody may have wanted to type.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

// How many letters must be added, left out, replaced or exchanged with their neighbour to turn one word into the other.
// Only the first 64 bytes of each are compared; further bytes count as added letters.
size_t editDistance(std::string_view a, std::string_view b);

// The known word with the smallest distance, the first of several; empty when none is known.
std::string_view nearest(std::string_view word, std::span<const std::string_view> known);
