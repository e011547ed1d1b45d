#include "base/accounts.h"

#include "base/numbers.h"

#include <string>

// Takes the next field of a line whose fields colons separate.
static std::string_view takeField(std::string_view& line) {
    const auto field = line.substr(0, line.find(':'));
    line.remove_prefix(field.size() < line.size() ? field.size() + 1 : line.size());
    return field;
}

namespace {
struct Account {
    std::string_view name;
    uint32_t id = 0;
};
} // namespace

// Takes the next account off the text: root:x:0:0:root:/root:/bin/bash. Lines of another form are skipped.
static std::optional<Account> takeAccount(std::string_view& text) {
    std::string_view line;
    while (takeLine(text, line)) {
        Account account{takeField(line), 0};
        takeField(line); // the password
        if (!account.name.empty() && toNumber(takeField(line), account.id)) return account;
    }
    return {};
}

std::optional<std::string_view> accountName(std::string_view text, uint32_t id) {
    while (const auto account = takeAccount(text))
        if (account->id == id) return account->name;
    return {};
}

std::optional<uint32_t> accountId(std::string_view text, std::string_view name) {
    while (const auto account = takeAccount(text))
        if (account->name == name) return account->id;
    return {};
}

Question userQuestion(uint32_t uid, int64_t patience_us) {
    Question question;
    question.kind = Question::Kind::Tool;
    question.words = {"getent", "passwd", std::to_string(uid)};
    question.patience_us = patience_us;
    question.most = 4096;
    return question;
}
