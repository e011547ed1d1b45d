#include "wyrtlog/run.h"

#include "base/door.h"
#include "base/held.h"
#include "base/infile.h"
#include "base/refusal.h"
#include "wyrtlog/chart.h"
#include "wyrtlog/export.h"
#include "wyrtlog/info.h"
#include "wyrtlog/pack.h"
#include "wyrtlog/show.h"
#include "wyrtlog/stats.h"
#include "wyrtlog/why.h"

static bool isLog(const std::string& name) { return InFile().open(name) || HeldDirectory().open(name.c_str()); }

int wyrtlogMain(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() == 2 && words[0] == "pack") return pack(words[1]); // the recorder's
    if (words.empty() || !taskOf(words[0])) return refused("wyrtlog is the program that wyrt starts to read logs");
    auto line = parseCommandLine(words, isLog);
    const std::string help = "wyrt " + words[0] + " --help";
    if (!line.why.empty()) return refused(line.why, help);
    if (!line.help.empty()) {
        putOut(line.help);
        return Done;
    }
    switch (line.asked.task) {
    case LogTask::Why:
        return why(line.asked);
    case LogTask::Export:
        return exportLog(line.asked);
    case LogTask::Stats:
        return stats(line.asked);
    case LogTask::Info:
        return info(line.asked);
    case LogTask::Chart:
        return chart(line.asked);
    case LogTask::Show:
        break;
    }
    return show(line.asked);
}
