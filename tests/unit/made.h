// Shared by the unit tests: a made-up machine for one test, and the text that the program prints.
#pragma once

#include "base/output.h"
#include "tests/unit/child.h"
#include "tests/world/world.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

// A folder that is removed with its variable.
class TempFolder {
    std::string name = (std::filesystem::temp_directory_path() / "wyrt-unit.XXXXXX").string();

public:
    TempFolder() {
        if (!mkdtemp(name.data())) std::abort();
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder() { std::filesystem::remove_all(name); }
    const std::string& path() const { return name; }
    std::string with(const std::string& file, const std::string& text) const {
        std::ofstream(name + "/" + file, std::ios::binary) << text;
        return name;
    }
};

// The machine that these lines describe (format: tests/worlds/README.md). It exists as long as its variable.
class Made {
    TempFolder folder;
    World* before = World::current;

public:
    World world;
    explicit Made(const std::string& lines) : world(folder.with("world", lines)) {}
    ~Made() { World::current = before; }
    // Advances to the next step.
    void step() { world.pause(1000000); }
    const std::string& log() const { return world.log; }
    Made(const Made&) = delete;
    Made& operator=(const Made&) = delete;
};

// Returns what `act` writes to a stream (1: standard output, 2: standard error).
inline std::string printed(const std::function<void()>& act, int stream = STDOUT_FILENO) {
    Made* machine = World::current ? nullptr : new Made(""); // the door asks it whether the output is a terminal
    flushOutput();
    std::FILE* file = std::tmpfile();
    const int kept = dup(stream);
    if (!file || kept < 0 || dup2(fileno(file), stream) < 0) std::abort();
    act();
    flushOutput();
    dup2(kept, stream);
    close(kept);
    std::string text;
    std::rewind(file);
    for (int c; (c = std::fgetc(file)) != EOF;) text += static_cast<char>(c);
    std::fclose(file);
    delete machine;
    return text;
}

// Returns what `run` prints to both streams. It runs in a process of its own, because some parts keep their tables or
// settings for a whole run.
template <typename Run> std::string apart(const Run& run) {
    const auto alone = [&] {
        const pid_t child = fork();
        if (child == 0) {
            dup2(STDOUT_FILENO, STDERR_FILENO);
            run();
            flushOutput();
            endChild(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    };
    return printed(alone);
}
