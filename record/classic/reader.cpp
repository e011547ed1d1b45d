#include "record/classic/reader.h"

#include "record/classic/kinds.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>

// --- Values

static bool isDigits(std::string_view text) { return text.find_first_not_of("0123456789") == text.npos; }

// The whole text as a number, read with from_chars; nothing when a part is left or the number does not fit.
template <typename Number, typename... Base>
static std::optional<Number> numberOf(std::string_view text, Base... base) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base...);
    if (error != std::errc() || stop != end) return {};
    return number;
}

template <typename Int> static std::optional<Value> readWhole(std::string_view text, size_t leastSize) {
    const auto digits = text.substr(text.starts_with('-') ? 1 : 0);
    if (text.size() < leastSize || digits.empty() || !isDigits(digits)) return {};
    const auto number = numberOf<Int>(text);
    return number ? std::optional<Value>(*number) : std::nullopt;
}

static std::optional<Value> readReal(std::string_view text, size_t decimals) {
    constexpr double NaN = std::numeric_limits<double>::quiet_NaN(), Inf = std::numeric_limits<double>::infinity();
    const bool negative = text.starts_with('-');
    const auto digits = text.substr(negative ? 1 : 0);
    if (digits == "nan") return negative ? -NaN : NaN;
    if (digits == "inf") return negative ? -Inf : Inf;
    const auto whole = digits.substr(0, digits.find('.'));
    const auto fraction = digits.substr(std::min(whole.size() + 1, digits.size()));
    const bool hasPoint = whole.size() < digits.size();
    if (whole.empty() || !isDigits(whole) || !isDigits(fraction)) return {};
    if (fraction.size() != decimals || hasPoint != (decimals > 0)) return {};
    const auto number = numberOf<double>(text, std::chars_format::fixed);
    return number ? std::optional<Value>(*number) : std::nullopt;
}

static std::optional<Value> readHex(std::string_view text) {
    constexpr size_t Least = 7, Most = 8; // digits
    if (text.size() < Least || text.size() > Most) return {};
    if (text.find_first_not_of("0123456789ABCDEF") != text.npos) return {};
    const auto number = numberOf<uint32_t>(text, 16);
    return number ? std::optional<Value>(*number) : std::nullopt;
}

std::optional<Value> classic::readValue(Form form, std::string_view text) {
    switch (form) {
    case Form::Int:
        return readWhole<int32_t>(text, 1);
    case Form::Long:
        return readWhole<int64_t>(text, 1);
    case Form::Milli:
        return readWhole<int32_t>(text, 3);
    case Form::Two:
        return readWhole<int32_t>(text, 2);
    case Form::Real0:
        return readReal(text, 0);
    case Form::Real1:
        return readReal(text, 1);
    case Form::Real2:
        return readReal(text, 2);
    case Form::Real6:
        return readReal(text, 6);
    case Form::Hex7:
        return readHex(text);
    case Form::Letter:
        return text.size() == 1 ? std::optional<Value>(text[0]) : std::nullopt;
    case Form::Text:
        return Value(text);
    case Form::Whole:
    case Form::Real:
    case Form::Escaped:
        break; // not in a classic log
    }
    return {};
}

// --- Fields

// Cuts the text of a record at those commas that end a field. Every field but the last one ends at a comma; only texts,
// and the last field, can have commas of their own, and there are `spare` of those in all. So the field number i begins
// after comma i + k with k from 0 to `spare`, and what can follow from there is found from the last field backwards.
namespace {
class Cutter {
    std::span<const Field> fields;
    std::string_view text;
    std::vector<size_t> starts; // where a field can begin: at 0 and after each comma
    size_t spare = 0;
    std::vector<bool> possible; // by field and k: whether the fields from here on fit the rest of the text

    std::string_view between(size_t from, size_t to) const {
        const size_t end = to < starts.size() ? starts[to] - 1 : text.size();
        return text.substr(starts[from], end - starts[from]);
    }
    size_t place(size_t field, size_t k) const { return field * (spare + 1) + k; }

    void findPossible() {
        const size_t last = fields.size() - 1;
        possible.assign(fields.size() * (spare + 1), false);
        for (size_t k = 0; k <= spare; k++) possible[place(last, k)] = isValue(last, between(last + k, starts.size()));
        for (size_t i = last; i-- > 0;) {
            bool later = false; // with a longer text
            for (size_t k = spare + 1; k-- > 0;) {
                const bool next = possible[place(i + 1, k)];
                later = next || later;
                if (fields[i].form == Form::Text) possible[place(i, k)] = later;
                else possible[place(i, k)] = next && isValue(i, between(i + k, i + k + 1));
            }
        }
    }
    bool isValue(size_t field, std::string_view value) const {
        return classic::readValue(fields[field].form, value).has_value();
    }

public:
    Cutter(std::span<const Field> list, std::string_view all) : fields(list), text(all), starts{0} {
        for (size_t at = 0; (at = text.find(',', at)) != text.npos;) starts.push_back(++at);
    }

    bool cut(std::vector<std::string_view>& texts) {
        if (starts.size() < fields.size()) return false;
        spare = starts.size() - fields.size();
        findPossible();
        if (!possible[place(0, 0)]) return false;
        size_t from = 0;
        for (size_t i = 0; i + 1 < fields.size(); i++) {
            size_t to = from + 1;
            while (!possible[place(i + 1, to - i - 1)]) to++; // a longer text
            texts.push_back(between(from, to));
            from = to;
        }
        texts.push_back(between(from, starts.size()));
        return true;
    }
};
} // namespace

// --- Pieces

static char lower(char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); }

// Whether a line begins with '^', the tag and the end of a tag. `header`: the tag in small letters.
static bool hasTag(std::string_view line, std::string_view tag, bool header) {
    const size_t end = 1 + tag.size();
    if (line.size() <= end || line[0] != '^' || (line[end] != ',' && line[end] != '$')) return false;
    return std::equal(tag.begin(), tag.end(), line.begin() + 1, [header](char a, char b) {
        return (header ? lower(a) : a) == b;
    });
}

// The kind of a record; of tags that begin alike the longest. Null: none.
static const Kind* kindOf(std::string_view line) {
    const Kind* found = nullptr;
    for (auto* kind : classic::Kinds)
        if (hasTag(line, kind->tag, false) && (!found || kind->tag.size() > found->tag.size())) found = kind;
    return found;
}

// The kind of a header. Null: none.
static const Kind* kindOfHeader(std::string_view line) {
    for (auto* kind : classic::Kinds)
        if (kind->announced && hasTag(line, kind->tag, true)) return kind;
    return nullptr;
}

static bool isHeader(std::string_view piece, const Kind& kind) {
    piece.remove_prefix(1 + kind.tag.size());
    for (auto& field : kind.fields.first(kind.announced)) {
        if (!piece.starts_with(',') || !piece.substr(1).starts_with(field.name)) return false;
        piece.remove_prefix(1 + field.name.size());
    }
    return piece == "$";
}

static std::string_view takeLine(std::string_view& log) {
    const auto line = log.substr(0, log.find('\n'));
    log.remove_prefix(std::min(line.size() + 1, log.size()));
    return line;
}

bool classic::nextPiece(std::string_view& log, std::string_view& piece) {
    if (log.empty()) return false;
    piece = takeLine(log);
    if (!kindOf(piece)) return true;
    while (!piece.ends_with('$') && !log.empty() && !kindOf(log.substr(0, log.find('\n')))) {
        const auto more = takeLine(log);
        piece = {piece.data(), piece.size() + 1 + more.size()};
    }
    return true;
}

classic::Piece classic::readPiece(std::string_view piece, Record& record) {
    record.texts.clear();
    record.kind = kindOfHeader(piece);
    if (record.kind) return isHeader(piece, *record.kind) ? Piece::Header : Piece::Damaged;
    record.kind = kindOf(piece);
    if (!record.kind) return piece.starts_with('^') ? Piece::Damaged : Piece::Message;
    const size_t start = 1 + record.kind->tag.size();
    if (!piece.ends_with('$')) return Piece::Damaged;
    const auto text = piece.substr(start, piece.size() - 1 - start);
    if (record.kind->fields.empty()) return text.empty() ? Piece::Record : Piece::Damaged;
    const bool good = text.starts_with(',') && Cutter(record.kind->fields, text.substr(1)).cut(record.texts);
    return good ? Piece::Record : Piece::Damaged;
}
