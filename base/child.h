// A program that works beside this one. Part of the door: base/door/child.cpp is the real one.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

// It runs with the lowest priority for CPU and disk, reads nothing, prints only its errors, and is ended with its
// variable. The thread that starts it must live as long.
class Child {
    int pid = -1;

public:
    Child() = default;
    Child(Child&& other) noexcept : pid(std::exchange(other.pid, -1)) {}
    Child& operator=(Child&& other) noexcept {
        std::swap(pid, other.pid);
        return *this;
    }
    ~Child() { stop(); }
    // Starts the first of these programs that exists (without a slash: the one that PATH finds). words[0] is its own
    // name. False: there is no room for a process; errno has the reason.
    bool start(std::span<const std::string> programs, const std::vector<std::string>& words);
    bool isRunning() const { return pid >= 0; }
    // Does not wait. Once it has ended, its status as the shell has it: 128 + N when signal N ended it, 127 when none
    // of the programs exists.
    std::optional<int> ended();
    void stop();
};
