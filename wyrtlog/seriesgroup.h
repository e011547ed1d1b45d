// The things of one kind that a format of time series has: how far their counters are, and which of them have series.
#pragma once

#include "wyrtlog/metrics.h"
#include "wyrtlog/totals.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

inline constexpr std::string_view InfoKey = "info "; // an info's name begins so, and no label does

// One thing with all its series.
struct SeriesThing {
    static constexpr int64_t Never = INT64_MIN / 2; // far enough from the end to be subtracted
    static constexpr size_t None = static_cast<size_t>(-1);

    std::string labels; // as the format has them
    size_t host = 0;
    bool alive = true;                   // the run at hand has shown it
    bool touched = false;                // in this interval
    bool info = false;                   // it has only the value 1, and `details` names its thing
    bool others = false;                 // it is what has no series of its own, all together
    std::string details;                 // name of its info, which goes when another one takes its place
    int64_t last_ms = Never;             // of its last point
    int64_t seen_ms = Never;             // end of the last interval that had it
    int64_t turn_ms = Never;             // its place in the queue of what may stand still; Never: it is not in it
    std::vector<uint64_t> totals, added; // by metric: of all intervals before, of this one
    std::vector<double> levels;
    std::vector<char> begun, given; // by metric: it has been printed; this interval has a value
    std::vector<size_t> series;     // by metric: for the format to use

    SeriesThing(std::string name, size_t ofHost, size_t metrics);
    // One that has only the value 1: its labels are what is to be known of a thing, whose name is that.
    static SeriesThing infoOf(std::string name, size_t ofHost, std::string thing);
};

class SeriesGroup {
public:
    using Things = std::map<std::string, SeriesThing, std::less<>>;
    using Entry = Things::value_type;

    const MetricKind* kind;
    std::vector<Metric> metrics;
    Things things, candidates; // those that have series; of this interval, those that may get some

    SeriesGroup(const MetricKind& ofKind, const std::vector<SheetColumn>& columns);

    // It is in the interval at hand.
    SeriesThing& touch(Entry& entry);
    // What has no series of its own, all together; it is in the interval at hand.
    SeriesThing& othersOf(const std::string& labels, size_t host);
    // Whether the host may have one more thing, which is counted then. What was not seen for long may be forgotten for
    // it when the choice is endless.
    bool makeRoom(size_t host, bool info, int64_t now_ms, const SeriesChoice& choice);
    // Of the candidates those that are among the largest get series; the rest are added to the others, whose labels
    // these are.
    void admit(const std::string& others, size_t host, int64_t now_ms, const SeriesChoice& choice);

    // By name: what is in the interval at hand, and what stands still and has had no point after `before_ms`.
    const std::vector<Entry*>& due(size_t host, int64_t before_ms);
    // It has a point; its turn comes when it has no others for long.
    void queue(Entry& entry);
    // The interval is over: nothing is in it any more, and there are no candidates.
    void clear();
    // Another run of the host begins: nothing is known to be there until this run shows it.
    void beginRun(size_t host);

    // Gives what is saved of each thing to take().
    void save(const std::function<void(const SavedThing&)>& take) const;
    void load(const SavedThing& saved, size_t host, bool others);

private:
    struct Earlier {
        using Turn = std::pair<int64_t, Entry*>;
        bool operator()(const Turn& a, const Turn& b) const {
            return a.first != b.first ? a.first < b.first : a.second->first < b.second->first;
        }
    };
    struct OfHost {
        size_t things = 0, infos = 0;
        // By the time of a point. Who gets further ones keeps the place until it is the first, so that what moves in
        // every interval costs nothing here.
        std::set<Earlier::Turn, Earlier> turns;
    };
    struct Forgettable {
        bool known = false;
        std::vector<Entry*> entries; // the oldest last
    };
    std::vector<OfHost> hosts;
    std::array<size_t, 3> ranks{};   // metrics by which the largest are found
    std::vector<Entry*> moved;       // in the interval at hand
    Forgettable oldThings, oldInfos; // for its host

    OfHost& of(size_t host);
    bool hasInfo(const SeriesThing& thing) const;
    void findForgettable(size_t host, bool info, int64_t now_ms, std::vector<Entry*>& old);
    bool forgetOne(size_t host, bool info, int64_t now_ms);
    void addLargest(size_t metric, size_t most, std::vector<std::string>& names) const;
};
