#include "base/accounts.h"
#include "base/door.h"

#ifdef WYRT_STATIC
#include "base/clock.h"
#include "base/helper.h"
#else
#include <pwd.h>
#endif

bool readUserName(uint32_t uid, std::string& name) {
    Contents accounts;
    if (!readFile("/etc/passwd", accounts)) return false;
    const auto found = accountName(accounts.view(), uid);
    if (found) name = *found;
    return found.has_value();
}

#ifdef WYRT_STATIC
bool getUserName(uint32_t uid, std::string& name) {
    if (readUserName(uid, name)) return true;
    constexpr int64_t Patience = 500000; // microseconds
    Helper helper;
    const auto ticket = helper.ask(userQuestion(uid, Patience));
    helper.await(getMonotonic() + Patience);
    Answer answer;
    if (helper.take(ticket, answer) != Helper::State::Answered) return false;
    const auto found = accountName(answer.text, uid);
    if (found) name = *found;
    return found.has_value();
}
#else
bool getUserName(uint32_t uid, std::string& name) {
    const passwd* account = getpwuid(uid);
    if (account) name = account->pw_name;
    return account != nullptr;
}
#endif
