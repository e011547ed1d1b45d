// What a recorder writes on a made-up machine, and the program that compresses it.
#pragma once

#include "tests/unit/made.h"
#include "wyrtlog/run.h"

#include <string>
#include <vector>

inline constexpr int64_t Noon = 1795262400000, Hour = 3600000, Day = 24 * Hour; // 2026-11-21 12:00:00 UTC
inline const std::string Tools = "link /proc/self/exe /opt/wyrt\ntext /opt/wyrtlog \"\"\n";

inline int runWyrtlog(std::vector<std::string> words) {
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    return wyrtlogMain(static_cast<int>(words.size()), argv.data());
}

inline const std::string& textOf(const std::string& path) { return World::current->find(path)->text; }
