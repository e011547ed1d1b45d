// JSON: what was read has as many names as values, and numbers begin with a digit or a sign.
#include "fuzz/check.h"
#include "parse/json.h"

static void checkValue(const Json& value) {
    check(value.names.size() == (value.kind == Json::Object ? value.items.size() : 0));
    check(value.items.empty() || value.kind == Json::Object || value.kind == Json::Array);
    if (value.kind == Json::Number) check(value.text.find_first_not_of("0123456789+-.eE") == value.text.npos);
    for (auto& item : value.items) checkValue(item);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (const auto json = parseJson({reinterpret_cast<const char*>(data), size})) checkValue(*json);
    return 0;
}
