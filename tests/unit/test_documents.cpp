// Compares the documents with the program where that is possible.
#include "classic/monitor/options.h"
#include "record/classic/kinds.h"
#include "record/interval.h"
#include "tests/unit/documents.h"
#include "tests/unit/made.h"
#include "view/areas.h"
#include "view/options.h"
#include "wyrt/dispatch.h"
#include "wyrt/options.h"
#include "wyrtlog/options.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

static std::string manualLine(const TOption& option) {
    const std::string letter(1, option.letter);
    return option.argument ? ".BI \\-" + letter + " \" " + option.argument + "\"\n" : ".B \\-" + letter + "\n";
}

TEST(Documents, TheManualHasEveryOption) {
    const auto manual = textOf("docs/wyrt.1");
    const auto start = manual.find("\n.SH OPTIONS\n"), end = manual.find("\n.SH OUTPUT\n");
    ASSERT_TRUE(start < end && end != manual.npos);
    const auto options = manual.substr(start, end - start);
    for (auto& option : Options)
        EXPECT_NE(options.find(".TP\n" + manualLine(option)), options.npos) << "-" << option.letter;
    size_t entries = 0;
    for (size_t at = 0; (at = options.find("\n.TP\n", at)) != options.npos; at++) entries++;
    EXPECT_EQ(entries, Options.size()); // and no others
}

TEST(Documents, TheManualHasEverySection) {
    const auto manual = textOf("docs/wyrt.1");
    size_t at = 0;
    for (auto section : {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "OUTPUT", "RECORDS", "FILES", "LIMITATIONS",
                         "SECURITY", "EXAMPLES"}) {
        at = manual.find("\n.SH " + std::string(section) + "\n", at);
        ASSERT_NE(at, manual.npos) << section;
    }
    EXPECT_LT(manual.find(Version), manual.find('\n')); // in its first line
}

TEST(Documents, TheManualHasEveryRecordOfIntervals) {
    const auto manual = textOf("docs/wyrt.1");
    const auto start = manual.find("\n.SH RECORDS\n"), end = manual.find("\n.SH FILES\n");
    ASSERT_TRUE(start < end && end != manual.npos);
    std::istringstream words(manual.substr(start, end - start));
    std::set<std::string> told;
    for (std::string word; words >> word;) told.insert(word.substr(0, word.find_last_not_of(".,:") + 1));
    size_t tags = 0;
    for (auto* kind : classic::Kinds) {
        const std::string tag(kind->tag);
        if (std::any_of(tag.begin(), tag.end(), [](unsigned char c) { return std::islower(c); })) continue;
        if (tag == "CPROC" || tag == "TPROC") continue; // never in a log: -k does nothing there
        tags++;
        EXPECT_TRUE(told.count(tag)) << "docs/wyrt.1 lacks " << tag;
    }
    EXPECT_GT(tags, 15U);
}

// --- The new form

// The text of a section of a manual page.
static std::string sectionOf(const fs::path& manual, const std::string& name) {
    const auto text = textOf(manual);
    const auto start = text.find("\n.SH " + name + "\n");
    EXPECT_NE(start, text.npos) << manual << " lacks " << name;
    return start == text.npos ? std::string() : text.substr(start, text.find("\n.SH ", start + 1) - start) + "\n";
}

// The lines that follow a .TP: what the entries of a list are about.
static std::multiset<std::string> entriesOf(const std::string& section) {
    std::multiset<std::string> entries;
    std::istringstream lines(section);
    bool next = false;
    for (std::string line; std::getline(lines, line); next = line == ".TP")
        if (next) entries.insert(line);
    return entries;
}

TEST(Documents, TheManualHasEveryArea) {
    std::multiset<std::string> expected{".B all"};
    for (auto& area : areas()) expected.insert(".B " + std::string(area.word) + (area.byDefault ? " *" : ""));
    EXPECT_EQ(entriesOf(sectionOf("docs/wyrt-live.1", "AREAS")), expected);
}

// disk: busy, read, write.
TEST(Documents, TheManualsHaveTheWordsOfSort) {
    for (auto manual : {"docs/wyrt-live.1", "docs/wyrt-show.1"}) {
        const auto options = sectionOf(manual, "OPTIONS");
        for (auto& area : areas()) {
            std::string line;
            for (auto word : sortWords(area.word))
                line.append(line.empty() ? "\n" + std::string(area.word) + ": " : ", ").append(word);
            if (line.empty()) continue;
            EXPECT_NE(options.find(line + ".\n"), options.npos) << manual << " lacks" << line;
        }
    }
}

// "-i,--interval TIME" as an entry: .BI "\-i, \-\-interval " TIME
static std::string entryOf(const std::string& option) {
    const auto blank = std::min(option.find(' '), option.size());
    std::string name, argument = option.substr(std::min(blank + 1, option.size()));
    for (const char c : option.substr(0, blank)) name += c == '-' ? "\\-" : c == ',' ? ", " : std::string(1, c);
    return argument.empty() ? ".B \"" + name + "\"" : ".BI \"" + name + " \" " + argument;
}

// The entries of the options in a help text: "  -c,--count N              ends after N intervals"
static void addEntries(const std::string& help, std::set<std::string>& entries) {
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("  -")) continue;
        std::istringstream words(line.substr(0, 27));
        std::string name, argument;
        words >> name >> argument;
        entries.insert(entryOf(argument.empty() ? name : name + " " + argument));
    }
}

TEST(Documents, TheManualHasEveryOptionOfLiveRecordAndCheck) {
    std::set<std::string> expected;
    for (auto task : {Task::Live, Task::Record, Task::Check}) {
        const char* arguments[] = {"wyrt", "command", "--help"};
        addEntries(parseOptions(task, 3, arguments).text, expected);
    }
    EXPECT_GT(expected.size(), 10U);
    const auto entries = entriesOf(sectionOf("docs/wyrt-live.1", "OPTIONS"));
    EXPECT_EQ(entries, std::multiset<std::string>(expected.begin(), expected.end()));
}

TEST(Documents, TheManualsHaveEveryOptionOfTheirCommands) {
    const struct {
        const char* manual;
        std::vector<const char*> commands;
    } pages[] = {
        {"docs/wyrt-show.1", {"show", "why", "info"}},
        {"docs/wyrt-stats.1", {"stats"}},
        {"docs/wyrt-export.1", {"export"}},
        {"docs/wyrt-push.1", {"push"}},
        {"docs/wyrt-chart.1", {"chart"}},
        {"docs/wyrt-serve.1", {"serve"}},
    };
    for (auto& page : pages) {
        std::set<std::string> expected;
        for (auto command : page.commands)
            addEntries(parseCommandLine({command, "--help"}, [](const std::string&) { return true; }).help, expected);
        EXPECT_GT(expected.size(), 4U) << page.manual;
        const auto entries = entriesOf(sectionOf(page.manual, "OPTIONS"));
        EXPECT_EQ(entries, std::multiset<std::string>(expected.begin(), expected.end())) << page.manual;
    }
}

// "  show     the tables of a log ...": each word of the list of commands.
TEST(Documents, TheManualOfTheClassicFormNamesEveryCommand) {
    std::vector<std::string> arguments{"wyrt", "--help"};
    std::vector<char*> argv{arguments[0].data(), arguments[1].data(), nullptr};
    std::istringstream help(printed([&] { wyrtMain(2, argv.data(), nullptr); }));
    std::vector<std::string> words;
    for (std::string line; std::getline(help, line);)
        if (line.starts_with("  ")) words.push_back(line.substr(2, line.find(' ', 2) - 2));
    ASSERT_GT(words.size(), 2U);
    std::string list = words[0];
    for (size_t i = 1; i < words.size(); i++) list += (i + 1 < words.size() ? R"( ", " )" : R"( " or " )") + words[i];
    EXPECT_NE(sectionOf("docs/wyrt.1", "DESCRIPTION").find("\n.BR " + list + "\n"), std::string::npos) << list;
}

// In such a line all words after the full stop would be set in turns of two fonts and without blanks.
TEST(Documents, TheManualsHaveNoSentenceInALineOfTwoFonts) {
    for (auto& entry : fs::directory_iterator("docs")) {
        const auto extension = entry.path().extension().string();
        if (extension.size() != 2 || !std::isdigit(static_cast<unsigned char>(extension[1]))) continue;
        std::istringstream lines(textOf(entry.path()));
        for (std::string line; std::getline(lines, line);)
            for (std::string_view macro : {".BR ", ".RB ", ".IR ", ".RI ", ".BI ", ".IB "}) {
                const bool glued = line.starts_with(macro) && line.find(" . ") != line.npos;
                EXPECT_FALSE(glued) << entry.path() << ": " << line;
            }
    }
}

TEST(Documents, TheManualHasEveryKindOfTheLog) {
    std::multiset<std::string> expected;
    const Interval none;
    eachKind(none, [&](const auto& kind, const auto&) { expected.insert(".B " + std::string(kind.tag)); });
    EXPECT_EQ(entriesOf(sectionOf("docs/wyrt-format.5", "KINDS")), expected);
    const auto format = sectionOf("docs/wyrt-format.5", "DESCRIPTION");
    for (auto word : {".B VIEW", ".B END", ".BR time \", \" elapsed", ".B id", ".B text", ".B amount", ".B level"})
        EXPECT_NE(format.find(std::string("\n") + word + "\n"), format.npos) << word;
}

// The map names every folder that has sources, and no folder that does not exist.
TEST(Documents, TheMapHasEveryFolder) {
    std::set<std::string> named;
    std::istringstream quoted(textOf("docs/ARCHITECTURE.md"));
    bool inside = false;
    for (std::string part; std::getline(quoted, part, '`'); inside = !inside)
        if (inside && part.ends_with("/") && part.find(' ') == part.npos) {
            EXPECT_TRUE(fs::exists(part)) << "docs/ARCHITECTURE.md names " << part;
            named.insert(part);
        }
    for (auto& source : productSources()) {
        const std::string folder = source.parent_path().string() + "/";
        EXPECT_TRUE(named.count(folder)) << "docs/ARCHITECTURE.md lacks " << folder;
    }
}
