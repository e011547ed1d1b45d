// Names of users that /etc/passwd does not have.
#include "sample/usernames.h"

#include "base/clock.h"
#include "tests/unit/made.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

static constexpr int64_t Second = 1000000; // microseconds

static std::string known(const std::string& uid, const std::string& name) {
    return "tool getent passwd " + uid + " <<E\n" + name + ":*:" + uid + ":100::/:\nE\n";
}

static std::string slow(const std::string& uid, int ms) {
    return "answerafter " + std::to_string(ms) + " getent\\x20passwd\\x20" + uid + "\n";
}

static size_t asked(const Made& machine, const std::string& uid) {
    const auto& log = machine.log();
    const auto line = "tool getent passwd " + uid + "\n";
    size_t count = 0;
    for (size_t at = 0; (at = log.find(line, at)) != std::string::npos; at++) count++;
    return count;
}

namespace {
struct Watching {
    Made machine;
    UserNames names{Root()};
    int64_t longest = 0; // that a pass took
    explicit Watching(const std::string& lines) : machine(lines) {}
    // One pass in which these users are wanted, and a pause.
    std::vector<std::shared_ptr<const std::string>> pass(const std::vector<uint32_t>& uids = {},
                                                         int64_t pause_us = Second) {
        const int64_t began = getMonotonic();
        std::vector<std::shared_ptr<const std::string>> found;
        for (const auto uid : uids) found.push_back(names.of(uid));
        names.pass();
        longest = std::max(longest, getMonotonic() - began);
        machine.world.advance(pause_us);
        return found;
    }
};
} // namespace

TEST(UserNames, TheFileComesFirst) {
    Watching watching("user 33 www-data\n" + known("1000", "ann"));
    const auto found = watching.pass({33, 1000, 70});
    EXPECT_EQ(*found[0], "www-data");
    EXPECT_EQ(*found[1], "ann");
    EXPECT_EQ(*found[2], "70"); // nobody knows it
    EXPECT_EQ(watching.machine.log(), "tool getent passwd 1000\ntool getent passwd 70\n");
    watching.pass({33, 1000, 70});
    EXPECT_EQ(watching.names.of(33), found[0]);
    EXPECT_EQ(watching.machine.log(), "tool getent passwd 1000\ntool getent passwd 70\n"); // not each time
}

TEST(UserNames, NobodyIsAskedForAnotherMachine) {
    const Made machine("user 33 www-data\n");
    UserNames names(Root("/other"));
    EXPECT_EQ(*names.of(33), "33");
    names.pass();
    EXPECT_EQ(machine.log(), "");
}

// The first pass waits half a second for all of them. A name that comes later takes the place of the number.
TEST(UserNames, LateNamesComeLater) {
    Watching watching(known("1", "a") + slow("1", 3000) + known("2", "b") + known("3", "c"));
    const auto found = watching.pass({1, 2, 3});
    EXPECT_EQ(watching.longest, UserNames::First);
    EXPECT_EQ(*found[0], "1");
    for (int i = 0; i < 6; i++) watching.pass();
    EXPECT_EQ(*found[0], "a");
    EXPECT_EQ(*found[1], "b");
    EXPECT_EQ(*found[2], "c");
    EXPECT_EQ(watching.longest, UserNames::First);
    // Patience has come back, to a tenth of a second.
    watching.longest = 0;
    for (int i = 0; i < 60; i++) watching.pass();
    EXPECT_EQ(*watching.pass({4})[0], "4"); // nobody knows it
    EXPECT_EQ(asked(watching.machine, "4"), 1U);
}

// As long as nobody answers, a pass waits a tenth of a second at most, and all of them a hundredth of the time.
TEST(UserNames, ADirectoryThatHangs) {
    std::string lines;
    constexpr uint32_t Users = 200;
    for (uint32_t uid = 0; uid < Users; uid++) lines += "hang getent\\x20passwd\\x20" + std::to_string(uid) + "\n";
    Watching watching(lines);
    std::vector<std::shared_ptr<const std::string>> kept;
    const int64_t start = getMonotonic();
    constexpr int Passes = 600;
    int64_t waited = 0;
    for (int i = 0; i < Passes; i++) {
        const int64_t began = getMonotonic();
        watching.longest = 0;
        for (auto& name : watching.pass({static_cast<uint32_t>(i) % Users})) kept.push_back(name);
        waited += getMonotonic() - began - Second;
        EXPECT_LE(watching.longest, i == 0 ? UserNames::First : UserNames::Later);
    }
    EXPECT_EQ(getMonotonic() - start - waited, Passes * Second);
    EXPECT_LE(waited, UserNames::First + Passes * Second / UserNames::Regain);
    for (const auto& name : kept) EXPECT_FALSE(name->empty());
}

// The service was not there yet, or the account: a user without a name is asked for again, and less and less often.
TEST(UserNames, WithoutANameItIsAskedAgain) {
    Watching watching("step 1\n" + known("1000", "ann"));
    const auto ann = watching.pass({1000})[0];
    EXPECT_EQ(*ann, "1000");
    for (int i = 0; i < 50; i++) watching.pass();
    EXPECT_EQ(asked(watching.machine, "1000"), 1U);
    for (int i = 0; i < 20; i++) watching.pass();
    EXPECT_EQ(asked(watching.machine, "1000"), 2U);
    for (int i = 0; i < 36000; i++) watching.pass();
    EXPECT_LE(asked(watching.machine, "1000"), 20U); // in ten hours
    watching.machine.step();
    for (int i = 0; i < 4000; i++) watching.pass();
    EXPECT_EQ(*ann, "ann");
    EXPECT_EQ(watching.longest, 0); // nobody waited
}

// An account that is made later is found without the service, too.
TEST(UserNames, TheFileIsReadAgain) {
    Watching watching("step 1\nuser 1000 ann\n");
    const auto ann = watching.pass({1000})[0];
    watching.machine.step();
    for (int i = 0; i < 70; i++) watching.pass();
    EXPECT_EQ(*ann, "ann");
}

// Of users whose processes have ended only so many are remembered, and none of them is asked for again by itself.
TEST(UserNames, NoRoomForAllThatEverWere) {
    Watching watching("");
    for (uint32_t uid = 1; uid <= UserNames::MostKept + 2; uid++) watching.pass({uid}, 1);
    EXPECT_EQ(asked(watching.machine, "1"), 1U);
    for (int i = 0; i < 200; i++) watching.pass();
    EXPECT_EQ(asked(watching.machine, "1"), 1U);
    watching.pass({1});
    EXPECT_EQ(asked(watching.machine, "1"), 2U);
}
