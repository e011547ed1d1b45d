#include "parse/numberlist.h"

#include "base/numbers.h"

// Calls f(first, last) for each range. False: it is no such list.
template <typename F> static bool eachRange(std::string_view list, const F& f) {
    list = list.substr(0, list.find('\n'));
    if (list.empty()) return false;
    for (;;) {
        uint64_t first = 0, last = 0;
        if (!takeNumber(list, first)) return false;
        last = first;
        if (list.starts_with('-')) {
            list.remove_prefix(1);
            if (!takeNumber(list, last) || last < first) return false;
        }
        f(first, last);
        if (list.empty()) return true;
        if (list[0] != ',') return false;
        list.remove_prefix(1);
    }
}

std::optional<uint64_t> countOfList(std::string_view list) {
    uint64_t count = 0;
    if (!eachRange(list, [&](uint64_t first, uint64_t last) { count += last - first + 1; })) return {};
    return count;
}

std::vector<uint64_t> numbersOfList(std::string_view list) {
    constexpr size_t Most = 1024;
    std::vector<uint64_t> numbers;
    const bool good = eachRange(list, [&](uint64_t first, uint64_t last) {
        for (uint64_t number = first; numbers.size() <= Most; number++) {
            numbers.push_back(number);
            if (number == last) break;
        }
    });
    if (!good || numbers.size() > Most) numbers.clear();
    return numbers;
}
