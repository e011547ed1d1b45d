// From logs to batches, from batches to the receiver, and the cursor that says how far all this has come.
#pragma once

#include "base/folder.h"
#include "wyrtlog/influx.h"
#include "wyrtlog/intervals.h"
#include "wyrtlog/push/delivery.h"

#include <string>

class Pusher : public Watcher {
    const Asked& asked;
    Signals& ending;
    Delivery delivery;
    std::string batch;
    InfluxFormat series;
    Sheets sheets;
    Cells cells;
    Intervals intervals;
    FolderLock lock;
    std::string why; // wrong usage that only a log's head shows
    Delivery::Result result = Delivery::Result::Complete;
    bool unsaved = false;   // a cursor found no room
    bool headMissed = true; // the series do not know the head in force

    int useCursor(Bounds& bounds);
    bool saveCursor();
    bool take(const LogReader& reader, Interval& interval);
    bool deliver();

public:
    static constexpr size_t Full = size_t{2} << 20; // bytes of a batch, or one interval's where that has more

    Pusher(const Asked& what, const SeriesChoice& choice, Receiver& receiver, Signals& signals);
    // Sends the intervals of the span that the cursor has not; with asked.follow until a signal comes. Exit status.
    int run(Bounds bounds);
    bool idle() override { return deliver(); }
    Signals* signals() override { return &ending; }
};
