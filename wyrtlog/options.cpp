#include "wyrtlog/options.h"

#include "base/config.h"
#include "base/masking.h"
#include "base/nearest.h"
#include "base/refusal.h"
#include "view/areas.h"
#include "view/commandline.h"
#include "wyrtlog/stats.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {
struct Command {
    const char* word;
    LogTask task;
    const char* operands;
    const char* does;
};

struct Typed {
    std::vector<std::string> operands;
    std::string color;
    bool help = false;
};

// An option of the commands whose bits it has.
struct Option {
    const char* names;
    const char* type; // empty: it is a flag
    const char* help;
    unsigned commands;
    std::string Asked::* text; // null: a flag
    bool Asked::* flag;
};
} // namespace

static constexpr unsigned Shows = static_cast<unsigned>(LogTask::Show), Infos = static_cast<unsigned>(LogTask::Info),
                          Whys = static_cast<unsigned>(LogTask::Why), Exports = static_cast<unsigned>(LogTask::Export),
                          Charts = static_cast<unsigned>(LogTask::Chart),
                          Statistics = static_cast<unsigned>(LogTask::Stats),
                          Serves = static_cast<unsigned>(LogTask::Serve), Pushes = static_cast<unsigned>(LogTask::Push),
                          Every = ~0U;

// clang-format off
static constexpr Command Commands[] = {
    {"show", LogTask::Show, "[AREA...] [LOG...]", "The tables of a log, as they were live. Without areas: those that were shown then."},
    {"why",  LogTask::Why,  "[LOG...]", "What was under pressure, who did it, and who suffered, of a log or a span of it."},
    {"stats", LogTask::Stats, "[AREA...] [AREA/FIGURE...] [LOG...]", "Minimum, mean, maximum and 95th percentile of the figures of a span, and who used what."},
    {"export", LogTask::Export, "[LOG...]", "What a log holds, for other programs."},
    {"chart", LogTask::Chart, "[LOG...] -o FILE.html", "A page to look at: what happened, charts on one time axis, and the tables of the worst intervals."},
    {"serve", LogTask::Serve, "[LOG...]", "The figures of a log that grows, for Prometheus and others that ask for them over HTTP."},
    {"push", LogTask::Push, "[DIR] --url URL", "Sends what a recorder writes, and has written, to a store of time series, by InfluxDB's line protocol."},
    {"info", LogTask::Info, "[LOG...]", "What a log holds: host, span, intervals, gaps, damage, and how much each kind takes."},
};

static constexpr Option Options[] = {
    {"--damaged",   "",     "what fails its checksum, too",                       Every & ~Serves, nullptr,         &Asked::damaged},
    {"-o,--output", "FILE", "to FILE instead of standard output",                 Every & ~Serves & ~Pushes, &Asked::output,  nullptr},
    {"--format",    "WORD", "csv, tsv, jsonl, sqlite, openmetrics or influx; without it the ending of FILE tells", Exports, &Asked::format, nullptr},
    {"--kind",      "KIND", "only these kinds of records: DISK or DISK,CPU",      Exports | Pushes,      &Asked::kinds,   nullptr},
    {"--fields",    "LIST", "only these fields of one kind, in this order: time,name,reads", Exports, &Asked::fields, nullptr},
    {"--rates",     "",     "amounts a second instead of amounts",                Exports,      nullptr,         &Asked::rates},
    {"--by",        "WHAT", "who used what: by process, command, user, unit or disk", Statistics, &Asked::by, nullptr},
    {"--url",       "URL",  "where to: http://127.0.0.1:8428/write",              Pushes,       &Asked::url,     nullptr},
    {"--ca",        "FILE", "certificates that may sign the receiver's; those of the system unless given", Pushes, &Asked::ca, nullptr},
    {"--cert",      "FILE", "our own certificate, and",                           Pushes,       &Asked::cert,    nullptr},
    {"--key",       "FILE", "its key",                                            Pushes,       &Asked::key,     nullptr},
    {"--token-file", "FILE", "holds a token",                                     Pushes,       &Asked::tokenFile, nullptr},
    {"--user",      "NAME", "a name, whose password is in the file of",           Pushes,       &Asked::user,    nullptr},
    {"--password-file", "FILE", "its password",                                   Pushes,       &Asked::passwordFile, nullptr},
    {"--cursor",    "FILE", "keeps how far it has come; /var/lib/wyrt-push/cursor unless given", Pushes, &Asked::cursor, nullptr},
    {"--once",      "",     "sends what is there, and ends",                      Pushes,       nullptr,         &Asked::once},
    {"--config",    "FILE", "options from FILE, too: lines 'option = value'",     Pushes,       &Asked::config,  nullptr},
    {"--listen",    "ADDRESS:PORT", "where to answer; 127.0.0.1:9177 unless given",   Serves, &Asked::listen, nullptr},
    {"--state",     "FILE", "keeps the counters there, for the next start",       Serves,       &Asked::state,   nullptr},
    {"--by",        "WHAT", "processes added up by command, user, unit or container", Serves | Pushes,&Asked::by,      nullptr},
    {"--top",       "N",    "so many of an interval get series of their own; 20 unless given", Serves | Pushes, &Asked::top, nullptr},
    {"--all-rows",  "",     "a series for each process and thread instead",       Serves | Pushes,       nullptr,         &Asked::allRows},
    {"--at",        "TIME", "the interval of that moment: 14:05, -10m, yesterday 14:05", Shows, &Asked::at,   nullptr},
    {"--since",     "TIME", "from then on: 14:05, -10m, yesterday, @1795266641",  Shows | Whys | Exports | Charts | Statistics | Serves | Pushes, &Asked::since, nullptr},
    {"--until",     "TIME", "up to then",                                         Shows | Whys | Exports | Charts | Statistics | Pushes, &Asked::until, nullptr},
    {"--every",     "TIME", "intervals added up: 1m, 1h, 1d",                     Shows,        &Asked::every,   nullptr},
    {"-f,--follow", "",     "waits for what comes later; Ctrl-C ends it",         Shows | Exports,       nullptr,         &Asked::follow},
    {"--check",     "",     "verifies every checksum",                            Infos,        nullptr,         &Asked::check},
    {"--no-pager",  "",     "no pager on a terminal",                             Shows | Whys | Statistics, nullptr, &Asked::noPager},
};
// clang-format on

static bool has(unsigned commands, LogTask task) { return (commands & static_cast<unsigned>(task)) != 0; }

std::optional<LogTask> taskOf(std::string_view word) {
    for (const auto& command : Commands)
        if (command.word == word) return command.task;
    return {};
}

static bool isLimits(const TableOption& option) { return option.text == &TableWords::limits; }
static bool isRows(const TableOption& option) { return option.text == &TableWords::rows; }

static void addOptions(CLI::App& app, Asked& asked, Typed& typed) {
    app.set_help_flag();
    app.add_flag("-h,--help", typed.help, "this text");
    app.add_option("operands", typed.operands)->type_name("");
    for (const auto& option : Options) {
        if (!has(option.commands, asked.task)) continue;
        if (option.text) app.add_option(option.names, asked.*option.text, option.help)->type_name(option.type);
        else app.add_flag(option.names, asked.*option.flag, option.help);
    }
    if (asked.task == LogTask::Show) addTableOptions(app, asked.table);
    if (has(Whys | Charts, asked.task)) addTableOptions(app, asked.table, isLimits);
    if (asked.task == LogTask::Stats) addTableOptions(app, asked.table, isRows);
    if (has(Shows | Whys | Statistics, asked.task))
        app.add_option("--color", typed.color, "auto, always or never; NO_COLOR is honoured")->type_name("WHEN");
}

static std::string helpText(const Asked& asked, const CLI::App& app) {
    std::string text;
    for (const auto& command : Commands)
        if (command.task == asked.task)
            text.append("wyrt ").append(command.word).append(" ").append(command.operands).append(" [OPTION...]\n") +=
                std::string(command.does) + "\n";
    text += "Without a log: " + std::string(LogFolder) + ". - is standard input.\n\noptions\n" + optionLines(app);
    if (asked.task != LogTask::Show) return text;
    return text + "\nareas\n" + areaLines(false) + "\nwords of --sort, the usual one first\n" + sortLines();
}

static void addArea(std::string_view word, std::string& areas) { areas.append(areas.empty() ? "" : " ").append(word); }

// "disk", "disk/reads"; "./disk" is a file.
static bool isFigureWord(std::string_view word) { return findArea(word.substr(0, word.find('/'))) != nullptr; }

// An area's word is an area, even where a file has that name (./disk is the file); anything else is a log.
static std::string takeOperands(const std::vector<std::string>& operands, bool (*isLog)(const std::string&),
                                Asked& asked) {
    for (auto& operand : operands) {
        const bool figure = asked.task == LogTask::Stats && isFigureWord(operand);
        if (figure) {
            if (auto why = whyNoFigure(operand); !why.empty()) return why;
            addArea(operand, asked.areas);
            continue;
        }
        const bool word = asked.task == LogTask::Show && (operand == "all" || findArea(operand));
        if (word && operand == "all")
            for (auto& area : areas()) addArea(area.word, asked.areas);
        else if (word) addArea(operand, asked.areas);
        else if (operand == "-" || isLog(operand)) asked.logs.push_back(operand);
        else {
            std::string why = inQuotes(operand) + " is no log";
            if (asked.task != LogTask::Show && asked.task != LogTask::Stats) return why;
            std::vector<std::string_view> known;
            if (asked.task == LogTask::Show) known.emplace_back("all");
            for (auto& area : areas()) known.push_back(area.word);
            return why + " and no area; the nearest area is " + std::string(nearest(operand, known));
        }
    }
    return {};
}

static std::string interpret(const CLI::App& app, const Typed& typed, Asked& asked, bool (*isLog)(const std::string&)) {
    if (auto why = whyEmptyArgument(app); !why.empty()) return why;
    ViewRow view; // that of the log is known later
    if (auto why = takeTableWords(asked.table, view); !why.empty()) return why;
    if (!parseColor(typed.color, asked.color))
        return "--color takes auto, always or never, not " + inQuotes(typed.color);
    if (auto why = takeOperands(typed.operands, isLog, asked); !why.empty()) return why;
    return asked.table.sort && !asked.areas.empty() ? whyUnknown("--sort", *asked.table.sort, sortWords(asked.areas))
                                                    : "";
}

// The words that the file of --config stands for.
static std::string addConfig(const CLI::App& app, const std::string& path, std::vector<std::string>& words) {
    constexpr std::string_view Excluded[] = {"help", "config", "once"};
    std::vector<ConfigLine> lines;
    if (!readConfigFile(path, lines)) return inQuotes(path) + ": " + strerror(errno);
    for (const auto& line : lines)
        if (auto why = addConfigWord(app, line.option, line.value, Excluded, {}, words); !why.empty())
            return oneLine(line.place) + ": " + why;
    return {};
}

static CommandLine parsed(std::vector<std::string> words, LogTask task, bool (*isLog)(const std::string& name),
                          bool withConfig) {
    CommandLine line;
    line.asked.task = task;
    CLI::App app;
    Typed typed;
    addOptions(app, line.asked, typed);
    line.why = parseWords(app, words);
    if (!line.why.empty()) return line;
    if (typed.help) line.help = helpText(line.asked, app);
    else if (line.why = interpret(app, typed, line.asked, isLog);
             line.why.empty() && !line.asked.config.empty() && withConfig) {
        std::vector<std::string> all;
        line.why = addConfig(app, line.asked.config, all);
        all.insert(all.end(), words.begin(), words.end());
        if (line.why.empty()) return parsed(std::move(all), task, isLog, false); // what is typed counts
    }
    return line;
}

CommandLine parseCommandLine(const std::vector<std::string>& words, bool (*isLog)(const std::string& name)) {
    const auto task = words.empty() ? LogTask::Show : taskOf(words[0]).value_or(LogTask::Show);
    return parsed({words.begin() + (words.empty() ? 0 : 1), words.end()}, task, isLog, true);
}
