// A made-up machine written down in a test, in the words of tests/worlds/README.md.
#pragma once

#include "collect/output.h"
#include "tests/world/world.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <unistd.h>

class Machine {
    std::filesystem::path folder;
    std::unique_ptr<World> world;

public:
    explicit Machine(const std::string& text) {
        std::string name = (std::filesystem::temp_directory_path() / "wyrt-machine.XXXXXX").string();
        if (mkdtemp(name.data())) folder = name;
        std::ofstream(folder / "world", std::ios::binary) << text;
        world = std::make_unique<World>(folder.string());
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;
    ~Machine() {
        World::current = nullptr;
        std::filesystem::remove_all(folder);
    }
    // On to the next step.
    void step() { world->pause(1000000); }
    const std::string& log() const { return world->log; }
};

// What `run` prints.
template <typename Run> std::string printed(const Run& run) {
    flushOutput();
    testing::internal::CaptureStdout();
    run();
    flushOutput();
    return testing::internal::GetCapturedStdout();
}
