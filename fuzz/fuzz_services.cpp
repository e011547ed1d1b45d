// /etc/services.
#include "parse/services.h"

#include "fuzz/check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const auto& [where, name] : parseServices(text)) {
        check(where.first == 't' || where.first == 'u');
        check(!name.empty() && isFrom(text, name) && name.find('#') == name.npos);
    }
    return 0;
}
