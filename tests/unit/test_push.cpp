// wyrt push: what answers mean, how long it waits after one, and its settings.
#include "wyrtlog/push/backoff.h"
#include "wyrtlog/push/http.h"

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// --- Answers

TEST(Push, WhatAnswersMean) {
    const std::map<Verdict, std::vector<int>> expected = {{Verdict::Taken, {200, 204}},
                                                          {Verdict::Later, {0, 408, 425, 429, 500, 503, 599}},
                                                          {Verdict::Refused, {400, 422}},
                                                          {Verdict::TooLarge, {413}},
                                                          {Verdict::Setup, {100, 301, 307, 401, 403, 404, 415}}};
    for (auto& [verdict, statuses] : expected)
        for (const int status : statuses) EXPECT_EQ(verdictOf(status), verdict) << status;
}

TEST(Push, AnswersInOneLine) {
    EXPECT_EQ(describe({0, "Connection refused", {}}), "no answer from the receiver: Connection refused");
    EXPECT_EQ(describe({503, "", {}}), "the receiver answers 503 (unavailable)");
    EXPECT_EQ(describe({400, "bad\x1b[31m\nline\n\n", {}}), "the receiver answers 400 (bad request): bad?[31m?line");
    EXPECT_EQ(describe({301, "", {}}), "the receiver answers 301 (it is elsewhere, and --url has to say where)");
    EXPECT_EQ(describe({418, std::string(5000, 'x'), {}}), "the receiver answers 418: " + std::string(300, 'x'));
    for (const int status : {401, 403, 404, 413, 429, 500}) EXPECT_NE(describe({status, "", {}}).find(" ("), 0U);
}

TEST(Push, WaitsLongerEachTime) {
    Backoff longest, shortest;
    std::vector<int64_t> most, least;
    for (int i = 0; i < 8; i++) {
        most.push_back(longest.next({}, 1000));
        least.push_back(shortest.next({}, 0));
    }
    EXPECT_EQ(most, (std::vector<int64_t>{1000000, 2000000, 4000000, 8000000, 16000000, 32000000, 60000000, 60000000}));
    EXPECT_EQ(least, (std::vector<int64_t>{800000, 1600000, 3200000, 6400000, 12800000, 25600000, 48000000, 48000000}));
    EXPECT_EQ(longest.failed(), 8U);
    longest.succeed();
    EXPECT_EQ(longest.next({}, 1000), 1000000);
}

TEST(Push, WaitsAsLongAsItIsAskedWithinBounds) {
    for (const auto& [asked, expected] : std::map<int64_t, int64_t>{
             {-5, 1000000}, {0, 1000000}, {7, 7000000}, {600, 600000000}, {601, 600000000}, {INT64_MAX, 600000000}})
        EXPECT_EQ(Backoff().next(asked, 1000), expected) << asked;
}

// --- Settings

TEST(Push, SettingsThatCannotBe) {
    const auto why = [](const char* url, void (*change)(HttpSettings&)) {
        HttpSettings settings{url, "", "", "", "", "", ""};
        change(settings);
        return whyNotSettings(settings);
    };
    const auto as = [](HttpSettings&) {};
    for (const char* url : {"http://h/write", "https://h:8428/api/v2/write?bucket=a@b", "http://[::1]:8086/x#@"})
        EXPECT_EQ(why(url, as), "") << url;
    for (const char* url : {"", "h/write", "ftp://h/", "file:///etc/passwd", "http://a b/", "http://h/\x7f",
                            "https://user:secret@h/", "http://user@h"}) {
        EXPECT_NE(why(url, as), "") << url;
        EXPECT_EQ(why(url, as).find("secret"), std::string::npos);
    }
    EXPECT_NE(why("https://h/", [](auto& s) { s.cert = "a"; }), "");
    EXPECT_NE(why("https://h/", [](auto& s) { s.user = "a"; }), "");
    EXPECT_NE(why("https://h/", [](auto& s) { s.user = "a:b", s.passwordFile = "f"; }), "");
    EXPECT_NE(why("https://h/", [](auto& s) { s.user = "a", s.passwordFile = "f", s.tokenFile = "t"; }), "");
    EXPECT_NE(why("http://h/", [](auto& s) { s.ca = "a"; }), "");
    EXPECT_EQ(why("https://h/", [](auto& s) { s.ca = s.cert = s.key = "a", s.tokenFile = "t"; }), "");
}

TEST(Push, Tokens) {
    EXPECT_EQ(authorizationOf("abc\n"), "Bearer abc");
    EXPECT_EQ(authorizationOf("Token abc== \r\n"), "Token abc==");
    for (const char* bad : {"", "\n", "a\nb", "a\r\nX-Header: b", "\x01"}) EXPECT_FALSE(authorizationOf(bad)) << bad;
}
