// packaging/fleet: the alerts have the limits of the rules, and all names are those of series.
#include "why/limits.h"
#include "wyrtlog/metrics.h"

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {
struct Alert {
    std::string name, expression, rule;
};
} // namespace

static std::string afterWord(const std::string& line, const std::string& word) {
    const auto at = line.find(word);
    return at == line.npos ? "" : line.substr(at + word.size());
}

static std::vector<Alert> alerts() {
    std::ifstream file("packaging/fleet/alerts.yml");
    std::vector<Alert> all;
    bool folded = false;
    for (std::string line; std::getline(file, line);) {
        if (const auto name = afterWord(line, "- alert: "); !name.empty()) all.push_back({name, "", ""});
        if (all.empty()) continue;
        const bool more = folded && line.starts_with("          ");
        if (more) all.back().expression += " " + line.substr(line.find_first_not_of(' '));
        else folded = false;
        if (const auto text = afterWord(line, "expr: "); text == ">-") folded = true;
        else if (!text.empty()) all.back().expression = text;
        if (const auto rule = afterWord(line, "labels: {rule: "); !rule.empty())
            all.back().rule = rule.substr(0, rule.find('}'));
    }
    return all;
}

// The limit in the base unit of the series: seconds, bytes, ratios.
static double inBaseUnits(const RuleText& rule) {
    if (rule.measure == Measure::Percent) return rule.usual / 100;
    return rule.measure == Measure::Milli ? rule.usual / 1000 : rule.usual;
}

TEST(Alerts, HaveTheLimitsOfTheRules) {
    std::map<std::string, int> seen;
    for (auto& alert : alerts()) {
        EXPECT_FALSE(alert.expression.empty()) << alert.name;
        if (alert.rule.empty()) continue;
        seen[alert.rule]++;
        const auto* rule = findRule(alert.rule);
        ASSERT_TRUE(rule) << alert.name;
        const auto at = alert.expression.rfind(rule->below ? '<' : '>');
        ASSERT_NE(at, std::string::npos) << alert.expression;
        const auto limit = alert.expression.substr(alert.expression.find_first_not_of("<>= ", at));
        EXPECT_EQ(limit.find_first_not_of("0123456789."), std::string::npos) << "the limit ends it: " << limit;
        EXPECT_DOUBLE_EQ(std::stod(limit), inBaseUnits(*rule)) << alert.name;
    }
    EXPECT_GE(seen.size(), 18U);
    for (auto& [rule, times] : seen) EXPECT_EQ(times, 1) << rule;
}

TEST(Alerts, OneHasEveryRule) {
    const auto all = alerts();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(all[0].name, "WyrtFinding");
    EXPECT_NE(all[0].expression.find("wyrt_finding_seconds_total["), std::string::npos) << "without a choice of rules";
}

TEST(Fleet, NamesAreThoseOfSeries) {
    std::set<std::string> known{"wyrt_interval_end_timestamp_seconds"};
    for (auto& kind : metricKinds())
        for (auto& column : columnsOf(kind.tag))
            if (const auto metric = metricOf(kind, column))
                known.insert(metric->name + (metric->counter ? "_total" : ""));
    for (const char* path : {"packaging/fleet/alerts.yml", "packaging/fleet/dashboard.json"}) {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        const std::string all = text.str();
        size_t names = 0;
        for (size_t at = all.find("wyrt_"); at != all.npos; at = all.find("wyrt_", at + 1)) {
            const auto end = all.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_", at);
            EXPECT_TRUE(known.contains(all.substr(at, end - at))) << path << ": " << all.substr(at, end - at);
            names++;
        }
        EXPECT_GT(names, 20U) << path;
    }
}
