// Compares docs/records.md with the definitions that print the records, and both with the output of the worlds. Run at
// the top of the tree.
#include "record/classic/kinds.h"
#include "record/classic/reader.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
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

// The types as the document calls them.
static const std::map<Form, std::string> FormNames = {
    {Form::Int, "int"},     {Form::Long, "long"},     {Form::Real0, "real0"}, {Form::Real1, "real1"},
    {Form::Real2, "real2"}, {Form::Real6, "real6"},   {Form::Milli, "milli"}, {Form::Two, "two"},
    {Form::Hex7, "hex7"},   {Form::Letter, "letter"}, {Form::Text, "text"},
};

// --- A reader

static bool parses(std::string_view line) {
    classic::Record record;
    return classic::readPiece(line, record) != classic::Piece::Damaged;
}

// Whether every comma ends a field, but for those in the last one: then there was nothing to choose.
static bool isStrict(const classic::Record& record) {
    return std::all_of(record.texts.begin(), record.texts.end() - !record.texts.empty(),
                       [](auto text) { return text.find(',') == text.npos; });
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

static std::string textOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

static std::vector<TLog> readLogs() {
    std::vector<TLog> logs;
    for (auto& world : fs::directory_iterator("tests/worlds")) {
        if (!fs::exists(world.path() / "stdout")) continue;
        TLog log{world.path().filename(), {}};
        const std::string text = textOf(world.path() / "stdout");
        std::string_view rest = text, piece;
        while (classic::nextPiece(rest, piece))
            if (piece.starts_with('^')) log.records.emplace_back(piece);
        if (!log.records.empty()) logs.push_back(log);
    }
    return logs;
}

TEST(Records, OfTheWorldsFitTheirDefinitions) {
    size_t count = 0;
    for (auto& log : readLogs())
        for (auto& line : log.records) {
            count++;
            EXPECT_TRUE(parses(line)) << log.world << ": " << line;
        }
    EXPECT_GT(count, 1000U);
}

TEST(Records, ExamplesFitAndAreFromWorlds) {
    std::set<std::string> printed, shown, seen;
    for (auto& log : readLogs()) printed.insert(log.records.begin(), log.records.end());
    classic::Record record;
    for (auto& line : readDocument().examples) {
        EXPECT_TRUE(printed.count(line)) << line;
        shown.insert(line);
        const auto piece = classic::readPiece(line, record);
        if (piece == classic::Piece::Header) continue;
        ASSERT_TRUE(piece == classic::Piece::Record && isStrict(record)) << line;
        seen.insert(std::string(record.kind->tag));
    }
    for (auto& header : headers()) EXPECT_TRUE(shown.count(header)) << header;
    // A record without an example must be one that no world has.
    for (auto& line : printed)
        EXPECT_TRUE(classic::readPiece(line, record) != classic::Piece::Record ||
                    seen.count(std::string(record.kind->tag)))
            << line;
}
