// Reads the records of a classic log back. Nothing in them is quoted: a text may hold commas, dollar signs and
// newlines, so the fields are found by their forms.
#pragma once

#include "record/field.h"
#include "record/value.h"

#include <optional>
#include <string_view>
#include <vector>

namespace classic {
enum class Piece {
    Record,
    Header,  // names the fields of the records that follow
    Message, // a line that is no record
    Damaged, // begins like a record, but is cut or not of its kind
};

// A record, or a header without texts. The texts are views of the log, one for each field of the kind.
struct Record {
    const Kind* kind = nullptr;
    std::vector<std::string_view> texts;
};

// Takes the next piece off the log: a line without its newline, or all lines of a record. A record ends with the first
// line that ends in '$'; a line that begins like another one shows that it was cut before. False: the log is used up.
bool nextPiece(std::string_view& log, std::string_view& piece);

// What a piece is. Where commas in texts leave a choice, the first texts are as short as the forms of the fields allow.
Piece readPiece(std::string_view piece, Record& record);

// The value of a field of a classic record; none: the text does not have that form.
std::optional<Value> readValue(Form form, std::string_view text);
} // namespace classic
