// The reader of classic logs: no byte is lost, the fields make the record again, and values are spelled as they were
// read.
#include "fuzz/check.h"
#include "record/classic/kinds.h"
#include "record/classic/reader.h"

#include <cstdint>
#include <string>

static std::string spelled(Form form, std::string_view text) {
    const auto value = classic::readValue(form, text);
    check(value.has_value());
    std::string out;
    value->append(out, form);
    return out;
}

static void checkRecord(std::string_view piece, const classic::Record& record) {
    const auto fields = record.kind->fields;
    check(record.texts.size() == fields.size());
    std::string again = "^";
    again.append(record.kind->tag);
    for (size_t i = 0; i < fields.size(); i++) {
        again.append(",").append(record.texts[i]);
        const auto once = spelled(fields[i].form, record.texts[i]);
        check(spelled(fields[i].form, once) == once);
    }
    check(again + "$" == piece);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string log(reinterpret_cast<const char*>(data), size);
    std::string_view rest = log, piece;
    classic::Record record;
    while (classic::nextPiece(rest, piece)) {
        check(isFrom(log, piece) && piece.data() + piece.size() <= rest.data());
        const auto what = classic::readPiece(piece, record);
        if (what == classic::Piece::Record) checkRecord(piece, record);
        else check(record.texts.empty() || what == classic::Piece::Damaged);
    }
    check(rest.empty());
    return 0;
}
