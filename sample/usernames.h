// The names of users: what /etc/passwd has, else what getent finds, which may ask a directory service. That is waited
// for briefly. Until it answers the number stands for the name.
#pragma once

#include "base/helper.h"
#include "base/root.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

class UserNames {
    struct User {
        std::shared_ptr<std::string> name;
        Helper::Ticket ticket = 0; // of the question for it; 0: nobody is asked
        bool named = false;        // else `name` is its number
        uint8_t tries = 0;         // that gave no name
        int64_t askAt_us = 0;      // monotonic: not again before
    };
    Root root;
    Helper helper; // none but its own questions are waited for
    std::map<uint32_t, User> users;
    size_t open = 0; // questions without an answer
    int64_t patience_us, patienceAt_us = 0;

    void ask(uint32_t uid, User& user);
    void await(uint32_t uid, User& user);
    void take(uint32_t uid, User& user, int64_t now);

public:
    static constexpr int64_t First = 500000;      // microseconds: the wait for all names of the first pass together
    static constexpr int64_t Later = 100000;      // of any other pass
    static constexpr int64_t Regain = 100;        // microseconds that pass for each one that may be waited again
    static constexpr int64_t Patience = 10000000; // microseconds until a question is given up
    static constexpr int64_t Again = 60000000;    // until it is asked again; each time twice as long, at most 64 times
    static constexpr size_t MostOpen = 16;        // questions at a time
    static constexpr size_t MostKept = 1024;      // users without processes that are remembered

    explicit UserNames(const Root& where) : root(where), patience_us(First) {}
    // The text changes when the name becomes known.
    std::shared_ptr<const std::string> of(uint32_t uid);
    // Once in each pass: takes answers that have come since, and asks again for those that have no name.
    void pass();
};
