// A folder of real files for a test of the real door, and what is done in children.
#pragma once

#include "base/door.h"
#include "tests/unit/child.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

class System : public testing::Test {
protected:
    std::string folder = (std::filesystem::temp_directory_path() / "wyrt-door.XXXXXX").string();
    Contents text;

    void SetUp() override { ASSERT_NE(mkdtemp(folder.data()), nullptr); }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::string path(const std::string& name) const { return folder + "/" + name; }
    std::string made(const std::string& name, const std::string& content) const {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }
};

inline std::string pattern(size_t size) {
    std::string text(size, '\0');
    for (size_t i = 0; i < size; i++) text[i] = static_cast<char>(i * 7 + i / 251);
    return text;
}

// Runs `act` in a child and returns its exit status; when a signal ended it, 256 + the signal's number.
template <typename Act> int inChild(const Act& act) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(20); // ends a child that is busy or blocked
        act();
        endChild(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? 256 + WTERMSIG(status) : WEXITSTATUS(status);
}
