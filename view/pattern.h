// A regular expression (POSIX, extended) from a command line or a log, with bounds: neither a long text nor a hostile
// expression takes much time or memory.
#pragma once

#include <memory>
#include <string>
#include <string_view>

class Pattern {
    struct Compiled;
    struct Free {
        void operator()(Compiled* made) const;
    };
    std::unique_ptr<Compiled, Free> compiled;
    std::string why;

public:
    static constexpr size_t Most = 256;        // bytes of an expression
    static constexpr size_t MostTested = 4096; // bytes of a text; what follows them is not looked at

    explicit Pattern(std::string_view expression);
    // Why the expression cannot be used; empty: it can.
    const std::string& problem() const { return why; }
    // False for every text when there is a problem.
    bool matches(std::string_view text) const;
};
