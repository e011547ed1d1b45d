#include "view/pattern.h"

#include <algorithm>
#include <cctype>

#include <regex.h>

struct Pattern::Compiled {
    regex_t regex;
    bool made = false;
    Compiled() = default;
    Compiled(const Compiled&) = delete;
    Compiled& operator=(const Compiled&) = delete;
    ~Compiled() {
        if (made) regfree(&regex);
    }
};

void Pattern::Free::operator()(Compiled* made) const { delete made; }

// The C library copies what stands before {N} N times, and of nested ones N times M: a short expression can take all
// memory. Back references can take time without end.
static const char* costly(std::string_view expression) {
    constexpr unsigned MostCopies = 1000;
    unsigned copies = 1, number = 0;
    bool counting = false;
    for (size_t i = 0; i < expression.size(); i++) {
        const char c = expression[i];
        const bool digit = std::isdigit(static_cast<unsigned char>(c)) != 0;
        if (c == '\\' && i + 1 < expression.size()) {
            if (std::isdigit(static_cast<unsigned char>(expression[i + 1]))) return "it refers back to what matched";
            i++;
        } else if (c == '{') {
            counting = true, number = 0;
        } else if (counting && digit) {
            number = std::min(MostCopies + 1, number * 10 + static_cast<unsigned>(c - '0'));
        } else if (counting) {
            copies *= std::max(number, 1U), number = 0;
            if (copies > MostCopies) return "it repeats too much";
            counting = c != '}';
        }
    }
    return nullptr;
}

Pattern::Pattern(std::string_view expression) {
    if (expression.size() > Most) {
        why = "it is longer than " + std::to_string(Most) + " bytes";
        return;
    }
    if (const char* reason = costly(expression)) {
        why = reason;
        return;
    }
    std::unique_ptr<Compiled, Free> made(new Compiled);
    const std::string text(expression.substr(0, expression.find('\0')));
    const int result = regcomp(&made->regex, text.c_str(), REG_EXTENDED | REG_NOSUB);
    if (result == 0) {
        made->made = true;
        compiled = std::move(made);
        return;
    }
    char reason[128];
    regerror(result, nullptr, reason, sizeof reason);
    why = reason;
}

bool Pattern::matches(std::string_view text) const {
    if (!compiled) return false;
    std::string tested(text.substr(0, MostTested));
    std::replace(tested.begin(), tested.end(), '\0', ' ');
    return regexec(&compiled->regex, tested.c_str(), 0, nullptr, 0) == 0;
}
