#include "wyrtlog/export.h"

#include "base/held.h"
#include "base/nearest.h"
#include "base/refusal.h"
#include "wyrtlog/csv.h"
#include "wyrtlog/intervals.h"
#include "wyrtlog/jsonl.h"

namespace {
// What makes a format; `kinds` says whether several kinds of records can be in it.
using Make = std::unique_ptr<Format> (*)(Output& out, const Choice& choice);
using MakeFolder = std::unique_ptr<Format> (*)(std::string folder);
struct FormatWord {
    std::string_view word;
    std::string_view ending; // of a file's name
    Make make;
    MakeFolder makeFolder; // null: it is one file always
};
} // namespace

static constexpr FormatWord Words[] = {
    {"csv",   ".csv",
     [](Output& out, const Choice& choice) -> std::unique_ptr<Format> {
         return std::make_unique<CsvFormat>(out, false, choice.kinds.size() != 1);
     },                                                                                   [](std::string folder) -> std::unique_ptr<Format> {
         return std::make_unique<CsvFormat>(std::move(folder), false);
     }                                                                                 },
    {"tsv",   ".tsv",
     [](Output& out, const Choice& choice) -> std::unique_ptr<Format> {
         return std::make_unique<CsvFormat>(out, true, choice.kinds.size() != 1);
     },                                                                                   [](std::string folder) -> std::unique_ptr<Format> {
         return std::make_unique<CsvFormat>(std::move(folder), true);
     }                                                                                 },
    {"jsonl", ".jsonl",
     [](Output& out, const Choice&) -> std::unique_ptr<Format> { return std::make_unique<JsonFormat>(out); },
     [](std::string folder) -> std::unique_ptr<Format> { return std::make_unique<JsonFormat>(std::move(folder)); }},
};

// --- What was asked for

// Words between commas.
static std::vector<std::string> wordsOf(const std::string& list) {
    std::vector<std::string> words;
    for (size_t at = 0; at < list.size();) {
        const auto comma = std::min(list.find(',', at), list.size());
        if (comma > at) words.push_back(list.substr(at, comma - at));
        at = comma + 1;
    }
    return words;
}

static std::string takeChoice(const Asked& asked, Choice& choice) {
    choice.kinds = wordsOf(asked.kinds);
    for (auto& kind : choice.kinds)
        for (char& c : kind)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    choice.fields = wordsOf(asked.fields);
    choice.rates = asked.rates;
    if (!choice.fields.empty() && choice.kinds.size() != 1) return "--fields needs the one --kind that has them";
    return {};
}

// Null, with the reason in `why`: there is no such format.
static const FormatWord* formatOf(const Asked& asked, std::string& why) {
    std::vector<std::string_view> known;
    std::string list;
    for (auto& word : Words) {
        if (asked.format.empty() ? asked.output.ends_with(word.ending) : asked.format == word.word) return &word;
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

// --- The way of the intervals

namespace {
struct Exporter {
    const Asked& asked;
    Format& format;
    Sheets sheets;
    Cells cells;
    std::string why; // wrong usage that only the log's head shows

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
};
} // namespace

static int exportTo(Format& format, const Asked& asked, const Choice& choice, const Bounds& bounds) {
    Exporter exporter{asked, format, Sheets(choice), {}, {}};
    Intervals intervals;
    bool running = true;
    const auto onInterval = [&](const LogReader& reader, bool changed, Interval& interval) {
        if (changed && !exporter.head(reader)) return running = false;
        if (!format.begin(interval)) return true;
        const bool good = exporter.lines(reader.text(), asked.damaged);
        if (!good) intervals.leaveOut();
        return running = format.end(good);
    };
    const int status = intervals.each(asked, bounds, onInterval, Want::Lines);
    if (!exporter.why.empty()) return refused(exporter.why, "wyrt export --help");
    running = running && format.finish();
    intervals.reportLeftOut();
    if (!running) return format.failure().empty() ? status : failed(format.failure());
    if (intervals.given() == 0 && status == Done) return failed("there is no interval to export");
    return status;
}

int exportLog(const Asked& asked) {
    Choice choice;
    Bounds bounds;
    std::string wrong = takeChoice(asked, choice);
    if (wrong.empty()) wrong = takeBounds(asked, bounds);
    const auto* word = wrong.empty() ? formatOf(asked, wrong) : nullptr;
    const auto folder = folderOf(asked.output);
    if (word && !folder.empty() && !word->makeFolder)
        wrong = std::string(word->word) + " goes to one file, and " + inQuotes(asked.output) + " is a folder";
    if (!wrong.empty()) return refused(wrong, "wyrt export --help");
    if (!folder.empty()) return exportTo(*word->makeFolder(folder), asked, choice, bounds);
    Output out;
    auto plain = asked;
    plain.noPager = true;
    if (!out.open(plain)) return Failed;
    const auto format = word->make(out, choice);
    return out.finish(exportTo(*format, asked, choice, bounds));
}
