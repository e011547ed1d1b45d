// The series as a scraper gets them: the last value of each, in Prometheus' text format or OpenMetrics.
#pragma once

#include "wyrtlog/series.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

enum class Exposition { Text, OpenMetrics };

class ScrapeFormat : public SeriesFormat {
    struct HostState {
        std::string name;
        int64_t end_ms = Never, elapsed_ms = 0; // of its last interval
    };
    std::vector<HostState> states; // by the host's number
    HostState next;                // of the interval at hand
    struct Family {                // a metric of a group
        const Group& group;
        size_t metric; // None: its info
    };

    bool isFresh(const HostState& state, int64_t now_ms) const;
    bool isShown(const Group& group, const Thing& thing) const;
    bool hasValue(const Family& family, const Thing& thing, int64_t now_ms) const;
    void addValue(const Family& family, const Thing& thing, std::string& text) const;
    void addFamily(const Family& family, Exposition exposition, int64_t now_ms, std::string& text) const;
    void addHosts(std::string& text) const;

protected:
    void addLabel(std::string& labels, std::string_view name, std::string_view value) const override;
    bool point(const Group& group, Thing& thing, int64_t at_ms, const std::vector<char>& which) override;

public:
    explicit ScrapeFormat(SeriesChoice choice) : SeriesFormat("scrape", std::move(choice)) { onlyLast = true; }
    bool head(const LogHead& head, const Sheets& sheets) override;
    bool begin(const Interval& interval) override;
    bool end(bool keep) override;
    bool finish() override { return true; }
    std::string failure() const override { return {}; }

    // All series. Levels of a host whose last interval is long ago are left out: nobody knows them any more.
    std::string text(Exposition exposition, int64_t now_ms) const;
    // How long ago the newest interval ended; none: there was none. `fresh`: another one may be due only now.
    struct Age {
        int64_t end_ms, age_ms;
        bool fresh;
    };
    std::optional<Age> age(int64_t now_ms) const;
    size_t hostCount() const { return states.size(); }
};
