#include "record/budget.h"

#include <numeric>

void BudgetSpace::start(size_t rows) {
    budget = rows;
    count = static_cast<size_t>(std::count(kept.begin(), kept.end(), 1));
}

void BudgetSpace::keepLargest(size_t share) {
    // The rows that are kept already may be among the largest by this figure.
    const size_t most = std::min(figures.size(), share + count);
    order.resize(figures.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::partial_sort(order.begin(),
                      order.begin() + static_cast<std::ptrdiff_t>(most),
                      order.end(),
                      [&](size_t a, size_t b) { return figures[a] != figures[b] ? figures[a] > figures[b] : a < b; });
    size_t taken = 0;
    for (size_t i = 0; i < most && taken < share && count < budget; i++) {
        if (kept[order[i]] || figures[order[i]] <= 0) continue;
        kept[order[i]] = 1, taken++, count++;
    }
}

void BudgetSpace::keepFirst() {
    for (size_t i = 0; i < kept.size() && count < budget; i++)
        if (!kept[i]) kept[i] = 1, count++;
}
