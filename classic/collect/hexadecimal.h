// Hexadecimal digits as the socket tables and the flags of descriptors need them.
#pragma once

#include <string_view>

// The value of one digit. The kernel prints capitals; any other character gives what the same subtraction gives.
int digitOf(char c);
// The value of the hexadecimal digits at the start of a text; 0 when nothing follows them. See the quirks at its
// definition.
unsigned ToUINT(std::string_view src);
