#include "wyrtlog/run.h"

#include "base/filestatus.h"
#include "base/refusal.h"
#include "wyrtlog/chart.h"
#include "wyrtlog/export.h"
#include "wyrtlog/info.h"
#include "wyrtlog/pack.h"
#include "wyrtlog/push.h"
#include "wyrtlog/serve.h"
#include "wyrtlog/show.h"
#include "wyrtlog/stats.h"
#include "wyrtlog/why.h"

// Whether it can be read is found out later: a pipe must not be opened twice.
static bool isThere(const std::string& name) {
    FileStatus status;
    return getFileStatus(name.c_str(), status);
}

static int runCommand(const std::vector<std::string>& words) {
    if (words.size() == 2 && words[0] == "pack") return pack(words[1]); // the recorder's
    if (words.empty() || !taskOf(words[0])) return refused("wyrtlog is the program that wyrt starts to read logs");
    auto line = parseCommandLine(words, isThere);
    const std::string help = "wyrt " + words[0] + " --help";
    if (!line.why.empty()) return refused(line.why, help);
    if (!line.help.empty()) return wrote(line.help);
    switch (line.asked.task) {
    case LogTask::Why:
        return why(line.asked);
    case LogTask::Export:
        return exportLog(line.asked);
    case LogTask::Stats:
        return stats(line.asked);
    case LogTask::Info:
        return info(line.asked);
    case LogTask::Push:
        return push(line.asked);
    case LogTask::Chart:
        return chart(line.asked);
    case LogTask::Serve:
        return serve(line.asked);
    case LogTask::Show:
        break;
    }
    return show(line.asked);
}

int wyrtlogMain(int argc, char** argv) {
    return withinMemory([&] { return runCommand(std::vector<std::string>(argv + 1, argv + argc)); });
}
