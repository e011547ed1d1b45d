// The files of a process: texts are pieces of the input, and a name never moves a number.
#include "fuzz/check.h"
#include "parse/process.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    ProcessStat stat;
    if (parseProcessStat(text, stat)) {
        check(isFrom(text, stat.name));
        check(stat.name.find(')') == stat.name.npos || text.rfind(')') > text.find(stat.name));
        check(isFrom(text, std::to_string(stat.start)) || stat.start == 0);
        // With another name all numbers are the same.
        ProcessStat renamed;
        const auto close = text.rfind(')');
        const auto other = "1 (x" + std::string(text.substr(close));
        check(parseProcessStat(other, renamed) && renamed.name == "x" && renamed.start == stat.start &&
              renamed.rss == stat.rss && renamed.children_ticks == stat.children_ticks);
    }
    const auto status = parseProcessStatus(text);
    for (auto& number : {status.uid, status.rss_kib, status.anonymous_kib, status.swap_kib, status.voluntary})
        if (number && *number > 9) check(isFrom(text, std::to_string(*number)));
    if (const auto io = parseProcessIo(text))
        check(isFrom(text, std::to_string(io->cancelled_bytes)) || io->cancelled_bytes == 0);
    if (const auto schedule = parseSchedule(text))
        check(isFrom(text, std::to_string(schedule->slices)) || schedule->slices == 0);
    for (const size_t most : {size_t{0}, size_t{5}, size_t{1000}}) {
        const auto command = parseCommandLine(text, most);
        check(command.size() <= most && command.size() <= text.size());
        check(command.find('\0') == command.npos);
    }
    check(isFrom(text, parseProcessGroup(text)));
    if (const auto limit = parseFileLimit(text)) check(*limit < 10 || isFrom(text, std::to_string(*limit)));
    return 0;
}
