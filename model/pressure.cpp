#include "model/pressure.h"

#include "model/amounts.h"

#include <algorithm>

void pressureRows(const PressureSample* before, const PressureSample& now, Rows<PressureRow>& rows) {
    rows.sampled = true;
    if (!before) return;
    rows.elapsed_us = now.at_us - before->at_us;
    // Where nothing can be read there are rows without figures, so that tables can say so.
    const bool told = std::any_of(now.resources.begin(), now.resources.end(), [](auto& r) { return r.has_value(); });
    for (size_t i = 0; i < PressureNames.size(); i++) {
        if (told && !now.resources[i]) continue;
        auto& row = rows.rows.emplace_back();
        row.resource = PressureNames[i];
        if (!before->resources[i] || !now.resources[i]) continue;
        row.some_us = grown(before->resources[i]->some_us, now.resources[i]->some_us);
        row.full_us = grown(before->resources[i]->full_us, now.resources[i]->full_us);
    }
}
