// Runs worlds:
//     worlds [--update] FOLDER...          compares each run with the expected files and prints a diff; --update
//                                          replaces the expected files by the results
//     worlds --show WORLD OUTPUT-FOLDER    writes stdout, stderr, status and log of one run to a folder
#include "wyrtlog/run.h"
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
#include <stdexcept>

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

// Runs a program in the machine that stands: `argv0`, then the lines of a file. Its exit status, or how else it ended.
template <typename Program>
static std::string runProgram(const std::string& argv0, const fs::path& arguments, const Program& program) {
    std::vector<std::string> words{argv0};
    std::istringstream lines(textOf(arguments));
    for (std::string line; std::getline(lines, line);) words.push_back(line);
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    try {
        return std::to_string(program(static_cast<int>(words.size()), argv.data()));
    } catch (const TKilled&) {
        return "killed";
    } catch (const TBecame&) {
        return "became another program";
    }
}

// Called in a process of its own, because the program keeps its state until it ends.
static void runHere(const fs::path& folder, const fs::path& out) {
    World world(folder.string());
    world.saved = (out / "saved").string();
    redirect(STDOUT_FILENO, out / "stdout");
    redirect(STDERR_FILENO, out / "stderr");
    const auto live = [](int argc, char** argv) { return wyrtMain(argc, argv, monitor); };
    const auto status = runProgram(world.program, folder / "args", live);
    setText(out / "log", world.log);
    setText(out / "status", status + "\n");
    if (!fs::exists(folder / "show")) return;
    redirect(STDOUT_FILENO, out / "shown"); // from the log that the run has left in the machine
    const auto shown = runProgram(world.program, folder / "show", wyrtlogMain);
    if (shown != "0") throw std::runtime_error("show ended with " + shown);
}

// False when the run failed to end; the reason is printed on standard error.
static bool runWorld(const fs::path& folder, const fs::path& out) {
    fs::create_directories(out);
    for (auto name : Results) fs::remove(out / name);
    fs::remove(out / "shown");
    fs::remove_all(out / "saved");
    fs::create_directory(out / "saved");
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

static bool sameFile(const fs::path& expected, const fs::path& result) {
    if (fs::exists(expected) && fs::exists(result) && textOf(expected) == textOf(result)) return true;
    std::cout << "--- " << expected.string() << "\n" << std::flush;
    const std::string command = "diff -uN --text '" + expected.string() + "' '" + result.string() + "'";
    if (std::system(command.c_str()) < 0) std::cout << "differs\n";
    return false;
}

static bool sameResults(const fs::path& folder, const fs::path& out) {
    bool same = true;
    for (auto name : Results) same &= sameFile(folder / name, out / name);
    if (fs::exists(folder / "saved"))
        for (auto& entry : fs::directory_iterator(folder / "saved"))
            same &= sameFile(entry.path(), out / "saved" / entry.path().filename());
    if (fs::exists(folder / "show")) same &= sameFile(out / "stdout", out / "shown");
    return same;
}

static void update(const fs::path& folder, const fs::path& out) {
    for (auto name : Results) fs::copy_file(out / name, folder / name, fs::copy_options::overwrite_existing);
    if (!fs::exists(folder / "saved")) return;
    for (auto& entry : fs::directory_iterator(folder / "saved"))
        fs::copy_file(out / "saved" / entry.path().filename(), entry.path(), fs::copy_options::overwrite_existing);
}

static void collectWorlds(const fs::path& folder, std::vector<fs::path>& worlds) {
    if (fs::exists(folder / "world")) return worlds.push_back(folder);
    for (auto& entry : fs::directory_iterator(folder))
        if (entry.is_directory()) collectWorlds(entry.path(), worlds);
}

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.size() == 3 && args[0] == "--show") return runWorld(args[1], args[2]) ? 0 : 1;
    const bool updates = std::erase(args, "--update") > 0;
    std::vector<fs::path> worlds;
    for (auto& arg : args) collectWorlds(arg, worlds);
    std::sort(worlds.begin(), worlds.end());
    const fs::path out = fs::temp_directory_path() / ("wyrt-worlds." + std::to_string(getpid()));
    int passed = 0, failed = 0;
    for (auto& world : worlds) {
        const bool ended = runWorld(world, out);
        if (ended && updates) update(world, out);
        const bool good = ended && fs::exists(world / "README") && sameResults(world, out);
        if (!good) std::cout << "FAILED " << world.string() << "\n";
        (good ? passed : failed)++;
    }
    fs::remove_all(out);
    std::cout << "worlds: " << passed << " passed, " << failed << " failed\n";
    return failed || !passed ? 1 : 0;
}
