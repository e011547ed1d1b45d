// wyrt stats: figures over a span, and who used what.
#pragma once

#include "wyrtlog/options.h"

// Exit status.
int stats(const Asked& asked);
// Why a word is no figure of an area, "disk/read_bytes"; empty: it is.
std::string whyNoFigure(std::string_view word);
