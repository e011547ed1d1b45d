#include "wyrt/dispatch.h"

#include "base/nearest.h"
#include "base/program.h"
#include "base/refusal.h"
#include "base/root.h"
#include "wyrt/check.h"
#include "wyrt/logprogram.h"
#include "wyrt/loop.h"
#include "wyrt/options.h"
#include "wyrt/version.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace {
struct Command {
    std::string_view word;
    Program run;
    const char* help;
    const char* example;
};
} // namespace

// --- Commands of the other program

static int runLogProgram(int argc, char** argv) {
    std::string name = "wyrtlog";
    std::vector<char*> arguments{name.data()};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    arguments.push_back(nullptr);
    int error = ENOENT;
    for (const auto& path : logPrograms()) {
        if (path.empty()) continue;
        const int result = becomeProgram(path.c_str(), arguments.data());
        if (result != ENOENT && result != ENOTDIR) error = result;
    }
    const char* reason = error == ENOENT ? "it is neither beside this program nor in ../libexec/wyrt nor in PATH; "
                                           "Debian's package wyrtlog has it"
                                         : strerror(error);
    return failed(std::string("wyrtlog, which does ") + argv[1] + ", cannot be started: " + reason);
}

// --- The commands of this one

static int runParsed(const Parsed& parsed, char** argv, int (*run)(const Settings&)) {
    if (parsed.kind == Parsed::Wrong) return refused(parsed.text, std::string("wyrt ") + argv[1] + " --help");
    return parsed.kind == Parsed::Run ? run(parsed.settings) : wrote(parsed.text);
}

static int live(int argc, char** argv) { return runParsed(parseOptions(Task::Live, argc, argv), argv, runLive); }
static int check(int argc, char** argv) { return runParsed(parseOptions(Task::Check, argc, argv), argv, runCheck); }

// A recorder of a folder has options in files, too.
static int record(int argc, char** argv) {
    const auto parsed = parseOptions(Task::Record, argc, argv);
    const auto& settings = parsed.settings;
    if (parsed.kind != Parsed::Run || (settings.dir.empty() && settings.config.empty()))
        return runParsed(parsed, argv, runRecord);
    const bool named = !settings.config.empty();
    const auto folder = named ? settings.config : Root(settings.root).path("/etc/wyrt/recorder");
    std::vector<ConfigLine> lines;
    std::string path;
    if (!readConfig(folder, lines, path) && (named || errno != ENOENT))
        return failed(inQuotes(path) + " cannot be read: " + strerror(errno));
    return runParsed(parseOptions(Task::Record, argc, argv, &lines), argv, runRecord);
}

// --- All commands

static constexpr Command Commands[] = {
    {"live",   live,          "tables, now",                                           "wyrt live cpu disk -i 5s"         },
    {"record", record,        "a log, to a file, a pipe or a folder kept in bounds",   "wyrt record -i 10s -o day.wyrt"   },
    {"check",  check,         "what can be seen here, and what would unlock the rest", "wyrt check"                       },
    {"show",   runLogProgram, "the tables of a log",                                   "wyrt show day.wyrt"               },
    {"why",    runLogProgram, "what was under pressure in a log, and who did it",      "wyrt why day.wyrt --since 14:05"  },
    {"stats",  runLogProgram, "minimum, mean, maximum of every figure; who used what", "wyrt stats --since 14:00"         },
    {"export", runLogProgram, "a log for other programs: csv, jsonl, sqlite ...",      "wyrt export day.wyrt -o day.db"   },
    {"chart",  runLogProgram, "a page to look at, of a log",                           "wyrt chart day.wyrt -o day.html"  },
    {"serve",  runLogProgram, "the figures of a log for Prometheus, over HTTP",        "wyrt serve --state FILE"          },
    {"push",   runLogProgram, "logs to a store of time series, while they grow",       "wyrt push --url http://tsdb/write"},
    {"info",   runLogProgram, "what a log holds",                                      "wyrt info day.wyrt"               },
};

static const Command* findCommand(std::string_view word) {
    for (const auto& command : Commands)
        if (command.word == word) return &command;
    return nullptr;
}

std::string_view nearlyCommand(std::string_view word) {
    if (findCommand(word) || word.starts_with('-')) return {}; // options are classic's
    for (const auto& command : Commands)
        if (editDistance(word, command.word) == 1) return command.word;
    return {};
}

static int showHelp() {
    constexpr size_t WordWidth = 9, HelpWidth = 55;
    const auto padded = [](std::string text, size_t width) {
        return text.resize(std::max(text.size(), width), ' '), text;
    };
    std::string text = std::string("wyrt ") + programVersion() + ": what happens on this host, and who does it\n\n";
    for (const auto& c : Commands)
        text += "  " + padded(std::string(c.word), WordWidth) + padded(c.help, HelpWidth) + c.example + "\n";
    return wrote(text + "\nwyrt COMMAND --help lists the command's options.\n"
                        "All other arguments belong to the classic form, wyrt -b -p 10 -c 3; wyrt -h lists them.\n");
}

int wyrtMain(int argc, char** argv, Program classic) {
    if (argc < 2) return classic(argc, argv);
    const std::string_view first = argv[1];
    if (first == "--help") return showHelp();
    if (first == "--version") return wrote(std::string("wyrt ") + programVersion() + "\n");
    if (const auto* command = findCommand(first)) return withinMemory([&] { return command->run(argc, argv); });
    if (const auto meant = nearlyCommand(first); !meant.empty())
        return refused("there is no command " + inQuotes(first) + "; the nearest is " + std::string(meant));
    return classic(argc, argv);
}
