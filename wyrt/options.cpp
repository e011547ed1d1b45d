#include "wyrt/options.h"

#include "base/duration.h"
#include "base/nearest.h"
#include "base/refusal.h"
#include "view/areas.h"
#include "view/commandline.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <vector>

#include <CLI/CLI.hpp>

static constexpr int64_t ShortestInterval = 10000, LongestInterval = 86400000000; // microseconds

namespace {
// The command line with its words still as they were typed.
struct Typed {
    std::vector<std::string> operands;
    std::string interval, count, color;
    TableWords table;
    bool help = false;
};

// Why a command line is refused.
struct Refusal {
    std::string why;
};
} // namespace

// --- The options

static void addOptions(CLI::App& app, Task task, Typed& typed, Settings& settings) {
    app.set_help_flag();
    app.add_flag("-h,--help", typed.help, "this text");
    app.add_option("--root", settings.root, "files of another machine: DIR/proc, DIR/sys, DIR/run")->type_name("DIR");
    app.add_option("operands", typed.operands)->type_name("");
    app.add_option("-o,--output", settings.output, "to FILE instead of standard output")->type_name("FILE");
    if (task != Task::Check) {
        app.add_option("-i,--interval", typed.interval, "2s, 500ms, 1m or seconds (default 2s)")->type_name("TIME");
        app.add_option("-c,--count", typed.count, "ends after N intervals")->type_name("N");
        addTableOptions(app, typed.table);
    }
    if (task == Task::Live) {
        app.add_option("--save", settings.save, "keeps a log of what is shown, too")->type_name("FILE");
        app.add_option("--color", typed.color, "auto, always or never; NO_COLOR is honoured")->type_name("WHEN");
        app.add_flag("--scroll", settings.scroll, "appends on a terminal instead of redrawing");
    }
}

// --- Help

static const char* introductionOf(Task task) {
    switch (task) {
    case Task::Live:
        return "wyrt live [AREA...] [INTERVAL [COUNT]] [OPTION...]\n"
               "Tables of what happens on this host. On a terminal they are redrawn in place: q quits, space holds.\n";
    case Task::Record:
        return "wyrt record [AREA...] [INTERVAL [COUNT]] [OPTION...]\n"
               "A log of what happens on this host, to standard output or a file; wyrt show makes tables of it.\n";
    case Task::Check:
        break;
    }
    return "wyrt check [AREA...] [OPTION...]\n"
           "What can be seen here, where it comes from, and what would unlock the rest.\n";
}

static std::string helpText(Task task, const CLI::App& app) {
    std::string text = introductionOf(task);
    text += "\noptions\n" + optionLines(app);
    text += task == Task::Live ? "\nareas (* by default)\n" : "\nareas\n";
    text += areaLines(task == Task::Live);
    return task == Task::Check ? text : text + "\nwords of --sort, the usual one first\n" + sortLines();
}

// --- What the words mean

static std::string noSuchArea(const std::string& word) {
    std::vector<std::string_view> words{"all"};
    for (const auto& area : areas()) words.push_back(area.word);
    return "there is no area " + inQuotes(word) + "; the nearest is " + std::string(nearest(word, words));
}

static int64_t intervalOf(const std::string& text) {
    const auto interval = parseDuration(text);
    if (!interval) throw Refusal{"the interval " + inQuotes(text) + " is no time like 2s, 500ms or 1m"};
    if (*interval < ShortestInterval || *interval > LongestInterval)
        throw Refusal{"the interval " + inQuotes(text) + " is not between 10ms and 1d"};
    return *interval;
}

static uint64_t countOf(const std::string& text, const char* what) {
    const auto count = parseCount(text);
    if (!count || *count == 0)
        throw Refusal{"the " + std::string(what) + " " + inQuotes(text) + " is no number above 0"};
    return *count;
}

// The words in the list's order, each once.
static std::string areasOf(Task task, const std::vector<std::string>& words) {
    for (const auto& word : words)
        if (word != "all" && !findArea(word)) throw Refusal{noSuchArea(word)};
    const auto wanted = [&](const Area& area) {
        if (words.empty()) return task != Task::Live || area.byDefault;
        return std::any_of(words.begin(), words.end(), [&](auto& word) { return word == "all" || word == area.word; });
    };
    std::string list;
    for (const auto& area : areas())
        if (wanted(area)) list.append(list.empty() ? "" : " ").append(area.word);
    return list;
}

// Words are areas; the first number is the interval, the second the count.
static void takeOperands(Task task, Typed& typed, Settings& settings) {
    std::vector<std::string> words;
    int numbers = 0;
    for (const auto& operand : typed.operands) {
        if (operand.empty() || operand[0] < '0' || operand[0] > '9') {
            words.push_back(operand);
            continue;
        }
        if (task == Task::Check || ++numbers > 2)
            throw Refusal{"the operand " + inQuotes(operand) + " is one too many"};
        auto& place = numbers == 1 ? typed.interval : typed.count;
        if (!place.empty())
            throw Refusal{std::string(numbers == 1 ? "the interval" : "the count") +
                          " is given twice: " + inQuotes(place) + " and " + inQuotes(operand)};
        place = operand;
    }
    settings.view.areas = areasOf(task, words);
}

static void interpret(Task task, const CLI::App& app, Typed& typed, Settings& settings) {
    if (auto why = whyEmptyArgument(app); !why.empty()) throw Refusal{std::move(why)};
    takeOperands(task, typed, settings);
    if (!typed.interval.empty()) settings.view.interval_us = static_cast<uint64_t>(intervalOf(typed.interval));
    if (!typed.count.empty()) settings.count = countOf(typed.count, "count");
    if (!parseColor(typed.color, settings.color))
        throw Refusal{"--color takes auto, always or never, not " + inQuotes(typed.color)};
    if (auto why = takeTableWords(typed.table, settings.view); !why.empty()) throw Refusal{std::move(why)};
    const auto& sort = settings.view.sort;
    if (sort.empty()) return;
    if (auto why = whyUnknown("--sort", sort, sortWords(settings.view.areas)); !why.empty()) throw Refusal{why};
}

// --- All together

Parsed parseOptions(Task task, int argc, const char* const* argv) {
    Parsed parsed;
    try {
        CLI::App app;
        Typed typed;
        addOptions(app, task, typed, parsed.settings);
        if (auto why = parseWords(app, {argv + std::min(argc, 2), argv + argc}); !why.empty())
            throw Refusal{std::move(why)};
        if (typed.help) {
            parsed.kind = Parsed::Help;
            parsed.text = helpText(task, app);
        } else {
            interpret(task, app, typed, parsed.settings);
        }
    } catch (const Refusal& refusal) {
        parsed.kind = Parsed::Wrong;
        parsed.text = refusal.why;
    }
    return parsed;
}
