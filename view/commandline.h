// What the command lines of all commands have in common.
#pragma once

#include "view/options.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

// Adds those of tableOptions() that `wanted` says; null: all of them.
void addTableOptions(CLI::App& app, TableWords& typed, bool (*wanted)(const TableOption& option) = nullptr);

// Parses the words after the command. Of an option that is repeated the last one counts, where it does not take
// several. Returns why the words are refused; empty: they are not.
std::string parseWords(CLI::App& app, std::vector<std::string> words);
// Why: an option has an empty argument. Empty: none has. It is asked after a look for --help.
std::string whyEmptyArgument(const CLI::App& app);

// Adds the word that a line `option = value` of a file stands for: a long name without its hyphens. `excluded` are
// options that a file cannot have, `others` words that it can have beside the options. Returns why not; empty: it did.
std::string addConfigWord(const CLI::App& app, const std::string& option, const std::string& value,
                          std::span<const std::string_view> excluded, std::span<const std::string_view> others,
                          std::vector<std::string>& words);

// The parts of a help text: the options, a line each; the areas, those of live's default marked; the words of --sort.
std::string optionLines(const CLI::App& app);
std::string areaLines(bool marked);
std::string sortLines();
