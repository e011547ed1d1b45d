// The command lines of show, why and info.
#pragma once

#include "view/options.h"

#include <string>
#include <vector>

enum class Task { Show, Why, Info };

struct Asked {
    Task task = Task::Show;
    bool help = false;
    std::string areas;             // words with a blank between them; empty: those of the log
    std::vector<std::string> logs; // "-" is standard input
    TableWords table;
    bool damaged = false; // show what fails its sum, too
    bool color = false;
    bool noPager = false;     // on a terminal, too
    std::string output;       // empty: standard output
    std::string since, until; // of why, as they were typed; empty: the log's own ends
};

// The folder that is read when no log is named.
inline constexpr const char* LogFolder = "/var/log/wyrt";

// What a command line asks for; or why it is refused, in `why`.
struct CommandLine {
    Asked asked;
    std::string why;  // empty: it is not
    std::string help; // the text, when it was asked for
};
// words[0] is the command. `isLog` says whether a name is a file or a folder.
CommandLine parseCommandLine(const std::vector<std::string>& words, bool (*isLog)(const std::string& name));
