#include "sample/usernames.h"

#include "base/accounts.h"
#include "base/clock.h"
#include "base/door.h"

#include <algorithm>

std::shared_ptr<const std::string> UserNames::of(uint32_t uid) {
    const auto [found, isNew] = users.try_emplace(uid);
    auto& user = found->second;
    if (!isNew) return user.name;
    user.name = std::make_shared<std::string>(std::to_string(uid));
    if (root.isOther()) user.named = true; // its accounts are those of another machine
    else ask(uid, user);
    if (user.ticket) await(uid, user);
    return user.name;
}

void UserNames::ask(uint32_t uid, User& user) {
    user.named = readUserName(uid, *user.name);
    if (user.named || open >= MostOpen) return; // else in a later pass
    user.ticket = helper.ask(userQuestion(uid, Patience));
    open++;
}

// One getent runs at a time: where one is late, nobody waits for those that follow it.
void UserNames::await(uint32_t uid, User& user) {
    if (open > 1 || patience_us <= 0) return;
    const int64_t began = getMonotonic();
    helper.await(began + patience_us);
    const int64_t now = getMonotonic();
    patience_us -= now - began;
    take(uid, user, now);
}

void UserNames::take(uint32_t uid, User& user, int64_t now) {
    Answer answer;
    const auto state = helper.take(user.ticket, answer);
    if (state == Helper::State::Queued || state == Helper::State::Asked) return;
    user.ticket = 0;
    open--;
    const auto name = accountName(answer.text, uid);
    user.named = name.has_value();
    if (name) return *user.name = *name, void();
    constexpr uint8_t Longest = 6;
    user.askAt_us = now + (Again << user.tries);
    if (user.tries < Longest) user.tries++;
}

void UserNames::pass() {
    const int64_t now = getMonotonic();
    if (patienceAt_us)
        patience_us = std::min(std::max(patience_us, int64_t{0}) + (now - patienceAt_us) / Regain, Later);
    patienceAt_us = now;
    if (users.size() > MostKept)
        std::erase_if(users, [](auto& one) { return one.second.name.use_count() == 1 && !one.second.ticket; });
    for (auto& [uid, user] : users) {
        if (user.ticket) take(uid, user, now);
        const bool due = !user.named && !user.ticket && user.askAt_us <= now && user.name.use_count() > 1;
        if (due && open < MostOpen) ask(uid, user);
    }
    if (open) helper.pump();
}
