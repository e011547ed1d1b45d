// Makes a command line (argc, argv) from a text.
#pragma once

#include <sstream>
#include <string>
#include <utility>
#include <vector>

class Words {
    std::vector<std::string> words;
    std::vector<char*> pointers;

public:
    // The words of `first`, then those of the text.
    Words(std::vector<std::string> first, const std::string& text) : words(std::move(first)) {
        std::istringstream stream(text);
        for (std::string word; stream >> word;) words.push_back(word);
        pointers.reserve(words.size() + 1);
        for (auto& word : words) pointers.push_back(word.data());
        pointers.push_back(nullptr);
    }
    Words(const Words&) = delete;
    Words& operator=(const Words&) = delete;
    int argc() const { return static_cast<int>(words.size()); }
    char** argv() { return pointers.data(); }
};
