// The page: one HTML file that needs nothing else.
#pragma once

#include "record/interval.h"
#include "record/log.h"
#include "wyrtlog/chart/events.h"
#include "wyrtlog/chart/picture.h"

#include <cstdint>
#include <string>
#include <vector>

// All that the page shows.
struct PageContent {
    LogHead head;
    HostRow host;            // the last known
    int16_t offset_min = 0;  // of the machine's local time, at the end
    int64_t interval_ms = 0; // what is usual
    const Events* events = nullptr;
    std::vector<Picture> pictures;
    std::vector<int64_t> times; // of the pictures that are not stacks
    size_t disksLeftOut = 0, linksLeftOut = 0;
};

std::string pageOf(const PageContent& content);
