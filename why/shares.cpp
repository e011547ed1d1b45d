#include "why/shares.h"

#include "base/numbers.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <string_view>
#include <tuple>

static constexpr size_t MostShown = 5;
static constexpr double LeastShown = 2; // percent; the first is always shown

void roundShares(std::vector<WhoRow*>& rows, const std::vector<double>& amounts) {
    const double sum = std::accumulate(amounts.begin(), amounts.end(), 0.0);
    if (sum <= 0) return;
    std::vector<std::pair<double, size_t>> remainders;
    uint64_t given = 0;
    for (size_t i = 0; i < rows.size(); i++) {
        const double exact = amounts[i] * 100 / sum;
        rows[i]->share = static_cast<uint64_t>(exact);
        given += rows[i]->share;
        remainders.emplace_back(exact - std::floor(exact), i);
    }
    std::stable_sort(remainders.begin(), remainders.end(), [](auto& a, auto& b) { return a.first > b.first; });
    for (size_t i = 0; given < 100 && i < remainders.size(); i++, given++) rows[remainders[i].second]->share++;
}

static uint64_t wholeOf(double amount) {
    constexpr double Most = 9e18;
    return amount > 0 ? static_cast<uint64_t>(std::llround(std::min(amount, Most))) : 0;
}

// The culprits that have no row of their own, as one.
static void addOthers(const Culprit* from, const Culprit* to, double amount, std::vector<WhoRow>& rows) {
    WhoRow row;
    uint64_t count = 0;
    for (const auto* culprit = from; culprit != to; culprit++) {
        uint64_t others = 0; // of an interval of several
        const bool many = culprit->row.role == "others" && toNumber(std::string_view(culprit->row.name), others);
        count += many ? others : culprit->row.count;
    }
    row.mark = '=';
    if (to - from == 1) row = from->row;
    else row.name = std::to_string(count), row.role = "others";
    if (std::any_of(from, to, [](auto& c) { return c.row.mark != '='; })) row.mark = '~';
    row.amount = wholeOf(amount);
    rows.push_back(std::move(row));
}

// Processes of one name that run for one user in one group are one culprit when they are many: a build, the workers of
// a server. The one that did most stands for them.
static void joinAlike(std::vector<Culprit>& culprits) {
    constexpr size_t Many = 3;
    std::map<std::tuple<std::string_view, std::string_view, std::string_view, std::string_view>, std::vector<size_t>>
        alike;
    for (size_t i = 0; i < culprits.size(); i++) {
        const auto& row = culprits[i].row;
        if (row.pid && row.role.empty()) alike[{row.name, row.user, row.unit, row.cgroup}].push_back(i);
    }
    for (auto& [what, places] : alike) {
        const bool isJoined =
            std::any_of(places.begin(), places.end(), [&](size_t i) { return culprits[i].row.count > 1; });
        if (places.size() < (isJoined ? 2 : Many)) continue;
        size_t first = places[0];
        double amount = 0, order = 0;
        uint64_t single = 0, joined = 0; // of several intervals, the same processes may be in both
        bool exact = true;
        for (const size_t i : places) {
            amount += culprits[i].amount, order += culprits[i].order;
            if (culprits[i].row.count > 1) joined = std::max(joined, culprits[i].row.count);
            else single++;
            exact &= culprits[i].row.mark == '=';
            if (culprits[i].amount > culprits[first].amount) first = i;
        }
        for (const size_t i : places)
            if (i != first) culprits[i].amount = 0;
        auto& one = culprits[first];
        one.amount = amount, one.order = order;
        if (!exact) one.row.mark = '~';
        if (!one.row.evidence.empty() && one.row.count == 1) one.row.evidence = "the largest: " + one.row.evidence;
        one.row.count = std::max(single, joined);
    }
}

void share(Finding& finding, std::vector<WhoRow>& rows) {
    auto& culprits = finding.culprits;
    joinAlike(culprits);
    std::erase_if(culprits, [](auto& c) { return !(c.amount > 0); });
    std::stable_sort(culprits.begin(), culprits.end(), [](auto& a, auto& b) { return a.order > b.order; });
    double explained = 0;
    for (auto& culprit : culprits) explained += culprit.amount;
    const double total = std::max(finding.total, explained);
    finding.why.total = wholeOf(total);
    const size_t first = rows.size();
    std::vector<double> amounts;
    size_t shown = 0;
    while (shown < culprits.size() && shown < MostShown &&
           (shown == 0 || culprits[shown].amount * 100 >= LeastShown * total)) {
        auto& culprit = culprits[shown++];
        culprit.row.amount = wholeOf(culprit.amount);
        rows.push_back(culprit.row);
        amounts.push_back(culprit.amount);
    }
    if (shown < culprits.size()) {
        double others = 0;
        for (size_t i = shown; i < culprits.size(); i++) others += culprits[i].amount;
        addOthers(culprits.data() + shown, culprits.data() + culprits.size(), others, rows);
        amounts.push_back(others);
    }
    WhoRow unknown;
    unknown.name = finding.rest.empty() ? "not accounted for" : finding.rest;
    unknown.amount = wholeOf(total - explained);
    rows.push_back(unknown);
    amounts.push_back(std::max(total - explained, 0.0));
    std::vector<WhoRow*> shared;
    for (size_t i = first; i < rows.size(); i++) shared.push_back(&rows[i]);
    roundShares(shared, amounts);
    if (total <= 0) rows.back().share = 100;
    // The largest has a share.
    const auto begin = rows.begin() + static_cast<std::ptrdiff_t>(first);
    rows.erase(std::remove_if(begin, rows.end(), [](auto& row) { return row.share == 0; }), rows.end());
    uint64_t place = 0;
    for (size_t i = first; i < rows.size(); i++) {
        rows[i].place = ++place;
        rows[i].resource = finding.why.resource, rows[i].object = finding.why.object;
    }
}
