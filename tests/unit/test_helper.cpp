// Helpers on a made-up machine: the pure part is the program's own.
#include "base/clock.h"
#include "base/helper.h"
#include "tests/unit/made.h"

#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using State = Helper::State;

static Question space(const std::string& dir, int64_t patience_us = 1000000) {
    Question question;
    question.words = {dir};
    question.patience_us = patience_us;
    return question;
}

static Question tool(std::vector<std::string> words, int64_t patience_us = 1000000) {
    Question question;
    question.kind = Question::Kind::Tool;
    question.words = std::move(words);
    question.patience_us = patience_us;
    return question;
}

TEST(Helper, AnswersInOneGo) {
    const Made machine("fs /a 4096 10 5 4 100 50\nfs /b 1024 7 1 1 0 0\nspeed eth0 25000\nfile /f <<E\ntext\nE\n");
    Helper helper;
    Answer answer;
    const auto a = helper.ask(space("/a")), b = helper.ask(space("/b")), none = helper.ask(space("/none"));
    EXPECT_EQ(machine.log(), "");
    helper.await(getMonotonic() + 1000000);
    EXPECT_EQ(helper.take(a, answer), State::Answered);
    EXPECT_EQ(answer.space.avail, 4U);
    EXPECT_EQ(answer.took_us, 0);
    EXPECT_EQ(helper.take(a, answer), State::Unknown); // used up
    EXPECT_EQ(helper.take(b, answer), State::Answered);
    EXPECT_EQ(answer.space.block, 1024U);
    EXPECT_EQ(helper.take(none, answer), State::Answered);
    EXPECT_EQ(answer.error, ENOENT);
    Question speed = space("eth0"), file = space("/f");
    speed.kind = Question::Kind::Speed;
    file.kind = Question::Kind::File;
    const auto s = helper.ask(speed), f = helper.ask(file);
    EXPECT_EQ(helper.take(s, answer), State::Asked); // take asks, and a later one has the answer
    EXPECT_EQ(helper.take(s, answer), State::Answered);
    EXPECT_EQ(answer.mbit, 25000);
    EXPECT_EQ(helper.take(f, answer), State::Answered);
    EXPECT_EQ(answer.text, "text\n");
    EXPECT_EQ(machine.log(), "helper\n"); // one process for all
}

TEST(Helper, WaitsNoLongerThanItMay) {
    const Made machine("fs /slow 1 1 1 1 1 1\nanswerafter 300 /slow\n");
    Helper helper;
    Answer answer;
    const int64_t start = getMonotonic();
    const auto ticket = helper.ask(space("/slow"));
    helper.await(start + 100000);
    EXPECT_EQ(getMonotonic(), start + 100000);
    EXPECT_EQ(helper.take(ticket, answer), State::Asked);
    EXPECT_EQ(answer.took_us, 100000);
    helper.await(start + 1000000);
    EXPECT_EQ(getMonotonic(), start + 300000);
    EXPECT_EQ(helper.take(ticket, answer), State::Answered);
    EXPECT_EQ(answer.took_us, 300000);
}

TEST(Helper, AbandonsWhatHangs) {
    Made machine("fs /a 1 1 1 1 1 1\nfs /x 9 1 1 1 1 1\nhang /x\nstep 1\nunhang /x\n");
    Helper helper;
    Answer answer;
    const int64_t start = getMonotonic();
    const auto x = helper.ask(space("/x")), a = helper.ask(space("/a"));
    helper.await(start + 5000000);
    EXPECT_EQ(helper.take(a, answer), State::Answered); // by another worker
    EXPECT_EQ(helper.take(x, answer), State::Late);
    EXPECT_EQ(answer.asked_us, start);
    EXPECT_EQ(helper.abandoned(), 1U);
    EXPECT_LE(getMonotonic(), start + 1000002); // what is late is not waited for
    EXPECT_EQ(machine.log(), "helper\nhelper\n");
    machine.step();
    EXPECT_EQ(helper.take(x, answer), State::Answered); // late, and told so
    EXPECT_EQ(answer.space.block, 9U);
    EXPECT_GT(answer.took_us, 1000000);
    EXPECT_EQ(helper.abandoned(), 0U);
}

TEST(Helper, RefusesWhenTooManyHang) {
    Made machine("hang /1\nhang /2\nhang /3\nhang /4\nfs /a 1 1 1 1 1 1\nstep 1\nfs /1 1 1 1 1 1 1\nunhang /1\n");
    Helper helper;
    Answer answer;
    std::vector<Helper::Ticket> stuck;
    for (const char* dir : {"/1", "/2", "/3", "/4"}) stuck.push_back(helper.ask(space(dir)));
    const auto a = helper.ask(space("/a"));
    helper.await(getMonotonic() + 20000000);
    for (const auto ticket : stuck) EXPECT_EQ(helper.take(ticket, answer), State::Late);
    EXPECT_EQ(helper.take(a, answer), State::Refused);
    EXPECT_EQ(helper.take(a, answer), State::Unknown);
    EXPECT_EQ(machine.log(), "helper\nhelper\nhelper\nhelper\n");
    machine.step();
    EXPECT_EQ(helper.take(stuck[0], answer), State::Answered);
    const auto again = helper.ask(space("/a"));
    helper.pump();
    EXPECT_EQ(helper.take(again, answer), State::Answered);
    helper.forget(stuck[1]);
    EXPECT_EQ(helper.take(stuck[1], answer), State::Unknown);
}

// Of those who forget late questions, each ask again would cost another worker.
TEST(Helper, WhatIsForgottenHoldsNoWorker) {
    const Made machine("hang /1\nfs /a 1 1 1 1 1 1\n");
    Helper helper;
    Answer answer;
    for (int i = 0; i < 8; i++) {
        const auto stuck = helper.ask(space("/1"));
        helper.await(getMonotonic() + 20000000);
        EXPECT_EQ(helper.take(stuck, answer), State::Late);
        EXPECT_EQ(helper.abandoned(), 1U);
        helper.forget(stuck);
    }
    const auto a = helper.ask(space("/a"));
    helper.await(getMonotonic() + 20000000);
    EXPECT_EQ(helper.take(a, answer), State::Answered);
    EXPECT_EQ(helper.abandoned(), 0U);
}

// What is stuck is counted together, whoever asked: a third of it ends the asking of tools.
TEST(Helper, ToolsAndWorkersShareTheLimit) {
    const Made machine("hang /1\nhang /2\nhang /3\nfs /a 1 1 1 1 1 1\ntool vgs <<E\nout\nE\n");
    Helper helper;
    Answer answer;
    for (const char* dir : {"/1", "/2"}) helper.ask(space(dir));
    helper.await(getMonotonic() + 20000000);
    EXPECT_EQ(helper.abandoned(), 2U);
    const auto first = helper.ask(tool({"vgs"}));
    helper.await(getMonotonic() + 1000000);
    EXPECT_EQ(helper.take(first, answer), State::Answered);
    helper.ask(space("/3"));
    helper.await(getMonotonic() + 20000000);
    EXPECT_EQ(helper.abandoned(), 3U);
    const auto second = helper.ask(tool({"vgs"}));
    const auto a = helper.ask(space("/a"));
    helper.await(getMonotonic() + 20000000);
    EXPECT_EQ(helper.take(second, answer), State::Refused);
    EXPECT_EQ(helper.take(a, answer), State::Answered); // the last worker goes on
}

// A sample waits for filesystems that answer at once, not for a tool that somebody else has asked.
TEST(Helper, AwaitWithoutTools) {
    const Made machine("fs /a 1 1 1 1 1 1\nanswerafter 20 /a\ntool lvs <<E\nout\nE\nanswerafter 500 lvs\n");
    Helper helper;
    Answer answer;
    const int64_t start = getMonotonic();
    const auto lvs = helper.ask(tool({"lvs"})), a = helper.ask(space("/a"));
    helper.await(start + 2000000, Helper::Await::NoTools);
    EXPECT_EQ(getMonotonic(), start + 20000);
    EXPECT_EQ(helper.take(a, answer), State::Answered);
    EXPECT_EQ(helper.take(lvs, answer), State::Asked);
    helper.await(start + 2000000);
    EXPECT_EQ(getMonotonic(), start + 500000);
    EXPECT_EQ(helper.take(lvs, answer), State::Answered);
}

TEST(Helper, ToolsOneAfterTheOther) {
    const Made machine("tool lvs --x <<E\nout\nE\nanswerafter 20 lvs --x\nhang vgs\ntoolstatus 5 lvs --x\n");
    Helper helper;
    Answer answer;
    const int64_t start = getMonotonic();
    const auto vgs = helper.ask(tool({"vgs"}, 50000)), lvs = helper.ask(tool({"lvs", "--x"}));
    const auto none = helper.ask(tool({"nosuch"}));
    helper.await(start + 1000000);
    EXPECT_EQ(helper.take(vgs, answer), State::Answered);
    EXPECT_EQ(answer.error, ETIMEDOUT);
    EXPECT_EQ(helper.take(lvs, answer), State::Answered);
    EXPECT_EQ(answer.text, "out\n");
    EXPECT_EQ(answer.status, 5);
    EXPECT_EQ(answer.took_us, 20000);
    EXPECT_EQ(helper.take(none, answer), State::Answered);
    EXPECT_EQ(answer.status, 127);
    EXPECT_EQ(machine.log(), "tool vgs\ntool lvs --x\ntool nosuch\n");
    EXPECT_EQ(helper.abandoned(), 0U);
}
