#include "parse/json.h"

#include "base/numbers.h"

static constexpr int DeepestNesting = 64; // the tools need 6; each level is a call

const Json& Json::operator[](std::string_view name) const {
    static const Json none; // never changes
    for (size_t i = 0; i < names.size(); i++)
        if (names[i] == name) return items[i];
    return none;
}

std::optional<uint64_t> Json::whole() const {
    uint64_t value = 0;
    if (!toNumber(std::string_view(text), value)) return {};
    return value;
}

static void putUtf8(std::string& out, uint32_t code) {
    const auto tail = [&](int shift) { out += static_cast<char>(0x80 | (code >> shift & 0x3f)); };
    if (code < 0x80) return void(out += static_cast<char>(code));
    if (code < 0x800) return out += static_cast<char>(0xc0 | code >> 6), tail(0);
    if (code < 0x10000) return out += static_cast<char>(0xe0 | code >> 12), tail(6), tail(0);
    out += static_cast<char>(0xf0 | code >> 18), tail(12), tail(6), tail(0);
}

namespace {
// The text that is not read yet. Each function takes its part off the front; false when the part is missing.
class Reader {
    std::string_view rest;

    char next() const { return rest.empty() ? '\0' : rest[0]; }
    bool take(std::string_view word) {
        if (!rest.starts_with(word)) return false;
        rest.remove_prefix(word.size());
        return true;
    }
    void blanks() { rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n"), rest.size())); }

    bool digits() {
        const auto count = std::min(rest.find_first_not_of("0123456789"), rest.size());
        rest.remove_prefix(count);
        return count > 0;
    }
    bool number(Json& value) {
        const auto start = rest;
        take("-");
        if (!take("0") && !digits()) return false;
        if (take(".") && !digits()) return false;
        if (take("e") || take("E")) {
            if (!take("+")) take("-");
            if (!digits()) return false;
        }
        value.kind = Json::Number;
        value.text = start.substr(0, start.size() - rest.size());
        return true;
    }

    bool unit(uint32_t& code) { // four hexadecimal digits
        code = 0;
        if (rest.size() < 4 || !toNumber(rest.substr(0, 4), code, 16)) return false;
        rest.remove_prefix(4);
        return true;
    }
    bool escape(std::string& text) {
        static constexpr std::string_view Names = "\"\\/bfnrt", Values = "\"\\/\b\f\n\r\t";
        const auto known = Names.find(next());
        if (rest.empty()) return false;
        rest.remove_prefix(1);
        if (known != Names.npos) return text += Values[known], true;
        if (rest.data()[-1] != 'u') return false;
        uint32_t code = 0, low = 0;
        if (!unit(code) || (code >= 0xdc00 && code < 0xe000)) return false;
        if (code >= 0xd800 && code < 0xdc00) {
            if (!take("\\u") || !unit(low) || low < 0xdc00 || low >= 0xe000) return false;
            code = 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00);
        }
        putUtf8(text, code);
        return true;
    }
    bool string(std::string& text) {
        if (!take("\"")) return false;
        while (!take("\"")) {
            if (rest.empty() || static_cast<unsigned char>(next()) < ' ') return false;
            if (take("\\")) {
                if (!escape(text)) return false;
                continue;
            }
            text += next();
            rest.remove_prefix(1);
        }
        return true;
    }

    // Reads the items between brackets, each with `one`.
    template <typename One> bool list(std::string_view close, const One& one) {
        blanks();
        if (take(close)) return true;
        do {
            blanks();
            if (!one()) return false;
            blanks();
        } while (take(","));
        return take(close);
    }
    bool member(Json& object, int depth) {
        if (!string(object.names.emplace_back())) return false;
        blanks();
        if (!take(":")) return false;
        blanks();
        return value(object.items.emplace_back(), depth);
    }
    bool value(Json& out, int depth) {
        if (depth > DeepestNesting) return false;
        if (take("{")) return out.kind = Json::Object, list("}", [&] { return member(out, depth + 1); });
        if (take("["))
            return out.kind = Json::Array, list("]", [&] { return value(out.items.emplace_back(), depth + 1); });
        if (next() == '"') return out.kind = Json::String, string(out.text);
        if (take("true")) return out.kind = Json::Boolean, out.truth = true, true;
        if (take("false")) return out.kind = Json::Boolean, true;
        if (take("null")) return true;
        return number(out);
    }

public:
    explicit Reader(std::string_view text) : rest(text) {}
    bool whole(Json& out) {
        blanks();
        if (!value(out, 1)) return false;
        blanks();
        return rest.empty();
    }
};
} // namespace

std::optional<Json> parseJson(std::string_view text) {
    std::optional<Json> json(std::in_place);
    if (!Reader(text).whole(*json)) json.reset();
    return json;
}
