#include "wyrtlog/options.h"

#include "base/nearest.h"
#include "base/refusal.h"
#include "view/areas.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace {
struct Typed {
    std::vector<std::string> operands;
    std::string color;
    bool help = false;
};
} // namespace

static void addOptions(CLI::App& app, Asked& asked, Typed& typed) {
    app.set_help_flag();
    app.add_flag("-h,--help", typed.help, "this text");
    app.add_option("operands", typed.operands);
    app.add_flag("--damaged", asked.damaged, "what fails its checksum, too");
    app.add_option("-o,--output", asked.output, "to FILE instead of standard output")->type_name("FILE");
    if (asked.task == Task::Info) return;
    if (asked.task == Task::Why) {
        app.add_option("--since", asked.since, "from then on: 14:05, -10m, yesterday, @1795266641")->type_name("TIME");
        app.add_option("--until", asked.until, "up to then")->type_name("TIME");
    }
    for (const auto& option : tableOptions()) {
        if (asked.task == Task::Why && option.text != &TableWords::limits) continue;
        if (!option.text) {
            app.add_flag(option.names, asked.table.*option.flag, option.help);
            continue;
        }
        auto* added = app.add_option(option.names, asked.table.*option.text, option.help)->type_name(option.type);
        if (option.repeated) added->multi_option_policy(CLI::MultiOptionPolicy::Join)->delimiter(' ');
    }
    app.add_option("--color", typed.color, "auto, always or never")->type_name("WHEN");
    app.add_flag("--no-pager", asked.noPager, "no pager on a terminal");
}

static const char* introductionOf(Task task) {
    switch (task) {
    case Task::Show:
        return "wyrt show [AREA...] [LOG...] [OPTION...]\n"
               "The tables of a log, as they were live. Without areas: those that were shown then.\n";
    case Task::Why:
        return "wyrt why [LOG...] [OPTION...]\n"
               "What was under pressure, who did it, and who suffered, of a log or a span of it.\n";
    case Task::Info:
        break;
    }
    return "wyrt info [LOG...] [OPTION...]\n"
           "What a log holds: host, span, intervals, gaps, damage, and how much each kind takes.\n";
}

static std::string helpText(const Asked& asked, const CLI::App& app) {
    std::string text = introductionOf(asked.task);
    text += "Without a log: " + std::string(LogFolder) + ". - is standard input.\n\noptions\n";
    const auto line = [&](std::string left, std::string_view right) {
        left.resize(std::max<size_t>(left.size() + 1, 26), ' ');
        text.append("  ").append(left).append(right).append("\n");
    };
    for (const auto* option : app.get_options())
        if (!option->get_positional())
            line(option->get_name(false, true) + " " + option->get_type_name(), option->get_description());
    if (asked.task != Task::Show) return text;
    text += "\nareas\n";
    for (const auto& area : areas()) line(std::string(area.word), area.help);
    line("all", "every area");
    text += "\nwords of --sort, the usual one first\n";
    for (const auto& area : areas())
        if (!area.sorts.empty()) line(std::string(area.word), area.sorts);
    return text;
}

static void addArea(std::string_view word, std::string& areas) { areas.append(areas.empty() ? "" : " ").append(word); }

// An area's word is an area, even where a file has that name (./disk is the file); anything else is a log.
static std::string takeOperands(const std::vector<std::string>& operands, bool (*isLog)(const std::string&),
                                Asked& asked) {
    for (auto& operand : operands) {
        const bool word = asked.task == Task::Show && (operand == "all" || findArea(operand));
        if (word && operand == "all")
            for (auto& area : areas()) addArea(area.word, asked.areas);
        else if (word) addArea(operand, asked.areas);
        else if (operand == "-" || isLog(operand)) asked.logs.push_back(operand);
        else {
            std::string why = inQuotes(operand) + " is no log";
            if (asked.task != Task::Show) return why;
            std::vector<std::string_view> known{"all"};
            for (auto& area : areas()) known.push_back(area.word);
            return why + " and no area; the nearest area is " + std::string(nearest(operand, known));
        }
    }
    return {};
}

static std::string interpret(const Typed& typed, Asked& asked, bool (*isLog)(const std::string&)) {
    ViewRow view; // that of the log is known later
    if (auto why = takeTableWords(asked.table, view); !why.empty()) return why;
    if (!typed.color.empty() && typed.color != "auto" && typed.color != "always" && typed.color != "never")
        return "--color takes auto, always or never, not " + inQuotes(typed.color);
    asked.color = typed.color == "always";
    if (auto why = takeOperands(typed.operands, isLog, asked); !why.empty()) return why;
    return asked.table.sort && !asked.areas.empty() ? whyUnknown("--sort", *asked.table.sort, sortWords(asked.areas))
                                                    : "";
}

CommandLine parseCommandLine(const std::vector<std::string>& words, bool (*isLog)(const std::string&)) {
    CommandLine line;
    const std::string_view command = words.empty() ? std::string_view() : words[0];
    line.asked.task = command == "info" ? Task::Info : command == "why" ? Task::Why : Task::Show;
    CLI::App app;
    Typed typed;
    addOptions(app, line.asked, typed);
    try {
        // The parser takes the last word first.
        std::vector<std::string> reversed(words.rbegin(),
                                          words.rend() - std::min<std::ptrdiff_t>(1, words.rend() - words.rbegin()));
        app.parse(std::move(reversed));
        if (typed.help) line.help = helpText(line.asked, app);
        else line.why = interpret(typed, line.asked, isLog);
    } catch (const CLI::Error& error) {
        line.why = error.what();
    }
    return line;
}
