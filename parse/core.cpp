#include "parse/core.h"

#include "base/words.h"

#include <iterator>

static constexpr int64_t Core::* Columns[] = {
    &Core::user, &Core::nice,    &Core::system, &Core::idle,  &Core::iowait,
    &Core::irq,  &Core::softirq, &Core::steal,  &Core::guest, &Core::guest_nice,
};

bool parseCore(std::string_view line, Core& core) {
    constexpr size_t Least = 7;
    if (!afterKey(line, "cpu", line)) return false;
    Core read;
    size_t end = 0, columns = 0;
    read.id = static_cast<int>(toLong(line, &end));
    while (end > 0 && columns < std::size(Columns)) {
        line.remove_prefix(end);
        const int64_t ticks = toLong(line, &end);
        if (end > 0) read.*Columns[columns++] = ticks;
    }
    if (columns < Least) return false;
    core = read;
    return true;
}
