// Output to a terminal: no control characters are left, as bytes or as UTF-8.
#include "base/masking.h"
#include "base/output.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string before(reinterpret_cast<const char*>(data), size);
    std::string text = before;
    maskControls(text);
    if (text.size() > before.size()) std::abort();
    size_t marks = 0;
    for (size_t i = 0; i < text.size(); i++) {
        const auto c = static_cast<unsigned char>(text[i]);
        if ((c < 0x20 && c != '\n') || c == 0x7F) std::abort();
        // A byte of the C1 range must follow another byte of a character. After C2 it would be a control itself.
        if (c >= 0x80 && c <= 0x9F && (i == 0 || static_cast<unsigned char>(text[i - 1]) < 0x80)) std::abort();
        if (c >= 0x80 && c <= 0x9F && static_cast<unsigned char>(text[i - 1]) == 0xC2) std::abort();
        marks += c == '?' ? 1U : 0U;
    }
    if (marks == 0 && text != before) std::abort(); // nothing else is changed
    std::string again = text;
    maskControls(again);
    if (again != text) std::abort();
    return 0;
}
