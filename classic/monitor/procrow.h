// One process with the values that the table and the records show.
#pragma once

#include "classic/monitor/proc.h"

struct TProcRow {
    const TTop& top;
    TCommand command;
    Text<64> time; // of its start; empty where it is not shown
};

// Whether a process is busy or large enough to be shown.
inline bool isSelected(const TTop& top, const TProcView& view) {
    return top.rates.usr + top.rates.sys >= view.CPUThreshold / 1000.0 ||
           top.cur->VmRSS >= static_cast<double>(view.RSSThreshold);
}
