#include "base/clock.h"
#include "base/door.h"
#include "base/door/accounts.h"
#include "base/helper.h"

#include <algorithm>
#include <cerrno>
#include <optional>

#ifndef WYRT_STATIC
#include <pwd.h>
#endif

// What getent prints for the user: nothing when there is none. None: it is late.
static std::optional<std::string> askedOf(uint32_t uid, int64_t& patience_us) {
    if (patience_us <= 0) return {};
    const auto began = getMonotonic();
    Question question;
    question.kind = Question::Kind::Tool;
    question.words = {"getent", "passwd", std::to_string(uid)};
    question.patience_us = patience_us;
    question.most = 4096;
    Helper helper;
    const auto ticket = helper.ask(std::move(question));
    helper.await(began + patience_us);
    patience_us -= std::min(getMonotonic() - began, patience_us);
    Answer answer;
    if (helper.take(ticket, answer) == Helper::State::Answered && answer.error != ETIMEDOUT) return answer.text;
    patience_us = 0;
    return {};
}

bool findUserName(const char* file, uint32_t uid, std::string& name, int64_t& patience_us) {
    Contents accounts;
    if (readFile(file, accounts))
        if (const auto found = accountName(accounts.view(), uid)) return name = *found, true;
    const auto printed = askedOf(uid, patience_us);
    errno = printed ? 0 : ETIMEDOUT; // at the end: the helper's processes change it
    const auto found = printed ? accountName(*printed, uid) : std::nullopt;
    if (found) name = *found;
    return found.has_value();
}

bool getUserNameInTime(uint32_t uid, std::string& name, int64_t& patience_us) {
    return findUserName("/etc/passwd", uid, name, patience_us);
}

#ifdef WYRT_STATIC
bool getUserName(uint32_t uid, std::string& name) {
    int64_t patience_us = 500000;
    return getUserNameInTime(uid, name, patience_us);
}
#else
bool getUserName(uint32_t uid, std::string& name) {
    const passwd* account = getpwuid(uid);
    if (account) name = account->pw_name;
    return account != nullptr;
}
#endif
