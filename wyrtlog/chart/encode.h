// Figures and texts as the page's script takes them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// Numbers of three characters each, of the base64 alphabet: one for the power of two, two for twelve more bits, which
// is more than a chart can show. A 0, a value that is not known, and values that repeat the one before take less.
// Negative values are 0.
std::string encodedFigures(std::span<const float> values);
// Times that never fall, each as the difference from the one before, in units of five bits.
std::string encodedTimes(std::span<const int64_t> times_ms);

// A text in JSON, with its quotes. Whatever it holds, it ends neither the JSON nor a <script> around it.
void appendPageJson(std::string& out, std::string_view text);
// A text between HTML tags, or in an attribute in quotes. Newlines stay.
void appendHtml(std::string& out, std::string_view text);
std::string html(std::string_view text);
