#include "wyrtlog/serve.h"

#include "base/clock.h"
#include "base/door.h"
#include "base/program.h"
#include "base/refusal.h"
#include "wyrtlog/intervals.h"
#include "wyrtlog/seriesoptions.h"
#include "wyrtlog/serve/answers.h"
#include "wyrtlog/serve/httpserver.h"
#include "wyrtlog/serve/reporter.h"
#include "wyrtlog/serve/scrape.h"
#include "wyrtlog/statefile.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>

static constexpr const char* Usually = "127.0.0.1:9177";

namespace {
struct Options {
    ListenAddress listen;
    SeriesChoice series;
    Bounds bounds;
};

class Service : public Watcher {
    const Asked& asked;
    Signals ownSignals; // before any thread
    std::mutex mutex;   // guards the series, which this thread changes and the server's thread reads
    ScrapeFormat series;
    Sheets sheets;
    Cells cells;
    Intervals intervals;
    std::string why; // wrong usage that only a head shows
    uint64_t generation = 0;
    MadeText texts[2]; // of the two expositions
    Underway reports;  // the server's thread's alone
    int64_t saved_us = getMonotonic();
    bool unsaved = false, failedToSave = false;
    std::atomic<bool> caughtUp = false; // before that, counters would be below what they were before a restart
    Reporter reporter{[this](const void* asker) { onReport(asker); }, {}};
    HttpServer server{[this](auto& target, auto& accept, auto* by) { return answer(target, accept, by); },
                      [this](auto* by) { reporter.forget(by); }};

    void onReport(const void* asker);
    std::optional<HttpAnswer> answer(const std::string& target, const std::string& accept, const Exchange* by);
    std::optional<HttpAnswer> report(const Request& request, const Exchange* by);
    HttpAnswer metrics(Exposition exposition);
    HttpAnswer health();
    bool take(const LogReader& reader, bool changed, Interval& interval);
    void save();
    void saveWhenDue();

public:
    Service(const Asked& what, const Options& options) : asked(what), series(options.series) {}
    // Failed: the counters that were kept cannot be read.
    int load(Bounds& bounds);
    int run(const Options& options);
    bool idle() override { return caughtUp = true, saveWhenDue(), true; }
    Signals* signals() override { return &ownSignals; }
};
} // namespace

// --- Answers, in the server's thread

// Also called every now and then without an asker.
void Service::onReport(const void* asker) {
    if (asker) server.wake(static_cast<const Exchange*>(asker));
    server.endLate();
}

HttpAnswer Service::metrics(Exposition exposition) {
    constexpr int64_t Kept = 1000; // ms: many who ask at once get the same text
    const int64_t now_ms = getRealtime();
    const std::lock_guard lock(mutex);
    auto& made = texts[static_cast<size_t>(exposition)];
    if (!made.text || made.generation != generation || now_ms < made.at_ms || now_ms - made.at_ms > Kept)
        made = {std::make_shared<const std::string>(series.text(exposition, now_ms)), generation, now_ms};
    return {200, metricsType(exposition), made.text};
}

HttpAnswer Service::health() {
    const std::lock_guard lock(mutex);
    return healthAnswer(series.age(getRealtime()), series.hostCount());
}

std::optional<HttpAnswer> Service::report(const Request& request, const Exchange* by) {
    if (reporter.isOf(by)) {
        auto made = reporter.take(by);
        if (!made) return {};
        auto answer = reportAnswer(std::move(*made));
        reports.add(answer);
        return answer;
    }
    if (!reports.hasRoom()) return plainAnswer(503, "other reports are still being read; ask again in a while\n");
    const auto words = reportWords(ownPath(), request, asked.logs);
    if (words.empty()) return plainAnswer(404, "there are no reports of standard input\n");
    if (reporter.ask(by, words)) return {};
    return plainAnswer(503, "another report is being made; ask again in a while\n");
}

std::optional<HttpAnswer> Service::answer(const std::string& target, const std::string& accept, const Exchange* by) {
    const auto request = parseRequest(target);
    if (!request.wrong.empty()) return plainAnswer(400, request.wrong + "\n");
    switch (request.resource) {
    case Resource::Index:
        return indexAnswer();
    case Resource::Metrics:
        if (!caughtUp) return plainAnswer(503, "the log is being read; ask again in a moment\n");
        return metrics(negotiated(accept));
    case Resource::Health:
        return health();
    case Resource::Report:
        return report(request, by);
    case Resource::None:
        break;
    }
    return plainAnswer(404, "there is /metrics, /health and /report\n");
}

// --- The counters that outlive the program

int Service::load(Bounds& bounds) {
    series.leaveOutUntil(bounds.since_ms);
    const auto text = readState(asked.state, LongestTotals);
    if (!text && errno == ENOENT) return Done;
    if (!text) return failed(inQuotes(asked.state) + ": " + strerror(errno));
    const auto totals = parseTotals(*text);
    if (!totals || !series.take(*totals)) {
        const char* reason = totals ? " has the counters of other series" : " is damaged";
        putErr("wyrt: " + inQuotes(asked.state) + reason + "; they begin anew\n");
        return Done;
    }
    bounds.since_ms = beginOf(*totals, bounds.since_ms);
    return Done;
}

void Service::save() {
    if (asked.state.empty() || !unsaved) return;
    saved_us = getMonotonic();
    const bool good = replaceState(asked.state, series.savedText(), LongestTotals);
    unsaved = !good;
    if (!good && !failedToSave) failed(inQuotes(asked.state) + " cannot be replaced: " + strerror(errno));
    failedToSave = !good;
}

// What a restart has to read again is in the log.
void Service::saveWhenDue() {
    constexpr int64_t Period = 60000000; // microseconds
    if (getMonotonic() - saved_us >= Period) save();
}

// --- The way of the intervals

bool Service::take(const LogReader& reader, bool changed, Interval& interval) {
    {
        const std::lock_guard lock(mutex);
        if (changed) {
            why = sheets.takeHead(reader);
            if (!why.empty() || !series.head(reader.head(), sheets)) return false;
        }
        if (!series.begin(interval)) return true;
        const bool good = eachLine(reader.text(), sheets, cells, [&](const Sheet& sheet, const Cells& all, auto line) {
            return series.line(sheet, all, line);
        });
        series.end(good);
        if (!good) intervals.leaveOut();
        generation++;
        unsaved = true;
    }
    saveWhenDue();
    return true;
}

int Service::run(const Options& options) {
    const auto listen = asked.listen.empty() ? Usually : asked.listen;
    if (const auto no = server.start(options.listen); !no.empty())
        return failed("cannot listen on " + listen + ": " + no);
    reporter.start();
    caughtUp = std::find(asked.logs.begin(), asked.logs.end(), "-") != asked.logs.end(); // it may never be
    putErr("wyrt: answers on http://" + listen + "/\n");
    auto followed = asked;
    followed.follow = true;
    const int status = intervals.each(
        followed, options.bounds,
        [this](const LogReader& reader, bool changed, Interval& interval) { return take(reader, changed, interval); },
        Want::Lines, this);
    reporter.stop();
    server.stop();
    save();
    intervals.reportLeftOut();
    if (const auto note = series.note(); !note.empty()) putErr("wyrt: " + note + "\n");
    return why.empty() ? status : failed(why);
}

// --- Options

// Empty: they can be used.
static std::string takeOptions(const Asked& asked, Options& options) {
    constexpr int64_t Before = 600000; // ms: figures are there at once
    const auto listen = parseListen(asked.listen.empty() ? Usually : asked.listen);
    if (!listen)
        return "--listen takes ADDRESS:PORT, such as 127.0.0.1:9177 or [::1]:9177, not " + inQuotes(asked.listen);
    options.listen = *listen;
    if (auto wrong = takeSeriesOptions(asked, options.series); !wrong.empty()) return wrong;
    options.bounds.since_ms = getRealtime() - Before;
    return takeBounds(asked, options.bounds);
}

int serve(const Asked& asked) {
    Options options;
    if (const auto wrong = takeOptions(asked, options); !wrong.empty()) return refused(wrong, "wyrt serve --help");
    Service service(asked, options);
    if (!asked.state.empty() && service.load(options.bounds) != Done) return Failed;
    return service.run(options);
}
