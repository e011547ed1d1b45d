#include "wyrt/options.h"

#include "base/duration.h"
#include "base/nearest.h"
#include "base/numbers.h"
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
    std::string interval, count, color, max_use, keep_free, max_age, sync;
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
    if (task == Task::Record) {
        app.add_option("--dir", settings.dir, "keeps logs in DIR; every 10s unless -i says otherwise")
            ->type_name("DIR");
        app.add_option("--max-use", typed.max_use, "the logs in DIR take no more (default 2G)")->type_name("SIZE");
        app.add_option("--keep-free", typed.keep_free, "as much stays free on its filesystem (default 1G)")
            ->type_name("SIZE");
        app.add_option("--max-age", typed.max_age, "older logs are removed (default 14d)")->type_name("TIME");
        app.add_option("--sync", typed.sync, "a power cut loses no more than that (default 60s)")->type_name("TIME");
        app.add_option("--config", settings.config, "options from DIR/*.conf (default /etc/wyrt/recorder)")
            ->type_name("DIR");
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
               "A log of what happens on this host, to standard output, a file or a folder; wyrt show makes tables of "
               "it.\n";
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

static uint64_t sizeOf(const std::string& text, const char* option) {
    const auto size = parseSize(text);
    if (!size) throw Refusal{std::string(option) + " takes a size like 2G or 500M, not " + inQuotes(text)};
    return *size;
}

static int64_t spanOf(const std::string& text, const char* option) {
    const auto span = parseDuration(text);
    if (!span) throw Refusal{std::string(option) + " takes a time like 14d or 60s, not " + inQuotes(text)};
    return *span;
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
    if (!words.empty() || settings.view.areas.empty()) settings.view.areas = areasOf(task, words);
}

static void takeFolderOptions(const Typed& typed, Settings& settings) {
    constexpr uint64_t Smallest = 1 << 20; // bytes: less may not even hold one interval
    auto& keep = settings.keep;
    if (!typed.max_use.empty()) keep.max_use = sizeOf(typed.max_use, "--max-use");
    if (keep.max_use && *keep.max_use < Smallest)
        throw Refusal{"--max-use is at least 1M, not " + inQuotes(typed.max_use)};
    if (!typed.keep_free.empty()) keep.keep_free = sizeOf(typed.keep_free, "--keep-free");
    if (!typed.max_age.empty()) keep.max_age_ms = spanOf(typed.max_age, "--max-age") / 1000;
    if (!typed.sync.empty()) settings.sync_us = spanOf(typed.sync, "--sync");
}

static void interpret(Task task, const CLI::App& app, Typed& typed, Settings& settings) {
    if (auto why = whyEmptyArgument(app); !why.empty()) throw Refusal{std::move(why)};
    takeOperands(task, typed, settings);
    if (!typed.interval.empty()) settings.view.interval_us = static_cast<uint64_t>(intervalOf(typed.interval));
    if (!typed.count.empty()) settings.count = countOf(typed.count, "count");
    if (!parseColor(typed.color, settings.color))
        throw Refusal{"--color takes auto, always or never, not " + inQuotes(typed.color)};
    takeFolderOptions(typed, settings);
    if (auto why = takeTableWords(typed.table, settings.view); !why.empty()) throw Refusal{std::move(why)};
    const auto& sort = settings.view.sort;
    if (sort.empty()) return;
    if (auto why = whyUnknown("--sort", sort, sortWords(settings.view.areas)); !why.empty()) throw Refusal{why};
}

// --- All together

// The words that a line of a file stands for.
static std::vector<std::string> wordsOf(const CLI::App& app, const ConfigLine& line) {
    if (line.option == "areas") {
        std::vector<std::string> words{"--"};
        for (std::string_view rest = line.value; !rest.empty();)
            if (const auto word = takeWord(rest); !word.empty()) words.emplace_back(word);
        return words;
    }
    constexpr std::string_view Excluded[] = {"help", "config", "root", "output"}, Others[] = {"areas"};
    std::vector<std::string> words;
    if (auto why = addConfigWord(app, line.option, line.value, Excluded, Others, words); !why.empty())
        throw Refusal{std::move(why)};
    return words;
}

static void parseLine(Task task, const ConfigLine& line, Settings& settings) {
    CLI::App app;
    Typed typed;
    addOptions(app, task, typed, settings);
    try {
        if (auto why = parseWords(app, wordsOf(app, line)); !why.empty()) throw Refusal{std::move(why)};
        interpret(task, app, typed, settings);
    } catch (const Refusal& refusal) {
        throw Refusal{oneLine(line.place) + ": " + refusal.why};
    }
}

// What only a folder of logs has, and what it has where nothing else is said.
static void settleFolder(Settings& settings) {
    constexpr uint64_t MaxUse = uint64_t{2} << 30;
    constexpr int64_t MaxAge = 14LL * 86400 * 1000, Sync = 60000000; // milliseconds; microseconds
    auto& keep = settings.keep;
    if (settings.dir.empty()) {
        if (!settings.config.empty()) throw Refusal{"neither --dir nor a file of --config names a folder for the logs"};
        if (keep.max_use || keep.keep_free || keep.max_age_ms || settings.sync_us)
            throw Refusal{"--max-use, --keep-free, --max-age and --sync are for the logs of a folder: --dir names it"};
        return;
    }
    if (!settings.output.empty())
        throw Refusal{"the log goes to a file (--output) or to a folder (--dir), not to both"};
    if (!keep.max_use) keep.max_use = MaxUse;
    if (!keep.max_age_ms) keep.max_age_ms = MaxAge;
    if (!settings.sync_us) settings.sync_us = Sync;
}

Parsed parseOptions(Task task, int argc, const char* const* argv, const std::vector<ConfigLine>* config) {
    constexpr uint64_t KeptInterval = 10000000; // microseconds
    Parsed parsed;
    auto& settings = parsed.settings;
    try {
        const uint64_t usual = settings.view.interval_us;
        settings.view.interval_us = 0; // not given yet
        for (const auto& line : config ? *config : std::vector<ConfigLine>{}) parseLine(task, line, settings);
        CLI::App app;
        Typed typed;
        addOptions(app, task, typed, settings);
        if (auto why = parseWords(app, {argv + std::min(argc, 2), argv + argc}); !why.empty())
            throw Refusal{std::move(why)};
        if (typed.help) {
            parsed.kind = Parsed::Help;
            parsed.text = helpText(task, app);
        } else {
            interpret(task, app, typed, settings);
            if (!settings.view.interval_us) settings.view.interval_us = settings.dir.empty() ? usual : KeptInterval;
            if (settings.config.empty() || config) settleFolder(settings);
        }
    } catch (const Refusal& refusal) {
        parsed.kind = Parsed::Wrong;
        parsed.text = refusal.why;
    }
    return parsed;
}
