// What a process is: its program, names, user, unit and container.
#include "tests/unit/processmachine.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

// The members that a process does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

// A name that comes late takes the place of the number, in the rows of processes that did not run since, too.
TEST(ProcessRows, ALateName) {
    const MadeProcess idle{.pid = 7, .uid = 1000};
    const std::string getent = "getent passwd 1000", later = "step 1\nstep 2\n";
    ProcessMachine machine(MadeTicks().text() + idle.text() + "tool " + getent + " <<E\nann:*:1000:100::/:\nE\n" +
                           "answerafter 2000 getent\\x20passwd\\x201000\n" + later);
    EXPECT_EQ(machine.next(true).find(7)->user, "1000");
    EXPECT_EQ(machine.next(true).find(7)->user, "ann");
}

TEST(ProcessRows, AnotherProgram) {
    MadeProcess fork{.pid = 100, .name = "sh", .flags = 0x400040, .command = "sh -c job"};
    auto job = fork, again = fork;
    job.cpu_ns += 1, job.flags = 0x400000, job.name = "sh", job.command = "job --fast", job.group = "/jobs/one";
    again = job, again.cpu_ns += 1, again.stack = 0x7ffd00000000, again.command = "job --again";
    ProcessMachine machine(MadeTicks().text() + fork.text() + "step 1\n" + job.text() + "step 2\n" + again.text());
    auto result = machine.next();
    EXPECT_EQ(result.find(100)->command, "job --fast");
    EXPECT_EQ(result.find(100)->cgroup, "/jobs/one");
    EXPECT_EQ(result.find(100)->unit, "");
    EXPECT_TRUE(machine.sampler.ran()[0].fresh);
    result = machine.next();
    EXPECT_EQ(result.find(100)->command, "job --again");
    EXPECT_TRUE(machine.sampler.ran()[0].fresh);
    EXPECT_TRUE(result.starts.rows.empty()); // it is the same process
}

TEST(ProcessRows, TheHelperReadsWhatMayBlock) {
    const MadeProcess blocked{.pid = 100, .state = 'D'}, several{.pid = 200, .threads = 2, .command = "many threads"};
    auto awake = blocked;
    awake.cpu_ns++, awake.state = 'S';
    ProcessMachine machine("hang /proc/100/cmdline\n" + MadeTicks().text() + blocked.text() + several.text() +
                           "step 1\nstep 2\nstep 3\nstep 4\n" + awake.text());
    EXPECT_NE(machine.made.log().find("helper"), std::string::npos);
    auto result = machine.next(true);
    EXPECT_EQ(result.find(100)->command, "");
    EXPECT_EQ(result.find(100)->state, 'D');
    EXPECT_EQ(result.total().blocked, 1U);
    machine.next(); // the other question waits until the first one is given up
    EXPECT_EQ(machine.next(true).find(200)->command, "many threads");
    EXPECT_EQ(machine.next().find(100)->command, "/usr/bin/worker --all");
}

TEST(ProcessRows, AnAnswerForAProcessThatEnded) {
    const MadeProcess several{.pid = 200, .threads = 2},
        other{.pid = 200, .start = 10050, .cpu_ns = 5000000, .threads = 1, .command = "other"};
    ProcessMachine machine("answerafter 1500 /proc/200/cmdline\n" + MadeTicks().text() + several.text() + "step 1\n" +
                           gone(200) + other.text() + "step 2\nstep 3\n");
    EXPECT_EQ(machine.next().find(200)->command, "other");
    machine.next();
    EXPECT_EQ(machine.next(true).find(200)->command, "other");
}

TEST(ProcessRows, HostileNames) {
    const MadeProcess before{.pid = 100, .name = "a) R 1 2 (3\\n,\"", .command = "x\x1b[2J,\xff"};
    auto now = before;
    now.cpu_ns += 1000;
    ProcessMachine machine(MadeTicks().text() + before.text() + "step 1\n" + now.text());
    const auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->name, before.name);
    EXPECT_EQ(row->command, before.command);
}

TEST(ProcessRows, UnitsAndContainers) {
    const std::string id(64, 'a');
    const struct {
        const char* pid;
        std::string group, unit;
    } groups[] = {
        {"1", "/", ""},
        {"2", "/system.slice/db.service/sub", "db.service"},
        {"3", "/user.slice/user-1.slice/user@1.service/app.slice/x.service", "x.service"},
        {"4", "/system.slice/docker-" + id + ".scope", id.substr(0, 12)},
        {"5", "/lxc/web/system.slice/ssh.service", "web"},
        {"6", "/some/where", ""},
    };
    std::string first = MadeTicks().text(), then = "step 1\n";
    for (auto& group : groups) {
        MadeProcess process{.pid = atoi(group.pid), .group = group.group};
        first += process.text();
        process.cpu_ns++;
        then += process.text();
    }
    ProcessMachine machine(first + then);
    const auto result = machine.next();
    for (auto& group : groups)
        EXPECT_EQ(result.find(strtoull(group.pid, nullptr, 10))->unit, group.unit) << group.group;
}

TEST(ProcessRows, ContainersHaveTheNamesThatTheirRuntimesGaveThem) {
    const std::string id(64, 'a'), other(64, 'b');
    const MadeProcess web{.pid = 7, .group = "/system.slice/docker-" + id + ".scope"},
        unknown{.pid = 8, .group = "/system.slice/docker-" + other + ".scope"};
    auto later = web, too = unknown;
    later.cpu_ns++, too.cpu_ns++;
    ProcessMachine machine(MadeTicks().text() + web.text() + unknown.text() + "file /var/lib/docker/containers/" + id +
                           "/config.v2.json <<END\n{\"Name\":\"/web\"}\nEND\nstep 1\nstep 2\nstep 3\n" + later.text() +
                           too.text() + "step 4\n");
    for (int step = 1; step < 3; step++) machine.next();
    const auto result = machine.next();
    EXPECT_EQ(result.find(7)->unit, "web");
    EXPECT_EQ(result.find(8)->unit, other.substr(0, 12)) << "no file has its name";
    // It is asked for once, and again only when groups are looked at again.
    std::string opened;
    machine.made.world.watch = [&](const std::string& path) { opened += path + "\n"; };
    machine.next();
    EXPECT_EQ(opened.find("/var/"), opened.npos) << opened;
}
