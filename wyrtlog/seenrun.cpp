#include "wyrtlog/seenrun.h"

#include <algorithm>

static bool endsBefore(const SeenRun::Span& span, uint64_t number) { return span.last < number; }

bool SeenRun::has(uint64_t number, int64_t end_ms) const {
    const auto at = std::lower_bound(numbers.begin(), numbers.end(), number, endsBefore);
    return at != numbers.end() && at->first <= number && end_ms <= newest_ms;
}

void SeenRun::add(uint64_t number, int64_t end_ms) {
    newest_ms = std::max(newest_ms, end_ms);
    const auto at = std::lower_bound(numbers.begin(), numbers.end(), number, endsBefore);
    if (at != numbers.end() && at->first <= number) return;
    const bool joinsBefore = at != numbers.begin() && number - (at - 1)->last == 1;
    const bool joinsAfter = at != numbers.end() && at->first - number == 1;
    if (joinsBefore && joinsAfter) (at - 1)->last = at->last, numbers.erase(at);
    else if (joinsBefore) (at - 1)->last = number;
    else if (joinsAfter) at->first = number;
    else numbers.insert(at, {number, number});
    if (numbers.size() > MostSpans) numbers[1].first = numbers[0].first, numbers.erase(numbers.begin());
}
