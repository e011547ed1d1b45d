#include "wyrtlog/run.h"

#include "base/door.h"
#include "base/infile.h"
#include "base/refusal.h"
#include "wyrtlog/info.h"
#include "wyrtlog/show.h"

static bool isFile(const std::string& name) { return InFile().open(name); }

int wyrtlogMain(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.empty() || (words[0] != "show" && words[0] != "info"))
        return refused("wyrtlog is the program behind wyrt show and wyrt info");
    auto line = parseCommandLine(words, isFile);
    const std::string help = "wyrt " + words[0] + " --help";
    if (!line.why.empty()) return refused(line.why, help);
    if (!line.help.empty()) {
        putOut(line.help);
        return Done;
    }
    if (line.asked.logs.empty())
        return refused("name a log to read: folders such as " + std::string(LogFolder) + " are not read yet", help);
    return line.asked.task == Task::Info ? info(line.asked) : show(line.asked);
}
