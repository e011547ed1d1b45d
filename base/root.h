// The place of the machine's files: their own paths, or below another directory (--root DIR).
#pragma once

#include <string>
#include <string_view>

class Root {
    std::string dir; // without a slash at its end; empty: the machine's own files

public:
    Root() = default;
    explicit Root(std::string_view directory);
    bool isOther() const { return !dir.empty(); }
    // The path to open: DIR/proc/stat for /proc/stat. Only /proc, /sys, /run, /etc and /var, and what is below
    // them, are looked for in DIR; every other path stays as it is.
    std::string path(std::string_view name) const;
};
