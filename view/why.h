// What is under pressure, who did it, who suffers, and until when.
#pragma once

#include "view/areas.h"
#include "why/byfinding.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

void showWhy(const Interval& interval, const View& view, Page& page);
// The same in one line, for the top of the usual tables; nothing when the interval has not been judged.
void showWhyLine(const Interval& interval, Page& page);

// The texts of a finding, for those who show it in another way.
struct FindingText {
    struct Culprit {
        std::string share; // "92% ~"
        std::string who, evidence;
    };
    std::string heading; // "DISK sdb"
    std::string figures; // "writes wait 41.2 ms (limit 20), queue 17.0"
    std::vector<Culprit> culprits;
    std::string after; // who suffers, and until when; may be empty
};
// Makes those of an interval, which must outlive it.
class FindingTexts {
    ByFinding<WhoRow> culprits;
    ByFinding<SufferRow> sufferers;
    std::map<std::string_view, std::string_view> groups; // their names, by path

public:
    explicit FindingTexts(const Interval& interval);
    FindingText of(const WhyRow& why) const;
    std::string heading(const WhyRow& why) const;
    // The one that did most; null: none is known.
    const WhoRow* first(const WhyRow& why) const;

private:
    std::vector<const WhoRow*> culpritsOf(const WhyRow& why) const;
    std::string sufferText(const WhyRow& why) const;
};
// What is not under pressure, and comes nearest to it: "cpu run queue 2 (16), ..."; may be empty.
std::string nearestText(const Interval& interval);
