// Large machines, made of files below a directory.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

class Tree {
    std::filesystem::path top;

public:
    Tree();
    ~Tree();
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;
    std::string dir() const { return top.string(); }
    std::string path(const std::string& name) const { return dir() + name; }
    // The same file with another content: whoever holds it open reads the new one.
    void write(const std::string& name, const std::string& text) const;
};

// A kind of large machine, in several sizes.
struct Large {
    const char *word, *what, *areas;
    std::vector<long> sizes;
    void (*build)(const Tree& tree, long size);               // once
    void (*change)(const Tree& tree, long size, size_t pass); // before each pass
    std::vector<std::string> (*files)(const Tree& tree, long size);
    bool held; // the bare reader holds its files open, too
};

const std::vector<Large>& larges();
