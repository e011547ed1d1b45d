#include "base/pager.h"

#include <sstream>

std::vector<std::string> pagerWords(const char* own, const char* general) {
    const char* text = own ? own : general ? general : "less -FRSX";
    std::vector<std::string> words;
    std::istringstream list(text);
    for (std::string word; list >> word;) words.push_back(word);
    if (words.size() == 1 && words[0] == "cat") words.clear();
    return words;
}
