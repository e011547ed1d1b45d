#include "wyrtlog/sheets.h"

#include "base/nearest.h"
#include "base/refusal.h"
#include "record/interval.h"
#include "record/value.h"

#include <algorithm>

static constexpr const char* PerSecond = "_per_s";

static bool isChosen(const Choice& choice, std::string_view tag) {
    return choice.kinds.empty() || std::find(choice.kinds.begin(), choice.kinds.end(), tag) != choice.kinds.end();
}

// --- Columns

static Cast castOf(Form form) {
    return isTextForm(form) || form == Form::Letter ? Cast::Text : isRealForm(form) ? Cast::Real : Cast::Whole;
}

static Range rangeOf(const ConstSlot& slot) {
    // In the order of the types of a slot.
    constexpr Range Ranges[] = {Range::Any, Range::Letter,   Range::Flag,   Range::Unsigned, Range::Signed,
                                Range::Any, Range::Unsigned, Range::Signed, Range::Any};
    static_assert(std::size(Ranges) == std::variant_size_v<ConstSlot>);
    return Ranges[slot.index()];
}

bool fits(const SheetColumn& column, std::string_view cell) {
    if (column.cast == Cast::Seconds) return true; // they are judged with the time of the line
    if (column.cast == Cast::Real) return realOf(cell).has_value();
    switch (column.range) {
    case Range::Flag:
        return cell == "0" || cell == "1";
    case Range::Unsigned:
        return wholeOf(cell).has_value();
    case Range::Signed:
        return signedOf(cell).has_value();
    case Range::Letter: {
        char letter = 0;
        return readCell(cell, letter);
    }
    case Range::Any:
        break;
    }
    if (column.cast == Cast::Text) return true;
    return signedOf(cell) || wholeOf(cell);
}

std::vector<SheetColumn> columnsOf(std::string_view tag) {
    std::vector<SheetColumn> columns{
        {"host", Role::Text, "", Cast::Host},
        {"time", Role::Time, "", Cast::Moment, false, Range::Any, TimePlace},
        {"secs", Role::Elapsed, "s", Cast::Seconds, false, Range::Any, SecondsPlace}
    };
    static const Interval none;
    eachKind(none, [&](const auto& kind, const auto& rows) {
        if (kind.tag != tag) return;
        const typename std::decay_t<decltype(rows)>::Row row{};
        for (auto& member : kind.members)
            columns.push_back({std::string(member.name), member.role, std::string(member.unit), castOf(member.form()),
                               false, rangeOf(member.in(row))});
    });
    return columns;
}

// Of a field that only the head knows: "amount:us".
static SheetColumn columnOf(const std::string& name, std::string_view role) {
    SheetColumn column{name, Role::Text, "", Cast::Text};
    const auto colon = std::min(role.find(':'), role.size());
    const auto word = role.substr(0, colon);
    if (word == "id") column.role = Role::Id;
    if (word == "amount") column.role = Role::Amount;
    if (word == "level") column.role = Role::Level;
    if (word == "amount" || word == "level") {
        column.cast = Cast::Real; // it may have a fraction
        column.unit = role.substr(std::min(colon + 1, role.size()));
    }
    return column;
}

// "read_bytes" is "read_bytes_per_s" then, and has the same unit, per second.
static void makeRates(std::vector<SheetColumn>& columns) {
    for (auto& column : columns) {
        if (column.role != Role::Amount) continue;
        column.name += PerSecond;
        column.perSecond = true;
    }
}

// --- The head

// Names of a later program's kinds and fields become names of files, columns and tables: DISK, read_bytes.
static bool isName(std::string_view name, char first, char last) {
    constexpr size_t Longest = 64;
    const auto fits = [&](char c) { return (c >= first && c <= last) || (c >= '0' && c <= '9') || c == '_'; };
    return !name.empty() && name.size() <= Longest && std::all_of(name.begin(), name.end(), fits);
}
static bool isKindName(std::string_view name) { return isName(name, 'A', 'Z'); }
static bool isFieldName(std::string_view name) {
    for (const char* other : {"record", "host", "time", "secs", "interval"}) // columns that exports add themselves
        if (name == other) return false;
    return isName(name, 'a', 'z');
}

// Null: there are too many.
Sheet* Sheets::sheetOf(std::string_view tag) {
    for (auto& sheet : all)
        if (sheet.tag == tag) return &sheet;
    constexpr size_t Most = 500;
    if (all.size() == Most) return nullptr;
    auto& sheet = all.emplace_back();
    sheet.tag = tag;
    sheet.number = all.size() - 1;
    sheet.all = columnsOf(tag);
    sheet.own = sheet.all.size() > FirstPlace;
    if (choice.rates) makeRates(sheet.all);
    return &sheet;
}

static bool isNamed(const SheetColumn& column, std::string_view name) {
    if (column.name == name) return true;
    return column.perSecond && column.name.starts_with(name) &&
           column.name.size() == name.size() + std::string_view(PerSecond).size();
}

void Sheets::place(Sheet& sheet, const std::vector<std::string>& names, const std::vector<std::string>* roles) const {
    constexpr size_t Most = 500;
    for (size_t i = FirstPlace; i < sheet.all.size(); i++) sheet.all[i].place = NoCell;
    for (size_t i = FirstPlace; i < names.size(); i++) {
        const auto known = std::find_if(sheet.all.begin() + FirstPlace, sheet.all.end(),
                                        [&](auto& column) { return isNamed(column, names[i]); });
        if (known != sheet.all.end()) {
            if (known->place == NoCell) known->place = i;
        } else if (isFieldName(names[i]) && sheet.all.size() < Most) {
            std::vector<SheetColumn> more{columnOf(names[i], roles && i < roles->size() ? (*roles)[i] : "")};
            more[0].place = i;
            if (choice.rates) makeRates(more);
            sheet.all.push_back(std::move(more[0]));
        }
    }
}

// Of all columns those that are asked for.
std::string Sheets::choose(Sheet& sheet) const {
    if (choice.fields.empty()) {
        sheet.columns = sheet.all;
        return {};
    }
    sheet.columns.clear();
    for (auto& name : choice.fields) {
        const auto found =
            std::find_if(sheet.all.begin(), sheet.all.end(), [&](auto& column) { return isNamed(column, name); });
        if (found != sheet.all.end()) {
            sheet.columns.push_back(*found);
            continue;
        }
        std::vector<std::string_view> known;
        for (auto& column : sheet.all) known.push_back(column.name);
        return sheet.tag + " has no field " + inQuotes(name) + "; the nearest is " + std::string(nearest(name, known));
    }
    return {};
}

std::string Sheets::whyNoKind(const LogReader& reader) const {
    std::vector<std::string_view> known;
    static const Interval none;
    eachKind(none, [&](const auto& kind, const auto&) { known.push_back(kind.tag); });
    for (auto& tag : choice.kinds)
        if (std::find(known.begin(), known.end(), tag) == known.end() && !reader.headLines().contains(tag))
            return "there is no kind " + inQuotes(tag) + "; the nearest is " + std::string(nearest(tag, known));
    return {};
}

std::string Sheets::takeHead(const LogReader& reader) {
    if (auto why = whyNoKind(reader); !why.empty()) return why;
    byTag.clear();
    for (auto& [tag, names] : reader.headLines()) {
        if (!isKindName(tag) || tag == "END" || tag == ViewKind.tag || !isChosen(choice, tag)) continue;
        auto* sheet = sheetOf(tag);
        if (!sheet) continue;
        const auto roles = reader.headLines().find(tag + ":role");
        place(*sheet, names, roles == reader.headLines().end() ? nullptr : &roles->second);
        if (auto why = choose(*sheet); !why.empty()) return why;
        byTag.emplace_back(tag, sheet->number);
    }
    return {};
}

std::string Sheets::takeSheets(std::vector<Sheet> sheets) {
    std::vector<std::string_view> known;
    for (auto& sheet : sheets) known.push_back(sheet.tag);
    for (auto& tag : choice.kinds)
        if (std::find(known.begin(), known.end(), tag) == known.end())
            return "there is no kind " + inQuotes(tag) + "; the nearest is " + std::string(nearest(tag, known));
    all.clear(), byTag.clear();
    for (auto& sheet : sheets) {
        if (!isChosen(choice, sheet.tag)) continue;
        if (auto why = choose(sheet); !why.empty()) return why;
        sheet.number = all.size();
        byTag.emplace_back(sheet.tag, sheet.number);
        all.push_back(std::move(sheet));
    }
    return {};
}

const Sheet* Sheets::findAnew(std::string_view tag) {
    for (size_t i = 0; i < byTag.size(); i++)
        if (byTag[i].first == tag) return &all[byTag[last = i].second];
    return nullptr;
}

// --- What was asked for

std::vector<std::string> commaWords(const std::string& list) {
    std::vector<std::string> words;
    for (size_t at = 0; at < list.size();) {
        const auto comma = std::min(list.find(',', at), list.size());
        if (comma > at) words.push_back(list.substr(at, comma - at));
        at = comma + 1;
    }
    return words;
}

std::vector<std::string> kindWords(const std::string& list) {
    auto words = commaWords(list);
    for (auto& kind : words)
        for (char& c : kind)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return words;
}
