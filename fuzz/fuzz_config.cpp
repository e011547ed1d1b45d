// The recorder's options in a file: they are taken or refused with a text, whatever they hold.
#include "fuzz/check.h"
#include "tests/unit/made.h"
#include "wyrt/options.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Made machine("");
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::vector<ConfigLine> lines;
    parseConfig("f", text, lines);
    for (auto& line : lines) {
        check(isFrom(text, line.option) && isFrom(text, line.value));
        check(line.option.find('=') == line.option.npos && line.place.starts_with("f:"));
    }
    const char* const words[] = {"wyrt", "record", "--dir", "/logs"};
    const auto parsed = parseOptions(Task::Record, 4, words, &lines);
    check(parsed.kind == Parsed::Run || !parsed.text.empty());
    if (parsed.kind == Parsed::Run) check(parsed.settings.view.interval_us > 0 && !parsed.settings.view.areas.empty());
    return 0;
}
