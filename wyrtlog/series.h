// What the formats of time series share: counters that go on growing over all that is exported, and levels.
#pragma once

#include "wyrtlog/format.h"
#include "wyrtlog/metrics.h"

#include <map>
#include <string>
#include <vector>

class SeriesFormat : public Format {
public:
    static constexpr int64_t Never = INT64_MIN / 2; // far enough from the end to be subtracted
    // One thing with all its series.
    struct Thing {
        std::string labels; // as the format has them
        std::string volume; // of a device-mapper disk its device number, until its label is known
        size_t host = 0;
        bool alive = true;                   // the run at hand has shown it
        bool touched = false;                // in this interval
        bool info = false;                   // it has only the value 1
        int64_t last_ms = Never;             // of its last point
        std::vector<uint64_t> totals, added; // by metric: of all intervals before, of this one
        std::vector<double> levels;
        std::vector<char> begun, given; // by metric: it has been printed; this interval has a value
        std::vector<size_t> series;     // by metric: for the format to use
    };
    struct Group { // of a kind
        const MetricKind* kind = nullptr;
        std::vector<Metric> metrics;
        std::map<std::string, Thing, std::less<>> things;
        size_t count = 0, infos = 0; // of the things
    };

private:
    struct Host {
        std::string name, run;
        size_t number = 0;
        std::map<std::string, std::string, std::less<>> volumes; // labels of device-mapper volumes by device number
    };
    std::map<std::string, Host, std::less<>> hosts;
    Host* host = nullptr;                                        // of the head in force
    std::vector<size_t> groupOf;                                 // by sheet
    std::vector<std::vector<std::pair<size_t, size_t>>> columns; // by sheet: a column and its metric
    std::vector<Thing*> touched;
    uint64_t dropped = 0;
    int64_t start_ms = 0, end_ms = 0; // of the interval
    std::string key, text;
    std::vector<char> chosen; // metrics

    std::string_view textOf(const Sheet& sheet, const Cells& cells, std::string_view field);
    Thing* thingOf(Group& group, const Sheet& sheet, const Cells& cells, bool rest);
    void takeInfo(Group& group, const Sheet& sheet, const Cells& cells, const std::string& labels);
    void flush(Group& group, Thing& thing);
    void touch(Thing& thing);
    void give(Group& group, Thing& thing, int64_t at_ms, bool levels);
    void takeVolume(const Sheet& sheet, const Cells& cells);

protected:
    std::vector<Group> groups;
    // Adds a label to a list.
    virtual void addLabel(std::string& labels, std::string_view name, std::string_view value) const = 0;
    // Values of a thing at this time; `which` metrics have one.
    virtual bool point(const Group& group, Thing& thing, int64_t at_ms, const std::vector<char>& which) = 0;
    bool failed = false;

public:
    bool head(const LogHead& head, const Sheets& sheets) override;
    bool begin(const Interval& interval) override;
    bool line(const Sheet& sheet, const Cells& cells, std::string_view line) override;
    bool end(bool keep) override;
    std::string note() const override;
};
