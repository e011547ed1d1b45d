#include "wyrtlog/run.h"

#include "base/door.h"
#include "base/held.h"
#include "base/infile.h"
#include "base/refusal.h"
#include "wyrtlog/info.h"
#include "wyrtlog/show.h"
#include "wyrtlog/why.h"

static bool isLog(const std::string& name) { return InFile().open(name) || HeldDirectory().open(name.c_str()); }

int wyrtlogMain(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.empty() || (words[0] != "show" && words[0] != "why" && words[0] != "info"))
        return refused("wyrtlog is the program behind wyrt show, wyrt why and wyrt info");
    auto line = parseCommandLine(words, isLog);
    const std::string help = "wyrt " + words[0] + " --help";
    if (!line.why.empty()) return refused(line.why, help);
    if (!line.help.empty()) {
        putOut(line.help);
        return Done;
    }
    switch (line.asked.task) {
    case Task::Why:
        return why(line.asked);
    case Task::Info:
        return info(line.asked);
    case Task::Show:
        break;
    }
    return show(line.asked);
}
