// Compares docs/records.md with the definitions that print the records, and both with the output of the worlds. Run at
// the top of the tree.
#include "record/classic/kinds.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

static Strings linesOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    Strings lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

// --- The types

static const std::map<Form, std::string> FormNames = {
    {Form::Int, "int"},     {Form::Long, "long"},     {Form::Real0, "real0"}, {Form::Real1, "real1"},
    {Form::Real2, "real2"}, {Form::Real6, "real6"},   {Form::Milli, "milli"}, {Form::Two, "two"},
    {Form::Hex7, "hex7"},   {Form::Letter, "letter"}, {Form::Text, "text"},
};

static size_t digitsIn(std::string_view text) {
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); }));
}
static std::string_view unsign(std::string_view text) { return text.substr(text.starts_with('-') ? 1 : 0); }

// A whole number with at least `least` digits, from `lowest` to `highest`.
static bool isWhole(std::string_view text, size_t least, int64_t lowest, int64_t highest) {
    const auto digits = unsign(text);
    if (digits.size() < least || digitsIn(digits) != digits.size()) return false;
    try {
        const int64_t number = std::stoll(std::string(text));
        return number >= lowest && number <= highest;
    } catch (const std::out_of_range&) {
        return false;
    }
}

static bool isReal(std::string_view text, size_t decimals) {
    const auto digits = unsign(text);
    if (digits == "nan" || digits == "inf") return true;
    const auto point = std::min(digits.find('.'), digits.size());
    const auto behind = digits.size() - point;
    return point > 0 && digitsIn(digits) == digits.size() - (decimals ? 1 : 0) &&
           behind == (decimals ? decimals + 1 : 0);
}

static bool isHex(std::string_view text) {
    return text.size() >= 7 && text.find_first_not_of("0123456789ABCDEF") == text.npos;
}

static bool is(Form form, std::string_view text) {
    switch (form) {
    case Form::Int:
        return isWhole(text, 1, INT32_MIN, INT32_MAX);
    case Form::Long:
        return isWhole(text, 1, INT64_MIN, INT64_MAX);
    case Form::Real0:
        return isReal(text, 0);
    case Form::Real1:
        return isReal(text, 1);
    case Form::Real2:
        return isReal(text, 2);
    case Form::Real6:
        return isReal(text, 6);
    case Form::Milli:
        return isWhole(text, 3, INT32_MIN, INT32_MAX);
    case Form::Two:
        return isWhole(text, 2, INT32_MIN, INT32_MAX);
    case Form::Hex7:
        return isHex(text);
    case Form::Letter:
        return text.size() == 1;
    case Form::Text:
        return true;
    default:
        return false;
    }
}

TEST(Records, TypesAsTheParserKnowsThem) {
    for (auto [form, text] : std::vector<std::pair<Form, const char*>>{{Form::Int, "-2147483648"},
                                                                       {Form::Long, "-9223372036854775808"},
                                                                       {Form::Real0, "12"},
                                                                       {Form::Real2, "-0.25"},
                                                                       {Form::Real2, "-nan"},
                                                                       {Form::Real6, "0.300000"},
                                                                       {Form::Milli, "007"},
                                                                       {Form::Two, "07"},
                                                                       {Form::Hex7, "0102001"},
                                                                       {Form::Hex7, "7777EEEE"},
                                                                       {Form::Letter, ","}})
        EXPECT_TRUE(is(form, text)) << FormNames.at(form) << " " << text;
    for (auto [form, text] : std::vector<std::pair<Form, const char*>>{{Form::Int, "2147483648"},
                                                                       {Form::Int, ""},
                                                                       {Form::Int, "1.0"},
                                                                       {Form::Int, "-"},
                                                                       {Form::Int, "0x1"},
                                                                       {Form::Long, "9223372036854775808"},
                                                                       {Form::Real0, "1.0"},
                                                                       {Form::Real2, "1.5"},
                                                                       {Form::Real2, "1"},
                                                                       {Form::Real2, ".25"},
                                                                       {Form::Real2, "1.2.5"},
                                                                       {Form::Real2, "nano"},
                                                                       {Form::Milli, "07"},
                                                                       {Form::Hex7, "12345"},
                                                                       {Form::Hex7, "010200g"},
                                                                       {Form::Letter, ""},
                                                                       {Form::Letter, "ab"}})
        EXPECT_FALSE(is(form, text)) << FormNames.at(form) << " " << text;
}

// --- A reader

// The definition for the tag of a line; the longest if several tags match. Null: none.
static const Kind* recordOf(std::string_view line) {
    const Kind* found = nullptr;
    for (auto* record : classic::Kinds) {
        const size_t end = 1 + record->tag.size();
        if (line.size() > end && line.substr(1).starts_with(record->tag) && (line[end] == ',' || line[end] == '$') &&
            (!found || record->tag.size() > found->tag.size()))
            found = record;
    }
    return found;
}

// Whether a text can be split at commas into values for the fields. `strict`: it is split at every comma, and only the
// last field may contain commas.
static bool fits(std::span<const Field> fields, std::string_view text, bool strict) {
    const Form form = fields[0].form;
    if (fields.size() == 1) return is(form, text);
    for (size_t at = text.find(','); at != text.npos; at = text.find(',', at + 1)) {
        if (is(form, text.substr(0, at)) && fits(fields.subspan(1), text.substr(at + 1), strict)) return true;
        if (strict || form != Form::Text) return false;
    }
    return false;
}

static bool parses(const Kind& record, std::string_view line, bool strict) {
    if (!line.starts_with('^') || !line.ends_with('$')) return false;
    const auto text = line.substr(1 + record.tag.size(), line.size() - 2 - record.tag.size());
    if (record.fields.empty()) return text.empty();
    return text.starts_with(',') && fits(record.fields, text.substr(1), strict);
}

// The header record that names the fields; empty: there is none.
static std::string headerOf(const Kind& record) {
    if (record.announced == 0) return {};
    std::string header = "^";
    for (char c : record.tag) header += static_cast<char>(std::tolower(c));
    for (size_t i = 0; i < record.announced; i++) header.append(",").append(record.fields[i].name);
    return header + "$";
}

static std::set<std::string> headers() {
    std::set<std::string> all;
    for (auto* record : classic::Kinds)
        if (record->announced) all.insert(headerOf(*record));
    return all;
}

TEST(Records, AreCutAtCommas) {
    const auto parsed = [](std::string_view line, bool strict = true) {
        const auto* record = recordOf(line);
        return record && parses(*record, line, strict);
    };
    EXPECT_TRUE(parsed("^END_OF_INTERVAL$"));
    EXPECT_TRUE(parsed("^info,Uptime,1,01,01,01$"));
    EXPECT_TRUE(parsed("^SOCKINFO,1900,server,7001$"));
    EXPECT_TRUE(parsed("^info,nif,lo,127.0.0.1,255.0.0.0,$"));
    EXPECT_TRUE(parsed("^FDINFO,1,a,1,0.00,0102001,/a,b$c\nd$")); // all of it belongs to the last field
    EXPECT_FALSE(parsed("^SOCKINFO,1900,ser,ver,7001$"));
    EXPECT_TRUE(parsed("^SOCKINFO,1900,ser,ver,7001$", false));
    EXPECT_FALSE(parsed("^SOCKINFO,1900,server$", false));
    EXPECT_FALSE(parsed("^SOCKINFO,1900,server,x$", false));
    EXPECT_FALSE(parsed("^SOCKINFO,1900,server,7001", false));
    EXPECT_FALSE(parsed("^END_OF_INTERVAL,1$", false));
    EXPECT_FALSE(parsed("^END_OF_INTERVALS$", false));
    EXPECT_FALSE(parsed("^info,Nothing,1$", false));
}

TEST(Records, TagsAndFieldsHaveNames) {
    std::set<std::string_view> tags;
    for (auto* record : classic::Kinds) {
        EXPECT_TRUE(tags.insert(record->tag).second) << record->tag;
        EXPECT_LE(record->announced, record->fields.size()) << record->tag;
        for (auto& field : record->fields) EXPECT_NE(field.name, "") << record->tag;
    }
}

// --- The document

namespace {
struct TDocument {
    Strings records;  // "^TAG", each followed by its fields, "  key type unit"
    Strings examples; // the lines of its code blocks, including header records
    Strings bare;     // fields without a meaning
};
} // namespace

// The cells of a table's row.
static Strings cellsOf(const std::string& row) {
    Strings cells;
    for (size_t at = 1, end; (end = row.find('|', at)) != row.npos; at = end + 1) {
        auto cell = row.substr(at, end - at);
        cell.erase(0, std::min(cell.find_first_not_of(' '), cell.size()));
        while (cell.ends_with(' ')) cell.pop_back();
        cells.push_back(cell);
    }
    return cells;
}

// The tags in a heading or a cell: "`^LVMVG`, `^LVMLV`".
static Strings tagsIn(const std::string& text) {
    Strings tags;
    for (size_t at = 0; (at = text.find("`^", at)) != text.npos; at++)
        tags.push_back(text.substr(at + 1, text.find('`', at + 1) - at - 1));
    return tags;
}

static std::string fieldLine(std::string_view key, std::string_view type, std::string_view unit) {
    return std::string("  ").append(key).append(" ").append(type).append(" ").append(unit);
}

// A heading with tags is followed by a table with the fields of all these tags. In other tables a tag in the first cell
// of a row begins a record.
static TDocument readDocument() {
    TDocument document;
    Strings tags, fields;
    size_t lead = 0; // cells before the field: 1 where rows begin with tags, npos outside of a table of fields
    bool block = false;
    const auto finish = [&] {
        for (auto& tag : tags) {
            document.records.push_back(tag);
            document.records.insert(document.records.end(), fields.begin(), fields.end());
        }
        tags.clear(), fields.clear();
    };
    for (auto& line : linesOf("docs/records.md")) {
        if (line.starts_with("```")) block = !block;
        else if (block) document.examples.push_back(line);
        else if (line.starts_with("#")) finish(), tags = tagsIn(line);
        else if (!line.starts_with("|")) lead = std::string::npos;
        else if (line.starts_with("| field | type |")) lead = 0;
        else if (line.starts_with("| record | field |")) lead = 1;
        else if (lead <= 1 && !line.starts_with("| --- |")) {
            const auto cells = cellsOf(line);
            if (cells.size() != lead + 4) {
                ADD_FAILURE() << line;
                continue;
            }
            if (lead == 1 && !cells[0].empty()) finish(), tags = tagsIn(cells[0]);
            fields.push_back(fieldLine(cells[lead], cells[lead + 1], cells[lead + 2]));
            if (cells[lead + 3].empty()) document.bare.push_back(line);
        }
    }
    finish();
    return document;
}

static Strings definedRecords() {
    Strings defined;
    for (auto* record : classic::Kinds) {
        defined.push_back(std::string("^").append(record->tag));
        for (auto& field : record->fields)
            defined.push_back(fieldLine(field.name, FormNames.at(field.form), field.unit));
    }
    return defined;
}

static std::string joined(const Strings& lines) {
    std::string text;
    for (auto& line : lines) text += line + "\n";
    return text;
}

TEST(Records, AreInTheDocumentFieldByField) {
    const auto document = readDocument();
    EXPECT_EQ(joined(document.records), joined(definedRecords()));
    EXPECT_EQ(joined(document.bare), "");
}

// --- What the worlds print

namespace {
struct TLog {
    std::string world;
    Strings records; // including newlines within them
};
} // namespace

static std::vector<TLog> readLogs() {
    std::vector<TLog> logs;
    for (auto& world : fs::directory_iterator("tests/worlds")) {
        if (!fs::exists(world.path() / "stdout")) continue;
        TLog log{world.path().filename(), {}};
        bool open = false; // the record before has not ended
        for (auto& line : linesOf(world.path() / "stdout")) {
            if (open) log.records.back().append("\n").append(line);
            else if (line.starts_with('^')) log.records.push_back(line);
            else continue;
            open = !line.ends_with('$');
        }
        if (!log.records.empty()) logs.push_back(log);
    }
    return logs;
}

TEST(Records, OfTheWorldsFitTheirDefinitions) {
    const auto named = headers();
    size_t count = 0;
    for (auto& log : readLogs())
        for (auto& line : log.records) {
            count++;
            if (named.count(line)) continue;
            const auto* record = recordOf(line);
            EXPECT_TRUE(record && parses(*record, line, false)) << log.world << ": " << line;
        }
    EXPECT_GT(count, 1000U);
}

TEST(Records, ExamplesFitAndAreFromWorlds) {
    std::set<std::string> printed, shown, seen;
    for (auto& log : readLogs()) printed.insert(log.records.begin(), log.records.end());
    const auto named = headers();
    for (auto& line : readDocument().examples) {
        EXPECT_TRUE(printed.count(line)) << line;
        shown.insert(line);
        if (named.count(line)) continue;
        const auto* record = recordOf(line);
        ASSERT_TRUE(record && parses(*record, line, true)) << line;
        seen.insert(std::string(record->tag));
    }
    for (auto& header : named) EXPECT_TRUE(shown.count(header)) << header;
    // A record without an example must be one that no world has.
    for (auto& line : printed) {
        const auto* record = recordOf(line);
        EXPECT_TRUE(!record || seen.count(std::string(record->tag))) << line;
    }
}
