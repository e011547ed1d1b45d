// The command lines of the commands that read logs.
#pragma once

#include "base/color.h"
#include "view/options.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A bit each, so that an option can say which commands take it.
enum class LogTask : unsigned {
    Show = 1,
    Why = 2,
    Info = 4,
    Export = 8,
    Chart = 16,
    Stats = 32,
    Serve = 128,
    Push = 256
};

struct Asked {
    LogTask task = LogTask::Show;
    bool help = false;
    std::string areas;             // words with a blank between them; empty: those of the log
    std::vector<std::string> logs; // "-" is standard input
    TableWords table;
    bool check = false;   // verify every sum
    bool follow = false;  // wait for what comes later
    bool damaged = false; // show what fails its sum, too
    Color color = Color::Auto;
    bool noPager = false;              // on a terminal, too
    std::string output;                // empty: standard output
    std::string format, kinds, fields; // of export, as they were typed
    bool rates = false;                // of export: amounts a second
    std::string by;                    // of stats: what the consumers are; of serve: how processes are added up
    std::string since, until;          // as they were typed; empty: the log's own ends
    std::string url, cursor, config;   // of push
    std::string ca, cert, key;         // of push: files
    std::string tokenFile, user, passwordFile;
    bool once = false;              // of push: what is there, and no more
    std::string listen, state, top; // of serve and push, as they were typed; empty: not given
    bool allRows = false;           // of serve and push: a series for each process
    std::string at, every;          // of show, as they were typed; empty: not given
};

// The folder that is read when no log is named.
inline constexpr const char* LogFolder = "/var/log/wyrt";

// What a command line asks for; or why it is refused, in `why`.
struct CommandLine {
    Asked asked;
    std::string why;  // empty: it is not
    std::string help; // the text, when it was asked for
};
// The task of a command's word; none: it is another program's.
std::optional<LogTask> taskOf(std::string_view word);
// words[0] is the command. `isLog` says whether a name is a file or a folder.
CommandLine parseCommandLine(const std::vector<std::string>& words, bool (*isLog)(const std::string& name));
