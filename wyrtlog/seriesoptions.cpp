#include "wyrtlog/seriesoptions.h"

#include "base/masking.h"

std::string takeSeriesOptions(const Asked& asked, SeriesChoice& series) {
    constexpr size_t Usual = 20, Highest = 200;
    series.endless = true;
    series.rows = asked.allRows;
    if (!asked.by.empty()) series.by = asked.by;
    if (auto wrong = whyNotBy(series.by); !wrong.empty()) return wrong;
    const auto top = asked.top.empty() ? Usual : wholeOf(asked.top);
    if (!top || *top < 1 || *top > Highest) return "--top takes 1 to 200, not " + inQuotes(asked.top);
    series.top = *top;
    return {};
}
