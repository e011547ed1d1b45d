// Runs the program that reads logs in a made-up machine.
#pragma once

#include "base/outfile.h"
#include "record/log.h"
#include "tests/unit/made.h"
#include "wyrtlog/run.h"

#include <sstream>
#include <string>
#include <vector>

inline void save(const std::string& path, const std::string& log) {
    OutFile file;
    ASSERT_TRUE(file.open(path, OutFile::How::New));
    ASSERT_TRUE(file.write(log));
}

// What the program prints on both streams, then its status.
inline std::string run(std::vector<std::string> words) {
    words.insert(words.begin(), "wyrtlog");
    fflush(stdout); // of the tests
    return apart([&] {
        std::vector<char*> argv;
        for (auto& word : words) argv.push_back(word.data());
        argv.push_back(nullptr);
        const int status = wyrtlogMain(static_cast<int>(words.size()), argv.data());
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
