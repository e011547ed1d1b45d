// Text of bounded length, for fields of rows.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string_view>

// Up to N-1 bytes, always terminated. Longer input is cut without an error.
template <size_t N> class Text {
    size_t len = 0;
    char buf[N] = {};

public:
    Text() = default;
    Text(std::string_view s) { add(s); } // NOLINT(google-explicit-constructor): a text is what it is made from
    Text(const char* s) { add(s); }      // NOLINT(google-explicit-constructor)

    Text& add(std::string_view s) {
        s = s.substr(0, N - 1 - len);
        std::copy(s.begin(), s.end(), buf + len);
        buf[len += s.size()] = '\0';
        return *this;
    }
    template <typename... Args> Text& addf(const char* format, Args... args) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
        int n = snprintf(buf + len, N - len, format, args...);
#pragma GCC diagnostic pop
        if (n > 0) len = std::min(N - 1, len + static_cast<size_t>(n));
        return *this;
    }
    void clear() { buf[len = 0] = '\0'; }
    // Keeps the first `size` bytes.
    void cut(size_t size) {
        if (size < len) buf[len = size] = '\0';
    }

    const char* c_str() const { return buf; }
    size_t size() const { return len; }
    bool empty() const { return len == 0; }
    std::string_view view() const { return {buf, len}; }
    operator std::string_view() const { return view(); } // NOLINT(google-explicit-constructor)
    friend bool operator==(const Text& a, const Text& b) { return a.view() == b.view(); }
};
