// What `wyrt serve` answers. Pure.
#pragma once

#include "wyrtlog/serve/httpserver.h"
#include "wyrtlog/serve/reporter.h"
#include "wyrtlog/serve/request.h"

#include <memory>
#include <string>
#include <vector>

// A text that is kept for those who ask soon after.
struct MadeText {
    std::shared_ptr<const std::string> text; // null: none was made
    uint64_t generation = 0;
    int64_t at_ms = 0;
};

HttpAnswer indexAnswer();
std::string metricsType(Exposition exposition);
// 503 where a recorder should have written more by now.
HttpAnswer healthAnswer(const std::optional<ScrapeFormat::Age>& age, size_t hosts);
// The program that makes the report; empty: there is none of these logs.
std::vector<std::string> reportWords(const std::string& program, const Request& request,
                                     const std::vector<std::string>& logs);
HttpAnswer reportAnswer(Reporter::Report report);
// Reports on their way to those who asked. One who reads slowly keeps its report as long as the server lets it.
class Underway {
    std::vector<std::weak_ptr<const std::string>> texts;

public:
    static constexpr size_t Most = size_t{32} << 20; // bytes, besides one more report
    void add(const HttpAnswer& answer) { texts.push_back(answer.body); }
    // Whether there is room for another one.
    bool hasRoom();
};
// Where a program that kept these totals goes on: an hour before the last interval of the host that is furthest back,
// but not of hosts that are long gone. `usual`: where there are none.
int64_t beginOf(const Totals& totals, int64_t usual);
