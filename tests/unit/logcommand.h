// Runs the program that reads logs in a made-up machine.
#pragma once

#include "base/outfile.h"
#include "record/log.h"
#include "tests/unit/made.h"
#include "wyrtlog/run.h"

#include <sstream>
#include <string>
#include <utility>
#include <vector>

inline void save(const std::string& path, const std::string& log) {
    OutFile file;
    ASSERT_TRUE(file.open(path, OutFile::How::New));
    ASSERT_TRUE(file.write(log));
}

// Runs the program in this process, so that what it writes stays. The first word is its name. Returns its status.
inline int runWyrtlog(std::vector<std::string> words) {
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    return wyrtlogMain(static_cast<int>(words.size()), argv.data());
}

inline int runHere(std::vector<std::string> words) {
    words.insert(words.begin(), "wyrtlog");
    return runWyrtlog(std::move(words));
}

// What the program prints on both streams, then its status.
inline std::string run(std::vector<std::string> words) {
    fflush(stdout); // of the tests
    return apart([&] {
        const int status = runHere(std::move(words));
        flushOutput();
        printf("status %d\n", status);
        fflush(stdout);
    });
}

// The lines that have this in them.
inline std::string linesWith(const std::string& text, const std::string& part) {
    std::istringstream lines(text);
    std::string all;
    for (std::string line; std::getline(lines, line);)
        if (line.find(part) != line.npos) all += line + "\n";
    return all;
}

// How often it is there.
inline size_t countOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size())) count++;
    return count;
}
