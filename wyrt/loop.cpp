#include "wyrt/loop.h"

#include "base/clock.h"
#include "base/door.h"
#include "base/host.h"
#include "base/program.h"
#include "base/refusal.h"
#include "base/wait.h"
#include "record/fitting.h"
#include "view/areas.h"
#include "why/findings.h"
#include "wyrt/folder.h"
#include "wyrt/grid.h"
#include "wyrt/heads.h"
#include "wyrt/logfile.h"
#include "wyrt/screen.h"
#include "wyrt/selfcost.h"
#include "wyrt/source.h"
#include "wyrt/tail.h"
#include "wyrt/version.h"
#include "wyrt/writer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {
// The whole state of a run.
class Run {
    const Settings& settings;
    const bool tables; // live: tables are shown
    const Root root;
    Signals signals; // before any thread
    Screen screen{signals};
    LogHead head;
    LogWriter log;
    std::unique_ptr<Writer> writer; // null: no log
    Helper helper;                  // one for all sources but names of users, so that few processes are ever stuck
    std::vector<std::unique_ptr<Source>> sources;
    std::vector<Watched> watched; // in a pause: the keys, then the helpers
    Interval interval;
    BudgetSpace budgetSpace;
    Limits limits;
    SelfCost cost;
    bool shown = false;
    Heads heads;
    bool begins = false;                 // this interval follows a new head
    int64_t sampled_us = 0;              // monotonic, the last sample
    uint64_t skipped = 0, unwritten = 0; // since the last interval
    uint64_t made = 0;                   // intervals

    enum class Step { Go, Last, Stop }; // Last: a last, shorter interval
    bool openFile(const std::string& path);
    int openFolder();
    int openLog();
    void writeTo(std::unique_ptr<LogTarget> target, int64_t sync_us);
    int64_t firstPause() const;
    Step pause(int64_t deadline);
    void sample(uint64_t late_us);
    void fillSelf(uint64_t late_us);
    bool write();
    bool show();
    bool makeInterval(uint64_t late_us);
    void loop();
    int finish();

public:
    Run(const Settings& asked, bool live)
        : settings(asked), tables(live), root(asked.root), heads(!asked.dir.empty(), asked.keep.max_use.value_or(0)) {}
    int run();
};
} // namespace

// --- Start

static Moment momentNow() {
    Moment moment;
    moment.epoch_ms = getRealtime();
    const time_t seconds = static_cast<time_t>(moment.epoch_ms / 1000);
    tm local{};
    localtime_r(&seconds, &local);
    moment.offset_min = static_cast<int16_t>(local.tm_gmtoff / 60);
    return moment;
}

static std::string firstLine(const std::string& path) {
    Contents text;
    if (!readFile(path.c_str(), text)) return {};
    return std::string(text.view().substr(0, text.view().find('\n')));
}

static void allowFiles() {
    constexpr uint64_t Wanted = 256; // all areas have some 70 files open, and a few for each network namespace
    const uint64_t allowed = allowDescriptors(Wanted);
    if (allowed < Wanted)
        putErr("wyrt: only " + std::to_string(allowed) +
               " files may be open (ulimit -n); figures of files beyond them are missing\n");
}

static LogHead headOf(const Root& root) {
    char run[40];
    snprintf(run, sizeof run, "%llx-%x", static_cast<unsigned long long>(getRealtime()),
             static_cast<unsigned>(getOwnPid()));
    const std::string host = root.isOther() ? firstLine(root.path("/proc/sys/kernel/hostname")) : getHost().name;
    return {programVersion(), host, firstLine(root.path("/proc/sys/kernel/random/boot_id")), run};
}

void Run::writeTo(std::unique_ptr<LogTarget> target, int64_t sync_us) {
    writer = mayRunThreads() ? threadWriter(std::move(target), sync_us) : directWriter(std::move(target));
}

bool Run::openFile(const std::string& path) {
    constexpr int64_t Sync = 10000000; // microseconds
    auto file = std::make_unique<LogFile>();
    if (!file->open(path, OutFile::How::Append)) return errno = file->error(), false;
    writeTo(std::move(file), Sync);
    return true;
}

int Run::openFolder() {
    auto folder = std::make_unique<LogFolder>(settings.dir, head.host, settings.keep);
    if (!folder->open()) {
        if (errno == EWOULDBLOCK) return failed(inQuotes(settings.dir) + " has a recorder already");
        return failed(inQuotes(settings.dir) + " cannot be recorded to: " + strerror(errno));
    }
    lockMemory();
    const auto interval_us = static_cast<int64_t>(settings.view.interval_us);
    writeTo(std::move(folder), std::max<int64_t>(0, settings.sync_us.value_or(0) - interval_us));
    return Done;
}

int Run::openLog() {
    if (!settings.dir.empty()) return openFolder();
    const auto& path = tables ? settings.save : settings.output.empty() ? std::string("-") : settings.output;
    if (!path.empty() && path != "-") {
        const auto tail = mendTail(path);
        if (tail == Tail::NoLog) return failed(inQuotes(path) + " is no log of wyrt, and is left as it is");
        if (tail == Tail::Error) return failed(inQuotes(path) + " cannot be continued: " + strerror(errno));
    }
    if (!path.empty() && !openFile(path)) return failed(inQuotes(path) + " cannot be written: " + strerror(errno));
    return Done;
}

// --- One interval

// Waits for the time of the next sample. Keys and a changed terminal are dealt with meanwhile, and so are the helpers:
// a tool with a long output, or what waits for its turn, would otherwise be late with every sample.
Run::Step Run::pause(int64_t deadline) {
    for (;;) {
        if (signals.pipeClosed() || (writer && writer->isOver())) return Step::Stop;
        if (signals.end()) return Step::Last;
        if (signals.takeResized()) {
            screen.renew();
            if (shown && screen.isRedrawn() && !show()) return Step::Stop;
        }
        watched.assign(1, {screen.handle(), false});
        helper.watch(watched);
        int64_t look = INT64_MAX;
        for (const auto& source : sources) look = std::min(look, source->nextLook());
        const auto woken = waitUntil(std::min(deadline, look), signals, watched);
        if (woken == Woken::Time && deadline <= look) return Step::Go;
        for (auto& source : sources)
            if (source->nextLook() <= getMonotonic()) source->look();
        if (woken != Woken::Ready) continue;
        helper.pump();
        if (!watched.front().ready && getMonotonic() >= deadline) return Step::Go;
        const auto key = screen.take();
        if (key == Screen::Key::Quit) return Step::Stop;
        if (key == Screen::Key::Hold && shown && !show()) return Step::Stop;
    }
}

void Run::fillSelf(uint64_t late_us) {
    SelfRow row;
    row.late_us = late_us;
    row.skipped = skipped;
    row.unwritten = unwritten;
    row.helpers_stuck = helper.abandoned();
    uint64_t refused = 0;
    for (auto& source : sources) refused += source->notAllowed();
    cost.fill(interval, refused, row);
    interval.self.rows.push_back(row);
    interval.self.sampled = true;
    interval.self.elapsed_us = interval.elapsed_us;
}

void Run::sample(uint64_t late_us) {
    cost.begin();
    const int64_t now = getMonotonic();
    // Rows of all that there is are some hundred times those of what moves.
    if (interval.complete) interval = Interval(), giveBackMemory();
    clearRows(interval);
    interval.time = momentNow();
    begins = heads.isDue(interval.time.epoch_ms) || (writer && writer->isGone());
    interval.complete = made == 0 || (writer && begins); // the first below a head
    interval.elapsed_us = sampled_us ? now - sampled_us : 0;
    sampled_us = now;
    for (auto& source : sources) source->sample();
    for (auto& source : sources) source->rows(interval);
    if (needsFindings(settings.view.areas)) judge(interval, limits);
    fillSelf(late_us);
    // A storm of things must not fill the log. A log's first interval has them all.
    if (!interval.complete) keepBudget<Named>(interval, RowBudget, budgetSpace);
    settle(interval);
}

bool Run::write() {
    if (!writer) return true;
    const int64_t time_ms = interval.time.epoch_ms;
    std::string text;
    if (begins) log.head(head, settings.view, interval.time, text);
    appendFitting<Named>(log, interval, budgetSpace, text);
    heads.put(time_ms, text.size(), begins);
    writer->put(Piece(std::move(text), time_ms, begins));
    return !writer->isOver();
}

bool Run::show() {
    shown = true;
    if (screen.isHeld()) return screen.markHeld();
    Page page(screen.width(), screen.color());
    showInterval(interval, {head, settings.view}, page);
    return screen.show(page.text());
}

// False: the run is over.
bool Run::makeInterval(uint64_t late_us) {
    // What cannot be written is not shown either: the log and the screen have the same intervals.
    if (writer && !writer->ready()) {
        if (!unwritten++ && !settings.dir.empty() && writer->error())
            failed("the log cannot be written for now: " + std::string(strerror(writer->error())) +
                   "; the next interval is longer");
        return !writer->isOver();
    }
    sample(late_us);
    interval.number = ++made;
    skipped = unwritten = 0;
    if (!write()) return false;
    return !tables || show();
}

// --- The whole run

// In a folder, samples are due at whole multiples of the interval by the clock, so that files begin on the hour.
int64_t Run::firstPause() const {
    constexpr int64_t FirstOnScreen = 450000; // the first table is there within half a second of the start
    const auto interval_us = static_cast<int64_t>(settings.view.interval_us);
    if (tables && screen.isRedrawn() && settings.save.empty()) return std::min(FirstOnScreen, interval_us);
    if (settings.dir.empty()) return interval_us;
    const int64_t past = std::max<int64_t>(0, interval.time.epoch_ms) * 1000 % interval_us;
    return past > interval_us / 2 ? 2 * interval_us - past : interval_us - past;
}

void Run::loop() {
    constexpr int64_t ShortestLast = 1000; // microseconds
    const auto interval_us = static_cast<int64_t>(settings.view.interval_us);
    sample(0); // from here on something can be compared
    Grid grid(sampled_us + firstPause() - interval_us, interval_us);
    while (!settings.count || made < *settings.count) {
        const auto next = pause(grid.due());
        if (next == Step::Stop) return;
        const int64_t now = getMonotonic();
        if (next == Step::Last) {
            if (now - sampled_us >= ShortestLast) makeInterval(0);
            return;
        }
        if (!makeInterval(grid.lateness(now))) return;
        skipped += grid.advance(getMonotonic());
    }
}

int Run::finish() {
    const bool written = !writer || writer->finish();
    const int logError = writer ? writer->error() : 0;
    if (screen.error() && screen.error() != EPIPE && screen.error() != EINTR)
        return failed(std::string("the tables cannot be written: ") + strerror(screen.error()));
    if (!written && logError != EPIPE) return failed(std::string("the log cannot be written: ") + strerror(logError));
    return Done;
}

int Run::run() {
    if (const auto proc = root.path("/proc"); root.isOther() && !canOpen(proc.c_str()))
        return failed(inQuotes(proc) + " cannot be read: " + strerror(errno));
    head = headOf(root);
    allowFiles();
    keepNoLargeMemory();
    limits.set(settings.view.limits); // what it refuses was refused with the command line
    if (const int status = openLog(); status != Done) return status;
    if (tables && !screen.open(settings))
        return failed(inQuotes(settings.output) + " cannot be written: " + strerror(errno));
    sources = makeSources(settings.view.areas, root, helper, settings.view);
    loop();
    return finish();
}

int runLive(const Settings& settings) { return Run(settings, true).run(); }
int runRecord(const Settings& settings) { return Run(settings, false).run(); }
