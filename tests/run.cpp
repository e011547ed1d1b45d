// Runs worlds:
//     worlds [--update] FOLDER...          compares each run with the expected files and prints a diff; --update
//                                          replaces the expected files by the results
//     worlds --show WORLD OUTPUT-FOLDER    writes stdout, stderr, status and log of one run to a folder
#include "classic/monitor/loop.h"
#include "tests/world/world.h"
#include "wyrt/dispatch.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

static constexpr const char* Results[] = {"stdout", "stderr", "status", "log"};

static std::string textOf(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

static void setText(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

static void redirect(int fd, const fs::path& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (file < 0 || dup2(file, fd) < 0) _exit(99);
    close(file);
}

// Called in a process of its own, because the program keeps its state until it ends.
static void runHere(const fs::path& folder, const fs::path& out) {
    World world(folder.string());
    std::vector<std::string> words{world.program};
    std::istringstream args(textOf(folder / "args"));
    for (std::string line; std::getline(args, line);) words.push_back(line);
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    redirect(STDOUT_FILENO, out / "stdout");
    redirect(STDERR_FILENO, out / "stderr");
    std::string status;
    try {
        status = std::to_string(wyrtMain(static_cast<int>(words.size()), argv.data(), monitor));
    } catch (const TKilled&) {
        status = "killed";
    } catch (const TBecame&) {
        status = "became another program";
    }
    setText(out / "log", world.log);
    setText(out / "status", status + "\n");
}

// False when the run failed to end; the reason is printed on standard error.
static bool runWorld(const fs::path& folder, const fs::path& out) {
    fs::create_directories(out);
    for (auto name : Results) fs::remove(out / name);
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        int result = 1;
        try {
            runHere(folder, out);
            result = 0;
        } catch (const std::exception& e) {
            std::cerr << folder << ": " << e.what() << "\n";
        }
        fflush(nullptr);
        std::exit(result); // not _exit: runs the leak check of the sanitizer build
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0)
        std::cerr << folder.string() << ": ended with wait status " << status << "\n" << textOf(out / "stderr");
    return status == 0;
}

static bool sameResults(const fs::path& folder, const fs::path& out) {
    bool same = true;
    for (auto name : Results) {
        if (fs::exists(folder / name) && textOf(folder / name) == textOf(out / name)) continue;
        same = false;
        std::cout << "--- " << (folder / name).string() << "\n" << std::flush;
        const std::string command = "diff -u --text '" + (folder / name).string() + "' '" + (out / name).string() + "'";
        if (std::system(command.c_str()) < 0) std::cout << "differs\n";
    }
    return same;
}

static void collectWorlds(const fs::path& folder, std::vector<fs::path>& worlds) {
    if (fs::exists(folder / "world")) return worlds.push_back(folder);
    for (auto& entry : fs::directory_iterator(folder))
        if (entry.is_directory()) collectWorlds(entry.path(), worlds);
}

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.size() == 3 && args[0] == "--show") return runWorld(args[1], args[2]) ? 0 : 1;
    const bool update = std::erase(args, "--update") > 0;
    std::vector<fs::path> worlds;
    for (auto& arg : args) collectWorlds(arg, worlds);
    std::sort(worlds.begin(), worlds.end());
    const fs::path out = fs::temp_directory_path() / ("wyrt-worlds." + std::to_string(getpid()));
    int passed = 0, failed = 0;
    for (auto& world : worlds) {
        const bool ended = runWorld(world, out);
        if (ended && update)
            for (auto name : Results) fs::copy_file(out / name, world / name, fs::copy_options::overwrite_existing);
        const bool good = ended && fs::exists(world / "README") && sameResults(world, out);
        if (!good) std::cout << "FAILED " << world.string() << "\n";
        (good ? passed : failed)++;
    }
    fs::remove_all(out);
    std::cout << "worlds: " << passed << " passed, " << failed << " failed\n";
    return failed || !passed ? 1 : 0;
}
