// The hosts whose logs are read as one, so that a title names them all.
#pragma once

#include <string>
#include <vector>

class HostNames {
    static constexpr size_t Most = 3; // that are named
    std::vector<std::string> names;
    bool more = false;

public:
    void add(const std::string& host);
    // "db7", "db7, web1 and db8", "db7, web1, db8 and others"; safe for a terminal.
    std::string text() const;
};
