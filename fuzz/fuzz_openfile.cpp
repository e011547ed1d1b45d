// The text of fdinfo: what it gives stands in the text, and so do the flags, whose words are known ones.
#include "fuzz/check.h"
#include "parse/openfile.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto info = parseOpenFile(text);
    if (!info) return 0;
    check(text.starts_with("pos:\t"));
    if (info->position) check(isFrom(text, std::to_string(info->position)));
    if (info->mount) check(isFrom(text, std::to_string(*info->mount)));
    if (info->inode) check(isFrom(text, std::to_string(*info->inode)));
    const auto words = flagWords(info->flags);
    check(words == "path" || words.starts_with("read") || words.starts_with("write"));
    check(canWrite(info->flags) == (words.find("write") != words.npos));
    return 0;
}
