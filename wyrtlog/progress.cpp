#include "wyrtlog/progress.h"

#include "base/clock.h"
#include "base/door.h"
#include "base/figures.h"
#include "base/terminal.h"

#include <string>

bool showsProgress(const Asked& asked) {
    if (asked.follow || !isErrorTerminal()) return false;
    switch (asked.task) {
    case LogTask::Stats:
    case LogTask::Chart:
        return true;
    case LogTask::Info:
        return asked.check; // otherwise it is over at once
    case LogTask::Export:
        return !asked.output.empty() || !isTerminal(); // the records would run into it
    default:
        return false;
    }
}

Progress::Progress(bool wanted) : next_us(wanted ? getMonotonic() + Patience : 0), on(wanted) {}

void Progress::at(Moment time, uint64_t bytes) {
    if (!on) return;
    const int64_t now_us = getMonotonic();
    if (now_us < next_us) return;
    next_us = now_us + Pace;
    shown = true;
    std::string text;
    appendMoment(text, time);
    constexpr size_t Day = 10, Second = 19;
    putErr("\rwyrt: up to " + text.substr(0, Day) + " " + text.substr(Day + 1, Second - Day - 1) + ", " +
           sizeText(static_cast<double>(bytes)) + "\x1B[K");
}

void Progress::wipe() {
    if (shown) putErr("\r\x1B[K");
    shown = false;
}
