// The target of a descriptor (the first line) and its fdinfo file (the rest).
#include "classic/collect/proclines.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto dest = text.substr(0, text.find('\n'));
    TFDInfo fd;
    getFDType(dest, fd);
    if (fd.fdtype < 0 || fd.fdtype > 3) abort();
    getFDInfo(text.substr(dest.size()), fd); // with an empty first line
    getFDInfo(text.substr(dest.size() + (dest.size() < size)), fd);
    return 0;
}
