#include "parse/fdinfo.h"

#include "base/words.h"

FDInfo parseFDInfo(std::string_view text) {
    FDInfo info;
    Lines lines(text, FDInfoLineLimit);
    std::string_view line, rest;
    if (lines.next(line) && afterKey(line, "pos:", rest)) info.pos = toLong(rest);
    if (lines.next(line) && afterKey(line, "flags:", rest)) info.flags = rest;
    return info;
}
