#include "record/sum.h"

#include "record/budget.h"

#include <algorithm>
#include <limits>
#include <type_traits>

// --- What a row is about

static void appendBytes(std::string& name, const void* bytes, size_t size) {
    name.append(static_cast<const char*>(bytes), size);
}

// No two identities give the same name: texts have their length before them.
static void appendIdentity(std::string& name, const ConstSlot& slot) {
    std::visit(
        [&](const auto* value) {
            using T = std::remove_cvref_t<decltype(*value)>;
            if constexpr (std::is_same_v<T, std::string>) {
                const size_t size = value->size();
                appendBytes(name, &size, sizeof size);
                name += *value;
            } else if constexpr (IsOptional<T>::value) {
                name += value->has_value() ? '1' : '0';
                const auto number = value->value_or(0);
                appendBytes(name, &number, sizeof number);
            } else {
                appendBytes(name, value, sizeof *value);
            }
        },
        slot);
}

size_t IntervalSum::Index::find(const std::string& identity) {
    if (next < names.size() && *names[next] == identity) return next++;
    const auto found = rows.find(identity);
    if (found == rows.end()) return None;
    next = found->second + 1;
    return found->second;
}

void IntervalSum::Index::add(const std::string& identity) {
    const auto entry = rows.emplace(identity, names.size()).first;
    names.push_back(&entry->first); // stays where it is
    next = names.size();
}

void IntervalSum::Index::clear() {
    rows.clear();
    names.clear();
    next = 0, before_us = 0;
    seen = false;
}

// --- Adding

template <typename Kind> static void nameOf(const Kind& kind, const typename Kind::Row& row, std::string& name) {
    name.clear();
    for (const auto& member : kind.members)
        if (member.role == Role::Id) appendIdentity(name, member.in(row));
}

// What is under pressure follows from the sum, and is not a sum itself.
template <typename Kind> static constexpr bool isFinding(const Kind& kind) {
    return kind.tag == WhyKind.tag || kind.tag == WhoKind.tag || kind.tag == SufferKind.tag || kind.tag == NearKind.tag;
}

static int64_t addTimes(int64_t a, int64_t b) {
    int64_t sum = 0;
    return __builtin_add_overflow(a, std::max<int64_t>(0, b), &sum) ? std::numeric_limits<int64_t>::max() : sum;
}

static void copySlot(const ConstSlot& from, const Slot& to) {
    std::visit(
        [&](auto* member) {
            const auto* value = std::get_if<const std::remove_pointer_t<decltype(member)>*>(&from);
            if (value) *member = **value;
        },
        to);
}

// Calls f(kind, rows, rows) for each kind of two intervals.
template <typename F> static void eachPair(const Interval& one, Interval& other, const F& f) {
    std::vector<const void*> all;
    eachKind(one, [&](const auto&, const auto& rows) { all.push_back(&rows); });
    size_t i = 0;
    eachKind(other, [&](const auto& kind, auto& rows) {
        f(kind, *static_cast<const std::remove_reference_t<decltype(rows)>*>(all[i++]), rows);
    });
}

// The later row with the amounts of both.
template <typename Kind, typename Row> static void addTo(const Kind& kind, const Row& row, Row& to) {
    for (const auto& member : kind.members) {
        if (member.role == Role::Amount) addSlot(member.in(row), member.in(to));
        else copySlot(member.in(row), member.in(to));
    }
}

IntervalSum::IntervalSum() {
    eachKind(sum, [&](const auto&, auto&) { indexes.emplace_back(); });
}

template <typename Kind, typename R>
void IntervalSum::addRows(const Kind& kind, const Rows<R>& rows, int64_t elapsed_us, Rows<R>& to, Index& index) {
    const bool present = rows.sampled;
    // A kind without lines was idle as long as the interval was.
    if (!present && !index.seen) return void(index.before_us = addTimes(index.before_us, elapsed_us));
    if (!index.seen) index.seen = to.sampled = true, to.elapsed_us = index.before_us;
    to.elapsed_us = addTimes(to.elapsed_us, present ? rows.elapsed_us : elapsed_us);
    for (const auto& row : rows.rows) {
        nameOf(kind, row, name);
        const size_t at = index.find(name);
        if (at != Index::None) {
            addTo(kind, row, to.rows[at]);
        } else {
            index.add(name);
            to.rows.push_back(row);
        }
    }
    if (rows.rest) {
        if (!to.rest) to.rest.emplace();
        addAmounts(kind, *rows.rest, *to.rest);
    }
}

// A row that finds no room goes into the sum of the others.
template <typename Kind, typename R> void IntervalSum::limit(const Kind& kind, Rows<R>& rows, Index& index) {
    if (rows.rows.size() * sizeof(R) <= MostBytes) return;
    BudgetSpace space;
    applyBudget(kind, rows, MostBytes / sizeof(R) / 2, space, [](const R&) { return false; });
    index.rows.clear(), index.names.clear();
    for (const auto& row : rows.rows) nameOf(kind, row, name), index.add(name);
}

// --- Counts of what was idle or moved

// Whether anything of it happened.
template <typename Kind> static bool moved(const Kind& kind, const typename Kind::Row& row) {
    return std::any_of(kind.members.begin(), kind.members.end(), [&](const auto& member) {
        return member.role == Role::Amount && figureOf(member.in(row)) != 0;
    });
}

template <typename Kind, typename R, typename F>
static uint64_t countMoved(const Kind& kind, const Rows<R>& rows, const F& counts) {
    return static_cast<uint64_t>(std::count_if(rows.rows.begin(), rows.rows.end(), [&](const R& row) {
        return counts(row) && moved(kind, row);
    }));
}
template <typename Kind, typename R> static uint64_t countMoved(const Kind& kind, const Rows<R>& rows) {
    return countMoved(kind, rows, [](const R&) { return true; });
}

namespace {
// These figures of the sum, from before an interval is added.
struct Counts {
    uint64_t disks = UINT64_MAX, links = UINT64_MAX, groups = UINT64_MAX, quiet = UINT64_MAX;
    uint64_t counters = 0, ran = 0, threads = 0, files = 0;

    explicit Counts(const Interval& sum) {
        if (const auto* row = sum.disksTotal.one()) disks = row->idle;
        if (const auto* row = sum.linksTotal.one()) links = row->idle;
        if (const auto* row = sum.cgroupsTotal.one()) groups = row->idle;
        if (const auto* row = sum.filesystemsTotal.one()) quiet = row->quiet;
        if (const auto* row = sum.protocolsTotal.one()) counters = row->moved;
        if (const auto* row = sum.processesTotal.one()) ran = row->ran;
        if (const auto* row = sum.threadsTotal.one()) threads = row->ran;
        if (const auto* row = sum.filesTotal.one()) files = row->moved;
    }
};
} // namespace

template <typename R> static R* oneOf(Rows<R>& rows) { return rows.rows.empty() ? nullptr : &rows.rows.front(); }

// They are levels, but the last interval's would contradict the rows: no more were idle in the whole span than in any
// interval, and no fewer moved.
static void keepCounts(const Counts& before, Interval& sum) {
    if (auto* row = oneOf(sum.disksTotal)) row->idle = std::min(row->idle, before.disks);
    if (auto* row = oneOf(sum.linksTotal)) row->idle = std::min(row->idle, before.links);
    if (auto* row = oneOf(sum.cgroupsTotal)) row->idle = std::min(row->idle, before.groups);
    if (auto* row = oneOf(sum.filesystemsTotal)) row->quiet = std::min(row->quiet, before.quiet);
    if (auto* row = oneOf(sum.protocolsTotal)) row->moved = std::max(row->moved, before.counters);
    if (auto* row = oneOf(sum.processesTotal)) row->ran = std::max(row->ran, before.ran);
    if (auto* row = oneOf(sum.threadsTotal)) row->ran = std::max(row->ran, before.threads);
    if (auto* row = oneOf(sum.filesTotal)) row->moved = std::max(row->moved, before.files);
}

static void setIdle(uint64_t& idle, uint64_t all, uint64_t active) {
    idle = std::min(idle, all - std::min(all, active));
}

// What did something in one interval was not idle in the sum.
static void countRows(Interval& sum) {
    const auto counts = [](const DiskRow& row) {
        return !row.stacked && row.kind != "loop" && row.kind != "ram" && row.kind != "zram";
    };
    const auto isNoRoot = [](const CgroupRow& row) { return row.path != "/"; };
    if (auto* row = oneOf(sum.disksTotal)) setIdle(row->idle, row->disks, countMoved(DiskKindOf, sum.disks, counts));
    if (auto* row = oneOf(sum.linksTotal)) setIdle(row->idle, row->links, countMoved(LinkKind, sum.links));
    if (auto* row = oneOf(sum.cgroupsTotal))
        setIdle(row->idle, row->groups, countMoved(CgroupKind, sum.cgroups, isNoRoot));
    if (auto* row = oneOf(sum.protocolsTotal))
        row->moved = std::max(row->moved, countMoved(ProtocolKind, sum.protocols));
    if (auto* row = oneOf(sum.processesTotal)) row->ran = std::max(row->ran, countMoved(ProcKind, sum.processes));
    if (auto* row = oneOf(sum.threadsTotal)) row->ran = std::max(row->ran, countMoved(ThreadKind, sum.threads));
}

Interval& IntervalSum::result() {
    countRows(sum);
    return sum;
}

void IntervalSum::add(const Interval& interval) {
    const Counts before(sum);
    size_t i = 0;
    eachPair(interval, sum, [&](const auto& kind, const auto& rows, auto& to) {
        auto& index = indexes[i++];
        if (isFinding(kind)) return;
        addRows(kind, rows, interval.elapsed_us, to, index);
        limit(kind, to, index);
    });
    keepCounts(before, sum);
    sum.time = interval.time, sum.number = interval.number;
    sum.elapsed_us = addTimes(sum.elapsed_us, interval.elapsed_us);
    sum.damaged |= interval.damaged;
    count++;
}

void IntervalSum::clear() {
    clearRows(sum);
    sum.time = {}, sum.number = 0, sum.elapsed_us = 0;
    for (auto& index : indexes) index.clear();
    count = 0;
}
