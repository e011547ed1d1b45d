// Compares packaging/completion.bash with the program: the letters of the option table, the words of -P.
#include "classic/monitor/options.h"
#include "view/areas.h"
#include "wyrt/dispatch.h"
#include "wyrt/options.h"
#include "wyrtlog/options.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// The words of the line "    local NAME='...'".
static std::vector<std::string> getList(const std::string& name) {
    std::ifstream file("packaging/completion.bash");
    const std::string start = "    local " + name + "='";
    std::vector<std::string> list;
    for (std::string line, word; std::getline(file, line);) {
        if (line.rfind(start, 0) != 0) continue;
        std::istringstream words(line.substr(start.size(), line.rfind('\'') - start.size()));
        while (words >> word) list.push_back(word);
    }
    return list;
}

static std::vector<std::string> getLetters(bool valued) {
    std::vector<std::string> letters;
    for (auto& option : Options)
        if ((option.argument != nullptr) == valued) letters.emplace_back(1, option.letter);
    return letters;
}

TEST(Completion, LettersWithoutArgument) { EXPECT_EQ(getList("flags"), getLetters(false)); }

TEST(Completion, LettersWithArgument) { EXPECT_EQ(getList("valued"), getLetters(true)); }

// What a word of -P switches on: each setting that -P can change as 0 or 1.
static std::string getEffect(const std::string& word) {
    const int before[] = {processIO, processTime, processMemory, ShowProcess};
    TRun run;
    ShowProcess = 0;
    for (auto& option : Options)
        if (option.letter == 'P') option.set(run, word.c_str());
    std::string effect;
    for (int* setting : {&processIO, &processTime, &processMemory, &ShowProcess}) effect += *setting ? '1' : '0';
    processIO = before[0], processTime = before[1], processMemory = before[2], ShowProcess = before[3];
    return effect;
}

TEST(Completion, WordsOfProcessFormat) {
    std::vector<std::string> effects;
    for (auto& word : getList("words")) effects.push_back(getEffect(word));
    EXPECT_EQ(effects, (std::vector<std::string>{"1000", "0100", "0010", "0000", "0001"}));
}

// --- Commands of the new form

static std::vector<std::string> areaWords() {
    std::vector<std::string> words;
    for (auto& area : areas()) words.emplace_back(area.word);
    words.emplace_back("all");
    return words;
}

TEST(Completion, Areas) { EXPECT_EQ(getList("areas"), areaWords()); }

TEST(Completion, WordsOfSort) {
    std::string all;
    for (auto& word : areaWords()) all += word + " ";
    const auto words = sortWords(all);
    EXPECT_EQ(getList("sorts"), std::vector<std::string>(words.begin(), words.end()));
}

// The long names in the help of a command, in alphabetic order.
static std::vector<std::string> namesIn(const std::string& help) {
    std::istringstream lines(help);
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        const auto start = line.find("--");
        if (line.starts_with("  -") && start != line.npos)
            names.push_back(line.substr(start, line.find(' ', start) - start));
    }
    std::sort(names.begin(), names.end());
    return names;
}

static std::vector<std::string> longOptions(Task task) {
    const char* arguments[] = {"wyrt", "command", "--help"};
    return namesIn(parseOptions(task, 3, arguments).text);
}

static std::vector<std::string> longOptions(const char* command) {
    return namesIn(parseCommandLine({command, "--help"}, [](const std::string&) { return true; }).help);
}

static std::vector<std::string> listed(std::initializer_list<const char*> lists) {
    std::vector<std::string> names;
    for (auto list : lists)
        for (auto& name : getList(list)) names.push_back(name);
    std::sort(names.begin(), names.end());
    return names;
}

TEST(Completion, OptionsOfCommands) {
    EXPECT_EQ(listed({"tasks", "views", "samples", "lives"}), longOptions(Task::Live));
    EXPECT_EQ(listed({"tasks", "views", "samples", "records"}), longOptions(Task::Record));
    EXPECT_EQ(listed({"tasks"}), longOptions(Task::Check));
}

TEST(Completion, OptionsOfTheCommandsThatReadLogs) {
    EXPECT_EQ(listed({"logs", "views", "shows", "pages", "spans"}), longOptions("show"));
    auto why = listed({"logs", "pages", "spans"});
    why.emplace_back("--limit");
    std::sort(why.begin(), why.end());
    EXPECT_EQ(why, longOptions("why"));
    EXPECT_EQ(listed({"logs", "stats", "spans"}), longOptions("stats"));
    EXPECT_EQ(listed({"logs", "exports", "spans"}), longOptions("export"));
    auto push = listed({"pushes", "spans"});
    push.insert(push.end(), {"--damaged", "--help"});
    std::sort(push.begin(), push.end());
    EXPECT_EQ(push, longOptions("push"));
    EXPECT_EQ(listed({"logs", "infos"}), longOptions("info"));
    auto chart = listed({"logs", "spans"});
    chart.emplace_back("--limit");
    std::sort(chart.begin(), chart.end());
    EXPECT_EQ(chart, longOptions("chart"));
    EXPECT_EQ(listed({"serves"}), longOptions("serve"));
}

TEST(Completion, Commands) {
    const auto words = getList("commands");
    EXPECT_EQ(words.size(), 11U);
    for (auto& word : words) EXPECT_EQ(nearlyCommand(word + "x"), word);
}
