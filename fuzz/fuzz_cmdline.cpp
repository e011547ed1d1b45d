// The cmdline file of a process.
#include "classic/collect/proclines.h"

#include <cstdlib>

// The same result computed in another way: in a buffer of zeros, byte by byte.
static std::string plain(std::string_view file) {
    std::string arg(file.substr(0, std::min(file.find('\n'), file.size()) + 1).substr(0, CommandLineLimit - 1));
    arg.resize(CommandLineLimit + 1);
    for (size_t i = 0; i < CommandLineLimit - 1; i++) {
        if (arg[i]) continue;
        if (!arg[i + 1]) break;
        arg[i] = ' ';
    }
    return arg.c_str();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view file(reinterpret_cast<const char*>(data), size);
    std::string texts = "before";
    const auto range = getCommandLine(file, texts);
    if (range.first != 6 || texts.substr(range.first) != plain(file)) abort();
    return 0;
}
