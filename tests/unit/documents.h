// Documents and sources of the tree. The tests run at its top.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

inline std::string textOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// The folders of the product, each a layer of the map.
inline constexpr const char* Layers[] = {"base",  "parse", "record", "classic", "sample",
                                         "model", "why",   "view",   "wyrt",    "wyrtlog"};

inline std::vector<std::filesystem::path> productSources() {
    std::vector<std::filesystem::path> sources;
    for (auto layer : Layers)
        if (std::filesystem::exists(layer))
            for (auto& entry : std::filesystem::recursive_directory_iterator(layer))
                if (entry.path().extension() == ".h" || entry.path().extension() == ".cpp")
                    sources.push_back(entry.path());
    return sources;
}
