// Compares packaging/completion.bash with the program: the letters of the option table, the words of -P.
#include "classic/monitor/options.h"

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
