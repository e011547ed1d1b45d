#include "view/filter.h"
#include "view/options.h"

#include <string>

#include <gtest/gtest.h>

static ProcRow process(uint64_t pid, const char* name, uint64_t uid, const char* user, const char* cgroup,
                       const char* command) {
    ProcRow row;
    row.pid = pid, row.start = pid * 10, row.name = name, row.uid = uid, row.user = user, row.cgroup = cgroup;
    row.command = command;
    return row;
}

static Interval machine() {
    Interval interval;
    interval.processes.rows = {
        process(811, "sshd", 0, "root", "/system.slice/ssh.service", "sshd: /usr/sbin/sshd -D"),
        process(4411, "rsync", 0, "root", "/system.slice/backup.service", "rsync -a /srv /backup"),
        process(2210, "postgres", 70, "postgres", "/system.slice/postgresql.service", "postgres: checkpointer"),
        process(9, "kworker/0:1", 0, "root", "/", ""),
    };
    return interval;
}

static std::string wanted(const ViewRow& asked) {
    const auto interval = machine();
    const Filter filter(asked, interval);
    std::string pids;
    for (auto& row : interval.processes.rows)
        if (filter.wants(row)) pids.append(pids.empty() ? "" : " ").append(std::to_string(row.pid));
    return pids;
}

TEST(Filter, Processes) {
    const struct {
        const char *user, *pid, *command, *cgroup, *left;
    } Cases[] = {
        {"", "", "", "", "811 4411 2210 9"},
        {"root", "", "", "", "811 4411 9"},
        {"70", "", "", "", "2210"},
        {"postgres,nobody", "", "", "", "2210"},
        {",,70,root,", "", "", "", "811 4411 2210 9"},
        {"nobody", "", "", "", ""},
        {"", "811,9", "", "", "811 9"},
        {"", "8", "", "", ""},
        {"", "811x", "", "", ""},
        {"root", "2210", "", "", ""},
        {"", "", "^rsync$", "", "4411"},    // the name
        {"", "", "checkpoint", "", "2210"}, // the command line
        {"", "", "sshd|kworker", "", "811 9"},
        {"", "", "(", "", ""},
        {"", "", "", "/system.slice", "811 4411 2210"},
        {"", "", "", "/system.slice/ssh.service/", "811"},
        {"", "", "", "/system.slice/ssh", ""},
        {"", "", "", "/", "811 4411 2210 9"},
    };
    for (auto& c : Cases) {
        ViewRow asked;
        asked.user = c.user, asked.pid = c.pid, asked.command = c.command, asked.cgroup = c.cgroup;
        EXPECT_EQ(wanted(asked), c.left) << c.user << c.pid << c.command << c.cgroup;
    }
}

TEST(Filter, ThingsOfProcessesGoWithThem) {
    const auto interval = machine();
    ViewRow asked;
    asked.command = "checkpointer";
    const Filter filter(asked, interval);
    ThreadRow thread;
    thread.pid = 2210, thread.start = 22100;
    EXPECT_TRUE(filter.wants(thread));
    thread.start = 1; // an earlier process with the same pid
    EXPECT_FALSE(filter.wants(thread));
    thread.pid = 4411, thread.start = 44110, thread.name = "checkpointer";
    EXPECT_TRUE(filter.wants(thread)); // its own name
    FileRow file;
    file.pid = 2210, file.start = 22100;
    EXPECT_TRUE(filter.wants(file));
    file.pid = 77;
    EXPECT_FALSE(filter.wants(file));
    file.name = "checkpointer"; // a process without a row
    EXPECT_TRUE(filter.wants(file));
    ChurnRow churn;
    churn.parent = 2210, churn.parent_start = 22100, churn.command = "sh";
    EXPECT_TRUE(filter.wants(churn));
    churn.parent = 77;
    EXPECT_FALSE(filter.wants(churn));
    churn.command = "checkpointer";
    EXPECT_TRUE(filter.wants(churn));
    const Filter none({}, interval);
    EXPECT_TRUE(none.wants(thread) && none.wants(file) && none.wants(churn));
    EXPECT_FALSE(none.any());
}

TEST(Filter, GroupsBelow) {
    EXPECT_TRUE(isGroupBelow("/a/b", "/a") && isGroupBelow("/a", "/a/") && isGroupBelow("/", "") &&
                isGroupBelow("/a", "/"));
    EXPECT_FALSE(isGroupBelow("/ab", "/a") || isGroupBelow("/", "/a") || isGroupBelow("", "/a"));
}

TEST(Pattern, WhatIsRefusedMatchesNothing) {
    const std::string huge(Pattern::Most + 1, 'x');
    for (const std::string& text :
         {std::string("("), std::string("a**\\"), std::string("[z-a]"), huge, std::string("(a*)\\1"),
          std::string("((a{1,255}){1,255}){1,255}"), std::string("a{1001}"), std::string("(a{40}){40}")}) {
        const Pattern pattern(text);
        EXPECT_NE(pattern.problem(), "") << text;
        EXPECT_FALSE(pattern.matches(text)) << text;
    }
    for (const char* text : {"a{255}", "a{2,3}b{4}", "\\.conf$", "[{]", "^$", "a\\{99999"})
        EXPECT_EQ(Pattern(text).problem(), "") << text;
}

TEST(Pattern, LongTextsAndNulsAreBounded) {
    const Pattern end("x$"), two("a b");
    EXPECT_FALSE(end.matches(std::string(Pattern::MostTested, 'a') + "x"));
    EXPECT_TRUE(end.matches(std::string(Pattern::MostTested - 1, 'a') + "x"));
    EXPECT_TRUE(two.matches(std::string_view("a\0b", 3)));
    EXPECT_TRUE(Pattern("(a|aa)*$").matches(std::string(200000, 'a')));
}

TEST(TableOptions, WhatIsTypedReplacesWhatWas) {
    ViewRow view;
    view.sort = "mem", view.user = "root", view.tree = true, view.partitions = true, view.rows = 4;
    EXPECT_EQ(takeTableWords({}, view), "");
    EXPECT_TRUE(view.tree && view.partitions && view.sort == "mem" && view.user == "root" && view.rows == 4U);
    TableWords typed;
    typed.by = "user", typed.sort = "", typed.pid = "0042,7,", typed.rows = "9";
    EXPECT_EQ(takeTableWords(typed, view), "");
    EXPECT_EQ(view.by, "user");
    EXPECT_FALSE(view.tree);
    EXPECT_EQ(view.sort, "");
    EXPECT_EQ(view.pid, "42,7");
    EXPECT_EQ(view.rows, 9U);
    typed = {};
    typed.tree = true;
    EXPECT_EQ(takeTableWords(typed, view), "");
    EXPECT_TRUE(view.tree && view.by.empty());
}

TEST(TableOptions, PathsOfGroupsBeginWithASlash) {
    for (const char* typed : {"system.slice", "/system.slice"}) {
        TableWords words;
        words.cgroup = typed;
        ViewRow view;
        EXPECT_EQ(takeTableWords(words, view), "");
        EXPECT_EQ(view.cgroup, "/system.slice");
    }
}

TEST(TableOptions, WhatIsRefused) {
    const auto why = [](auto set) {
        TableWords typed;
        set(typed);
        ViewRow view;
        return takeTableWords(typed, view);
    };
    EXPECT_EQ(why([](auto& t) { t.rows = "0"; }), "the number of rows '0' is no number above 0");
    EXPECT_EQ(why([](auto& t) { t.pid = "7,x"; }), "the process 'x' is no number above 0");
    EXPECT_EQ(why([](auto& t) { t.by = "pid"; }), "--by takes command, user or unit, not 'pid'");
    EXPECT_EQ(why([](auto& t) { t.by = "user", t.tree = true; }), "--tree and --by exclude each other");
    EXPECT_EQ(why([](auto& t) { t.cgroup = std::string(257, '/'); }), "--cgroup takes at most 256 bytes");
    EXPECT_NE(why([](auto& t) { t.command = "a("; }).find("'a(' is no regular expression"), std::string::npos);
}
