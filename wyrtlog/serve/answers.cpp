#include "wyrtlog/serve/answers.h"

#include "record/moment.h"
#include "wyrtlog/jsonl.h"

#include <algorithm>

HttpAnswer indexAnswer() {
    return plainAnswer(200, "wyrt serve\n"
                            "/metrics                          all series, for Prometheus\n"
                            "/health                           whether the log still grows\n"
                            "/report?since=-1h&until=14:05     a page to look at\n");
}

std::string metricsType(Exposition exposition) {
    return exposition == Exposition::OpenMetrics ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                                                 : "text/plain; version=0.0.4; charset=utf-8";
}

HttpAnswer healthAnswer(const std::optional<ScrapeFormat::Age>& age, size_t hosts) {
    std::string text = "{\"status\":";
    appendJson(!age ? "nothing yet" : age->fresh ? "ok" : "stale", text);
    if (age) {
        text += ",\"last_interval\":\"";
        appendMoment(text, {age->end_ms, 0});
        text += "\",\"age_seconds\":";
        appendLevel(static_cast<double>(age->age_ms) / 1000, text);
    }
    text += ",\"hosts\":" + std::to_string(hosts) + "}\n";
    return {age && age->fresh ? 200U : 503U, "application/json", std::make_shared<const std::string>(std::move(text))};
}

std::vector<std::string> reportWords(const std::string& program, const Request& request,
                                     const std::vector<std::string>& logs) {
    if (std::find(logs.begin(), logs.end(), "-") != logs.end()) return {};
    std::vector<std::string> words{program, "chart"};
    const bool any = !request.since.empty() || !request.until.empty();
    words.push_back("--since=" + (any ? request.since : "-1h"));
    if (request.since.empty() && any) words.pop_back();
    if (!request.until.empty()) words.push_back("--until=" + request.until);
    words.insert(words.end(), logs.begin(), logs.end());
    return words;
}

HttpAnswer reportAnswer(Reporter::Report report) {
    if (!report.timely) return plainAnswer(503, "the report takes too long or is too large; ask for a shorter span\n");
    if (report.status == 0)
        return {200, "text/html; charset=utf-8", std::make_shared<const std::string>(std::move(report.text))};
    if (report.status == 1)
        return plainAnswer(404, "there is no interval in this span, or it has several hosts, and a page shows one\n");
    if (report.status == 2)
        return plainAnswer(400, "this is no time like 14:05, '2026-11-21 14:05', -10m, yesterday or @1795266641\n");
    return plainAnswer(500, "the report could not be made\n");
}

bool Underway::hasRoom() {
    size_t bytes = 0;
    std::erase_if(texts, [&](auto& text) {
        const auto read = text.lock();
        bytes += read ? read->size() : 0;
        return !read;
    });
    return bytes <= Most;
}

int64_t beginOf(const Totals& totals, int64_t usual) {
    constexpr int64_t Gone = 2 * 86400 * int64_t{1000}; // ms
    if (totals.hosts.empty()) return usual;
    const auto before = [](const SavedHost& a, const SavedHost& b) { return a.time_ms < b.time_ms; };
    const auto [first, last] = std::minmax_element(totals.hosts.begin(), totals.hosts.end(), before);
    return std::max(first->time_ms, last->time_ms - Gone) - ReadAgain;
}
