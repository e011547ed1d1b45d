// Quirks: each names the test that fails when it changes. Worlds: each has its explanation.
#include "tests/unit/documents.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

// The comments of a source; the lines of a comment are joined.
static std::string commentsOf(const fs::path& path) {
    std::string result;
    std::istringstream lines(textOf(path));
    for (std::string line; std::getline(lines, line);) {
        const auto at = line.find("// ");
        result += at == line.npos ? "\n" : line.substr(at + 2);
    }
    return result;
}

// The names after "Seen by": files, and worlds without their folder.
static std::vector<std::string> namesOf(std::string text) {
    for (char& c : text)
        if (c == '`' || c == ',') c = ' ';
    std::vector<std::string> names;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const bool last = word.back() == '.' || word.back() == ')';
        while (!word.empty() && (word.back() == '.' || word.back() == ')')) word.pop_back();
        if (word.starts_with("tests/worlds/")) word.erase(0, 13);
        if (!word.empty() && word != "to" && word != "and") names.push_back(word);
        if (last) break;
    }
    return names;
}

static std::set<std::string> quirksIn(const std::string& text) {
    constexpr std::string_view Mark = "Seen by ";
    std::set<std::string> result;
    for (size_t at = 0; (at = text.find(Mark, at)) != text.npos;) {
        at += Mark.size();
        for (auto& name : namesOf(text.substr(at, text.find('\n', at) - at))) result.insert(name);
    }
    return result;
}

static bool exists(const std::string& name) {
    return name.starts_with("tests/") ? fs::exists(name) : fs::exists("tests/worlds/" + name + "/world");
}

TEST(Documents, WhatQuirksNameIsThere) {
    const auto told = quirksIn(textOf("docs/quirks.md"));
    EXPECT_GT(told.size(), 50U);
    for (auto& name : told) EXPECT_TRUE(exists(name)) << name;
    size_t sources = 0;
    for (auto& source : productSources()) {
        sources++;
        for (auto& name : quirksIn(commentsOf(source))) {
            EXPECT_TRUE(exists(name)) << source << " names " << name;
            EXPECT_TRUE(told.count(name)) << source << ": docs/quirks.md lacks " << name;
        }
    }
    EXPECT_GT(sources, 30U);
}

// Nobody would notice the loss of a quirk that names no test.
TEST(Documents, EveryQuirkNamesATest) {
    for (auto& source : productSources()) {
        std::istringstream text(commentsOf(source));
        for (std::string comment; std::getline(text, comment);)
            EXPECT_TRUE(comment.find("Quirk:") == comment.npos || comment.find("Seen by tests/") != comment.npos)
                << source << ": " << comment;
    }
    std::istringstream lines(textOf("docs/quirks.md"));
    for (std::string line; std::getline(lines, line);)
        EXPECT_TRUE(!line.starts_with("- ") || line.find("Seen by `") != line.npos) << line;
}

// A line of the document without a comment at the code would be news to whoever changes that code.
TEST(Documents, EveryQuirkIsSaidAtTheCode) {
    std::set<std::string> atTheCode;
    for (auto& source : productSources()) {
        std::istringstream text(commentsOf(source));
        for (std::string comment; std::getline(text, comment);)
            if (comment.find("Quirk:") != comment.npos) atTheCode.merge(quirksIn(comment));
    }
    size_t quirks = 0;
    std::istringstream lines(textOf("docs/quirks.md"));
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("- ")) continue;
        quirks++;
        const auto named = quirksIn(line);
        EXPECT_TRUE(std::any_of(named.begin(), named.end(), [&](auto& name) { return atTheCode.count(name) > 0; }))
            << "no comment for: " << line;
    }
    EXPECT_GT(quirks, 80U);
}

TEST(Documents, EveryWorldIsExplained) {
    size_t worlds = 0;
    for (auto& entry : fs::directory_iterator("tests/worlds")) {
        if (!fs::exists(entry.path() / "world")) continue;
        worlds++;
        EXPECT_GT(textOf(entry.path() / "README").size(), 20U) << entry.path();
    }
    EXPECT_GT(worlds, 100U);
}
