#include "wyrtlog/export.h"

#include "base/door.h"
#include "base/folder.h"
#include "base/held.h"
#include "base/infile.h"
#include "base/nearest.h"
#include "base/refusal.h"
#include "wyrtlog/classiclog.h"
#include "wyrtlog/csv.h"
#include "wyrtlog/influx.h"
#include "wyrtlog/intervals.h"
#include "wyrtlog/jsonl.h"
#include "wyrtlog/logfiles.h"
#include "wyrtlog/openmetrics.h"
#include "wyrtlog/sqlite.h"
#include "wyrtlog/unpack.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace {
// What makes a format that goes to a stream, one file for each kind into a folder, or one file of its own.
using Make = std::unique_ptr<Format> (*)(Output& out, const Choice& choice);
using MakeFile = std::unique_ptr<Format> (*)(std::string path, const Choice& choice);
struct FormatWord {
    std::string_view word;
    std::array<std::string_view, 3> endings; // of a file's name
    Make make;
    MakeFile inFolder, inFile; // null: it does not
};
} // namespace

template <bool tabs> static std::unique_ptr<Format> makeCsv(Output& out, const Choice& choice) {
    return std::make_unique<CsvFormat>(out, tabs, choice.kinds.size() != 1);
}
template <bool tabs> static std::unique_ptr<Format> makeCsvFolder(std::string path, const Choice&) {
    return std::make_unique<CsvFormat>(std::move(path), tabs);
}
static std::unique_ptr<Format> makeJson(Output& out, const Choice&) { return std::make_unique<JsonFormat>(out); }
static std::unique_ptr<Format> makeJsonFolder(std::string path, const Choice&) {
    return std::make_unique<JsonFormat>(std::move(path));
}
static std::unique_ptr<Format> makeSqlite(std::string path, const Choice& choice) {
    return std::make_unique<SqliteFormat>(std::move(path), choice);
}

static std::unique_ptr<Format> makeOpenMetrics(Output& out, const Choice&) {
    return std::make_unique<OpenMetricsFormat>(out);
}
static std::unique_ptr<Format> makeInflux(Output& out, const Choice&) {
    return std::make_unique<InfluxFormat>([&out](std::string_view text) { return out.write(text); });
}

// clang-format off
static constexpr FormatWord Words[] = {
    {"csv",    {".csv", "", ""},                makeCsv<false>, makeCsvFolder<false>, nullptr   },
    {"tsv",    {".tsv", "", ""},                makeCsv<true>,  makeCsvFolder<true>,  nullptr   },
    {"jsonl",  {".jsonl", "", ""},              makeJson,       makeJsonFolder,       nullptr   },
    {"sqlite", {".sqlite", ".db", ".sqlite3"},  nullptr,        nullptr,              makeSqlite},
    {"openmetrics", {".om", ".openmetrics", ""}, makeOpenMetrics, nullptr,        nullptr   },
    {"influx", {".lp", ".influx", ""},          makeInflux,     nullptr,              nullptr   },
};
// clang-format on

static bool hasEnding(const FormatWord& word, const std::string& name) {
    return std::any_of(word.endings.begin(), word.endings.end(),
                       [&](auto ending) { return !ending.empty() && name.ends_with(ending); });
}

// --- What was asked for

static std::string takeChoice(const Asked& asked, Choice& choice) {
    choice.kinds = kindWords(asked.kinds);
    choice.fields = commaWords(asked.fields);
    choice.rates = asked.rates;
    if (!choice.fields.empty() && choice.kinds.size() != 1) return "--fields needs the one --kind that has them";
    return {};
}

// Null, with the reason in `why`: there is no such format.
static const FormatWord* formatOf(const Asked& asked, std::string& why) {
    std::vector<std::string_view> known;
    std::string list;
    for (auto& word : Words) {
        if (asked.format.empty() ? hasEnding(word, asked.output) : asked.format == word.word) return &word;
        known.push_back(word.word);
        list += (list.empty() ? "" : ", ") + std::string(word.word);
    }
    why = asked.format.empty() ? "--format is missing; it takes " + list
                               : "there is no format " + inQuotes(asked.format) + "; the nearest is " +
                                     std::string(nearest(asked.format, known));
    return nullptr;
}

// With a slash at its end.
static std::string folderOf(const std::string& path) {
    if (path.ends_with('/')) return path;
    return !path.empty() && HeldDirectory().open(path.c_str()) ? path + "/" : "";
}

// Why the format cannot go where the output is; empty: it can.
static std::string whyNotThere(const FormatWord& word, const Asked& asked, const std::string& folder) {
    const std::string name(word.word);
    if (!folder.empty() && !word.inFolder)
        return name + " goes to one file, and " + inQuotes(asked.output) + " is a folder";
    if (word.inFile && asked.output.empty()) return name + " needs a file: -o FILE";
    if (word.inFile && asked.rates) return "the views of " + name + " have the rates";
    if (asked.follow && (word.inFile || word.make == makeOpenMetrics))
        return "--follow is for csv, tsv, jsonl and influx: " + name + " is written when all is read";
    const bool series = word.make == makeOpenMetrics || word.make == makeInflux;
    if (series && asked.rates) return name + " has counters, of which the store makes rates";
    if (series && !asked.fields.empty()) return name + " has all fields of a kind";
    return {};
}

// --- The way of the intervals

namespace {
struct Exporter : Watcher {
    Format& format;
    Sheets sheets;
    Cells cells{};
    std::string why; // wrong usage that only the log's head shows

    Exporter(Format& to, Sheets all) : format(to), sheets(std::move(all)) {}

    // False: it cannot go on.
    bool head(const LogReader& reader) {
        why = sheets.takeHead(reader);
        return why.empty() && format.head(reader.head(), sheets);
    }
    // False: a record is damaged.
    bool lines(std::string_view text, bool damaged) {
        return eachLine(text, sheets, cells, [&](const Sheet& sheet, const Cells& all, std::string_view line) {
            return format.line(sheet, all, line) || damaged;
        });
    }
    bool idle() override { return format.flush(); }
};
} // namespace

static int exportTo(Format& format, const Asked& asked, const Choice& choice, const Bounds& bounds) {
    if (!format.failure().empty()) return failed(format.failure());
    Exporter exporter(format, Sheets(choice));
    Intervals intervals;
    bool running = true;
    const auto onInterval = [&](const LogReader& reader, bool changed, Interval& interval) {
        if (changed && !exporter.head(reader)) return running = false;
        if (!format.begin(interval)) return running = format.failure().empty();
        const bool good = exporter.lines(reader.text(), asked.damaged);
        if (!good) intervals.leaveOut();
        return running = format.end(good);
    };
    const int status = intervals.each(asked, bounds, onInterval, Want::Lines, &exporter);
    if (!exporter.why.empty()) return refused(exporter.why, "wyrt export --help");
    running = running && (intervals.given() == 0 || format.finish());
    intervals.reportLeftOut();
    if (const auto note = format.note(); !note.empty()) putErr("wyrt: " + note + "\n");
    if (!running) return format.failure().empty() ? status : failed(format.failure());
    if (intervals.given() == 0 && status == Done && !asked.follow) return failed("there is no interval to export");
    return status;
}

// --- Classic logs

namespace {
class ClassicFile {
    InFile file;
    Unpacker unpacker{[this](char* to, size_t size) { return file.read(to, size); }};

public:
    // Those that can be read only once are taken for logs of today.
    bool open(const std::string& path) { return !isReadOnce(path) && file.open(path); }
    size_t read(char* to, size_t size) { return unpacker.read(to, size); }
    std::string failure() const { return file.failure() ? strerror(file.failure()) : unpacker.failure(); }
};
} // namespace

static bool isClassic(const std::string& path) {
    ClassicFile file;
    if (!file.open(path)) return false;
    std::string start(size_t{1} << 16, '\0');
    start.resize(file.read(start.data(), start.size()));
    return isClassicLog(start);
}

static int exportClassic(Format& format, const Asked& asked, const Choice& choice, const Bounds& bounds) {
    if (!format.failure().empty()) return failed(format.failure());
    Exporter exporter(format, Sheets(choice));
    if (auto wrong = exporter.sheets.takeSheets(classicSheets()); !wrong.empty())
        return refused(wrong, "wyrt export --help");
    int status = Done;
    bool running = true;
    uint64_t given = 0, damaged = 0;
    for (auto& path : asked.logs) {
        ClassicFile file;
        ClassicLog log;
        if (!file.open(path)) {
            status = failed(inQuotes(path) + ": " + strerror(errno));
            continue;
        }
        bool headed = false;
        const auto onInterval = [&](Moment time, int64_t elapsed_us, uint64_t number, std::string_view lines) {
            if (!bounds.has(time)) return true;
            if (!headed && !format.head({"", log.host(), "", "classic"}, exporter.sheets)) return running = false;
            headed = true;
            given++;
            Interval interval;
            interval.time = time, interval.elapsed_us = elapsed_us, interval.number = number;
            if (!format.begin(interval)) return running = format.failure().empty();
            exporter.lines(lines, true);
            return running = format.end(true);
        };
        log.read([&](char* to, size_t size) { return file.read(to, size); }, onInterval);
        damaged += log.damaged();
        if (const auto why = file.failure(); !why.empty()) status = failed(inQuotes(path) + ": " + why);
        if (!running) break;
    }
    running = running && (given == 0 || format.finish());
    if (damaged > 0) putErr("wyrt: " + std::to_string(damaged) + " records are damaged and left out\n");
    if (!running) return format.failure().empty() ? status : failed(format.failure());
    return given == 0 && status == Done ? failed("there is no interval to export") : status;
}

// The logs are classic ones, or none of them is.
static std::string takeLogs(const Asked& asked, const FormatWord& word, bool& classic) {
    const auto count = static_cast<size_t>(std::count_if(asked.logs.begin(), asked.logs.end(), isClassic));
    classic = count > 0;
    if (!classic) return {};
    if (count < asked.logs.size()) return "classic logs and others cannot be exported together";
    if (word.make == makeOpenMetrics || word.make == makeInflux)
        return std::string(word.word) + " has amounts, which classic logs do not have";
    if (asked.follow) return "--follow is for logs of wyrt record";
    return asked.rates ? "classic logs have rates already" : "";
}

int exportLog(const Asked& asked) {
    Choice choice;
    Bounds bounds;
    std::string wrong = takeChoice(asked, choice);
    if (wrong.empty()) wrong = takeBounds(asked, bounds);
    const auto* word = wrong.empty() ? formatOf(asked, wrong) : nullptr;
    const auto folder = folderOf(asked.output);
    bool classic = false;
    if (word && wrong.empty()) wrong = whyNotThere(*word, asked, folder);
    if (word && wrong.empty()) wrong = takeLogs(asked, *word, classic);
    if (!wrong.empty()) return refused(wrong, "wyrt export --help");
    const auto exportAll = classic ? exportClassic : exportTo;
    if (!folder.empty()) {
        if (!makeFolder(folder.c_str())) return failed(inQuotes(folder) + " cannot be made: " + strerror(errno));
        return exportAll(*word->inFolder(folder, choice), asked, choice, bounds);
    }
    if (word->inFile) return exportAll(*word->inFile(asked.output, choice), asked, choice, bounds);
    Output out;
    auto plain = asked;
    plain.noPager = true;
    if (!out.open(plain)) return Failed;
    const auto format = word->make(out, choice);
    return out.finish(exportAll(*format, asked, choice, bounds));
}
