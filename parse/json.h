// JSON (RFC 8259) as the volume tools print it, read strictly and into one tree of values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct Json {
    enum Kind { Null, Boolean, Number, String, Array, Object } kind = Null;
    bool truth = false;             // of a boolean
    std::string text;               // of a string, decoded to UTF-8; of a number, as it is written
    std::vector<Json> items;        // of an array; of an object its values, in their order
    std::vector<std::string> names; // of an object: the name of each value

    // The first value of that name; a null when there is none or this is no object.
    const Json& operator[](std::string_view name) const;
    // A string's text, a number's digits; empty for the rest.
    std::string_view word() const { return text; }
    // A whole number without sign, as a number or in a string; none for everything else.
    std::optional<uint64_t> whole() const;
};

// None: the text is no JSON, or nests deeper than 64.
std::optional<Json> parseJson(std::string_view text);
