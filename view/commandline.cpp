#include "view/commandline.h"

#include "base/masking.h"
#include "base/nearest.h"
#include "view/areas.h"

#include <CLI/CLI.hpp>

#include <algorithm>

void addTableOptions(CLI::App& app, TableWords& typed, bool (*wanted)(const TableOption& option)) {
    for (const auto& option : tableOptions()) {
        if (wanted && !wanted(option)) continue;
        if (!option.text) {
            app.add_flag(option.names, typed.*option.flag, option.help);
            continue;
        }
        auto* added = app.add_option(option.names, typed.*option.text, option.help)->type_name(option.type);
        if (option.repeated) added->multi_option_policy(CLI::MultiOptionPolicy::Join)->delimiter(' ');
    }
}

// No option has this name.
static std::string whyNoOption(const CLI::App& app, const std::string& word) {
    std::vector<std::string> names;
    for (const auto* option : app.get_options()) {
        for (const auto& name : option->get_snames()) names.push_back("-" + name);
        for (const auto& name : option->get_lnames()) names.push_back("--" + name);
    }
    const std::vector<std::string_view> known(names.begin(), names.end());
    return "there is no option " + inQuotes(word) + "; the nearest is " + std::string(nearest(word, known));
}

static bool isFlag(const CLI::Option& option) { return option.get_items_expected_max() == 0; }

// Whether the word after this one is its value: --user, -u, and -xu where -x is a flag.
static bool takesNext(const CLI::App& app, const std::string& word) {
    const CLI::Option* option = nullptr;
    if (word.starts_with("--")) {
        option = app.get_option_no_throw(word);
        return option && !isFlag(*option);
    }
    for (size_t at = 1; word.starts_with('-') && at < word.size(); at++) {
        option = app.get_option_no_throw(std::string("-") + word[at]);
        if (!option || !isFlag(*option)) return option && at + 1 == word.size();
    }
    return false;
}

// The library takes `--user=` for `--user`, whose value is the next word. Makes two words of it, the second one empty.
// Returns why a word is refused: a flag cannot be empty.
static std::string splitEmpty(const CLI::App& app, std::vector<std::string>& words) {
    for (size_t i = 0; i < words.size() && words[i] != "--"; i++) {
        auto name = words[i];
        if (takesNext(app, name)) {
            i++;
            continue;
        }
        if (!name.starts_with("--") || name.find('=') != name.size() - 1) continue;
        name.pop_back();
        const auto* option = app.get_option_no_throw(name);
        if (!option) continue;
        if (isFlag(*option)) return name + " takes no empty argument";
        words[i] = name;
        words.insert(words.begin() + static_cast<ptrdiff_t>(++i), "");
    }
    return {};
}

std::string parseWords(CLI::App& app, std::vector<std::string> words) {
    if (auto why = splitEmpty(app, words); !why.empty()) return why;
    for (auto* option : app.get_options())
        if (!option->get_positional() && option->get_multi_option_policy() == CLI::MultiOptionPolicy::Throw)
            option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    try {
        app.parse(std::vector<std::string>(words.rbegin(), words.rend())); // the last word first, as it takes them
    } catch (const CLI::ExtrasError&) {
        return whyNoOption(app, app.remaining().front());
    } catch (const CLI::ArgumentMismatch& error) {
        const std::string text = error.what(), name = text.substr(0, text.find(':'));
        const auto* option = app.get_option_no_throw(name);
        return option ? name + " needs a value: " + option->get_type_name() : oneLine(text);
    } catch (const CLI::Error& error) {
        return oneLine(error.what());
    }
    return {};
}

std::string whyEmptyArgument(const CLI::App& app) {
    for (const auto* option : app.get_options())
        if (!option->get_positional() && option->count() && option->get_items_expected_max() > 0 &&
            option->results().back().empty())
            return option->get_name(false, true) + " has an empty argument";
    return {};
}

std::string addConfigWord(const CLI::App& app, const std::string& option, const std::string& value,
                          std::span<const std::string_view> excluded, std::span<const std::string_view> others,
                          std::vector<std::string>& words) {
    std::vector<std::string> names(others.begin(), others.end());
    for (const auto* one : app.get_options())
        for (const auto& name : one->get_lnames())
            if (std::find(excluded.begin(), excluded.end(), name) == excluded.end()) names.push_back(name);
    if (std::find(names.begin(), names.end(), option) == names.end()) {
        const std::vector<std::string_view> known(names.begin(), names.end());
        return "there is no option " + inQuotes(option) + "; the nearest is " + std::string(nearest(option, known));
    }
    const bool flag = isFlag(*app.get_option("--" + option));
    if (!flag && value.empty()) return option + " has no value";
    words.push_back("--" + option + (flag && value.empty() ? "" : "=" + value));
    return {};
}

// --- Help

static void addLine(std::string left, std::string_view right, std::string& text) {
    left.resize(std::max<size_t>(left.size() + 1, 26), ' ');
    text.append("  ").append(left).append(right).append("\n");
}

std::string optionLines(const CLI::App& app) {
    std::string text;
    for (const auto* option : app.get_options())
        if (!option->get_positional())
            addLine(option->get_name(false, true) + " " + option->get_type_name(), option->get_description(), text);
    return text;
}

std::string areaLines(bool marked) {
    std::string text;
    for (const auto& area : areas())
        addLine(std::string(area.word) + (marked && area.byDefault ? " *" : ""), area.help, text);
    addLine("all", "every area", text);
    return text;
}

std::string sortLines() {
    std::string text;
    for (const auto& area : areas()) {
        if (!area.sorts) continue;
        std::string words;
        for (const auto word : area.sorts()) words.append(words.empty() ? "" : " ").append(word);
        addLine(std::string(area.word), words, text);
    }
    return text;
}
