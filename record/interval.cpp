#include "record/interval.h"

void clearRows(Interval& interval) {
    interval.damaged = false;
    eachKind(interval, [](auto&, auto& rows) { rows.clear(); });
}
