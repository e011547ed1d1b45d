// What the formats of time series share: counters that go on growing over all that is exported, and levels.
#pragma once

#include "wyrtlog/format.h"
#include "wyrtlog/seriesgroup.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

class SeriesFormat : public Format {
public:
    using Thing = SeriesThing;
    using Group = SeriesGroup;
    static constexpr int64_t Never = SeriesThing::Never;
    static constexpr size_t None = SeriesThing::None;

private:
    struct Host {
        std::string name, run;
        size_t number = 0;
        std::vector<SeenRun> runs;    // the one of the last interval that was counted is the last
        int64_t last_ms = Never;      // its end
        int64_t over_ms = Never;      // what had ended by then, of runs that were not known yet, is not counted
        int64_t forgotten_ms = Never; // the same for who loads what is saved now: later where runs were forgotten

        bool isOfLastRun() const { return !runs.empty() && runs.back().run == run; }
        const SeenRun* seenRun() const;
        void count(uint64_t interval, int64_t end_ms);
    };
    const std::string word;
    const SeriesChoice wanted;
    int64_t since_ms = Never; // what ended by then was not wanted
    std::map<std::string, Host, std::less<>> hosts;
    Host* host = nullptr;                                        // of the head in force; null: there are too many
    std::vector<size_t> groupOf;                                 // by sheet
    std::vector<std::vector<std::pair<size_t, size_t>>> columns; // by sheet: a column and its metric
    uint64_t dropped = 0;
    uint64_t intervalNumber = 0;
    int64_t start_ms = 0, end_ms = 0; // of the interval
    std::string key, text;
    std::vector<char> chosen; // metrics

    Host* hostOf(const std::string& name);
    Group& groupOfKind(const MetricKind& kind, const std::vector<SheetColumn>& columns);
    std::string_view textOf(const Sheet& sheet, const Cells& cells, std::string_view field);
    void makeKey(const Group& group, const Sheet& sheet, const Cells& cells, bool rest);
    Thing* thingOf(Group& group, const Sheet& sheet, const Cells& cells, bool rest);
    std::string othersKey(const Group& group, std::string_view hostName) const;
    void takeInfo(Group& group, const Sheet& sheet, const Cells& cells, Thing& thing);
    bool takeFigures(const Group& group, const Sheet& sheet, const Cells& cells, bool rest, Thing& thing);
    void giveAll(Group& group);
    void giveInterval(Group& group, Thing& thing);
    void give(Group& group, Thing& thing, int64_t at_ms, bool levels);
    bool isCounted(const Interval& interval) const;
    std::string identity() const { return word + " " + wanted.by + (wanted.rows ? " rows" : ""); } // of the totals
    std::vector<SavedHost> savedHosts() const;

protected:
    std::vector<Group> groups;
    // Adds a label to a list.
    virtual void addLabel(std::string& labels, std::string_view name, std::string_view value) const = 0;
    // Values of a thing at this time; `which` metrics have one.
    virtual bool point(const Group& group, Thing& thing, int64_t at_ms, const std::vector<char>& which) = 0;
    bool failed = false;
    // Only the last point of each thing matters, and it may be before another one.
    bool onlyLast = false;
    // Of the head in force; None: there are too many hosts.
    size_t hostNumber() const { return host ? host->number : None; }

public:
    // `word`: the format's name.
    explicit SeriesFormat(std::string_view format, SeriesChoice what = {}) : word(format), wanted(std::move(what)) {}
    bool head(const LogHead& head, const Sheets& sheets) override;
    // False, too, when the interval was counted before the totals were saved.
    bool begin(const Interval& interval) override;
    bool line(const Sheet& sheet, const Cells& cells, std::string_view line) override;
    bool end(bool keep) override;
    std::string note() const override;

    // Intervals that end by then are never counted, also after the totals were loaded again; before the first head.
    void leaveOutUntil(int64_t time_ms) { since_ms = std::max(time_ms, Never); }
    // What the counters have reached, between two intervals.
    Totals totals() const;
    // totalsText() of them, which takes less memory than they do.
    std::string savedText() const;
    // Goes on from there; before the first head. False: these are totals of other series.
    bool take(const Totals& saved);
};
