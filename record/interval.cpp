#include "record/interval.h"

void clearRows(Interval& interval) {
    interval.damaged = false;
    eachKind(interval, [](auto&, auto& rows) { rows.clear(); });
}

void settle(Interval& interval) {
    eachKind(interval, [](auto&, auto& rows) {
        if (rows.rows.empty() && !rows.rest) rows.clear();
    });
}
