// Compressed logs: the same text comes out in whatever pieces it is read, what is cut short or damaged has a reason,
// and a plain file stays as it is.
#include "wyrtlog/unpack.h"

#include "fuzz/check.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {
struct Result {
    std::string text, failure;
    bool plain = false;
};
} // namespace

static Result unpacked(std::string_view file, size_t piece, size_t room) {
    constexpr size_t Most = size_t{1} << 20; // some bytes become many
    Unpacker unpacker([&](char* to, size_t size) {
        const size_t n = std::min({piece, size, file.size()});
        if (n) memcpy(to, file.data(), n);
        file.remove_prefix(n);
        return n;
    });
    Result result;
    std::string some(room, '\0');
    while (const size_t n = unpacker.read(some.data(), std::min(room, Most - result.text.size()))) {
        check(n <= room);
        result.text.append(some, 0, n);
    }
    result.failure = unpacker.failure();
    result.plain = unpacker.isPlain();
    return result;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view file(reinterpret_cast<const char*>(data), size);
    const auto whole = unpacked(file, size + 1, size_t{1} << 16);
    if (whole.plain) check(whole.text == file && whole.failure.empty());
    const auto pieces = unpacked(file, 7, 1000);
    check(pieces.text == whole.text || !whole.failure.empty());
    // Of a file that is both damaged and cut short, either can be noticed first.
    if (whole.text.size() < size_t{1} << 20) check(pieces.failure.empty() == whole.failure.empty());
    return 0;
}
