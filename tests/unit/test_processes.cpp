#include "model/proc.h"
#include "sample/proc.h"
#include "tests/unit/made.h"
#include "tests/unit/process.h"

#include <string>

#include <gtest/gtest.h>

// The members that a process does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {
struct Result {
    Rows<ProcsRow> all;
    Rows<ProcRow> processes;
    Rows<StartRow> starts;
    Rows<ExitRow> exits;
    const ProcRow* find(uint64_t pid) const {
        for (auto& row : processes.rows)
            if (row.pid == pid) return &row;
        return nullptr;
    }
    const ProcsRow& total() const { return all.rows.at(0); }
};
// A machine with a sampler that has taken its first sample. Each step takes a second.
struct Watching {
    Made made;
    Helper helper;
    ProcSampler sampler{Root(), helper};
    ProcSample sample;
    explicit Watching(const std::string& lines) : made("boot 100\n" + lines) { sampler.sample(sample); }
    Result next(bool complete = false) {
        made.step();
        sampler.sample(sample);
        Result result;
        processRows(sample, complete, result.all, result.processes, result.starts, result.exits);
        return result;
    }
};
} // namespace

// A name that comes late takes the place of the number, in the rows of processes that did not run since, too.
TEST(ProcessRows, ALateName) {
    const MadeProcess idle{.pid = 7, .uid = 1000};
    const std::string getent = "getent passwd 1000", later = "step 1\nstep 2\n";
    Watching machine(MadeTicks().text() + idle.text() + "tool " + getent + " <<E\nann:*:1000:100::/:\nE\n" +
                     "answerafter 2000 getent\\x20passwd\\x201000\n" + later);
    EXPECT_EQ(machine.next(true).find(7)->user, "1000");
    EXPECT_EQ(machine.next(true).find(7)->user, "ann");
}

static std::string gone(int pid) {
    return "gone /proc/" + std::to_string(pid) + "\ncpuclock " + std::to_string(pid) + " gone\n";
}

TEST(ProcessRows, WhatRan) {
    const MadeProcess idle{.pid = 7}, busy{.pid = 100};
    auto later = busy;
    later.cpu_ns += 250000000, later.user += 20, later.system += 5, later.write_bytes = 4096;
    Watching machine(MadeTicks().text() + busy.text() + idle.text() + "step 1\n" + later.text());
    ASSERT_EQ(machine.sampler.ran().size(), 2U); // the first sample has all
    EXPECT_EQ(machine.sampler.ran()[0].pid, 7);
    EXPECT_TRUE(machine.sampler.ran()[0].fresh);
    EXPECT_FALSE(machine.sampler.ran()[0].wrote);

    const auto result = machine.next();
    ASSERT_EQ(machine.sampler.ran().size(), 1U);
    const auto& ran = machine.sampler.ran()[0];
    EXPECT_EQ(ran.pid, 100);
    EXPECT_EQ(ran.start, 5000U);
    EXPECT_EQ(ran.threads, 1U);
    EXPECT_EQ(ran.state, 'S');
    EXPECT_FALSE(ran.fresh);
    EXPECT_TRUE(ran.wrote);

    ASSERT_EQ(result.processes.rows.size(), 1U);
    const auto& row = result.processes.rows[0];
    EXPECT_EQ(row.name, "worker");
    EXPECT_EQ(row.command, "/usr/bin/worker --all");
    EXPECT_EQ(row.unit, "worker.service");
    EXPECT_EQ(row.cgroup, "/system.slice/worker.service");
    EXPECT_EQ(row.user, "0"); // an account without a name
    EXPECT_TRUE(row.ran);
    EXPECT_FALSE(row.kernel || row.io_shared);
    EXPECT_EQ(row.cpu_us, 250000U);
    EXPECT_EQ(row.user_us, 200000U);
    EXPECT_EQ(row.system_us, 50000U);
    EXPECT_EQ(row.write_bytes, 4096U);
    EXPECT_EQ(row.read_bytes, 0U);
    EXPECT_EQ(row.written_recently, 4096U);
    EXPECT_EQ(row.rss, 4000U << 10);
    EXPECT_EQ(row.anonymous, 3000U << 10);
    EXPECT_EQ(row.children_us, 0U);
    EXPECT_FALSE(row.block_us); // the kernel does not count it
    EXPECT_EQ(row.descriptor_limit, 1024U);
    EXPECT_EQ(row.oom_adjust, -17);
    EXPECT_EQ(row.oom_score, 667);
    EXPECT_EQ(result.total().accounted_us, 250000U);
    EXPECT_EQ(result.total().processes, 2U);
    EXPECT_EQ(result.total().threads, 2U);
    EXPECT_EQ(result.total().ran, 1U);
    EXPECT_EQ(result.total().started, 0U);
}

TEST(ProcessRows, NothingBeforeTheSecondSample) {
    Made made(MadeTicks().text() + MadeProcess().text());
    Helper helper;
    ProcSampler sampler{Root(), helper};
    ProcSample sample;
    sampler.sample(sample);
    Result result;
    processRows(sample, true, result.all, result.processes, result.starts, result.exits);
    EXPECT_FALSE(result.all.sampled);
    EXPECT_TRUE(result.processes.rows.empty());
}

TEST(ProcessRows, WithoutProc) {
    Watching machine("step 1\n" + MadeProcess().text() + "step 2\n");
    EXPECT_TRUE(machine.sampler.ran().empty());
    EXPECT_FALSE(machine.next().all.sampled); // there is nothing to compare it with
    EXPECT_TRUE(machine.next().all.sampled);
}

TEST(ProcessRows, TheFirstIntervalOfALogHasAll) {
    Watching machine(MadeTicks().text() + MadeProcess{.pid = 7}.text() + "step 1\nstep 2\n");
    const auto first = machine.next(true);
    ASSERT_EQ(first.processes.rows.size(), 1U);
    const auto& row = first.processes.rows[0];
    EXPECT_FALSE(row.ran);
    EXPECT_EQ(row.cpu_us, 0U);
    EXPECT_EQ(row.read_bytes, 0U);
    EXPECT_EQ(row.wait_us, 0U);
    EXPECT_EQ(row.minor_faults, 0U);
    EXPECT_EQ(row.growth, 0);
    EXPECT_TRUE(machine.next().processes.rows.empty());
}

TEST(ProcessRows, BornItsCountersAreItsAmounts) {
    // 100 s since boot at first: 10,000 ticks.
    const MadeProcess child{.pid = 200,
                            .parent = 100,
                            .name = "child",
                            .start = 10050,
                            .cpu_ns = 30000000,
                            .user = 2,
                            .system = 1,
                            .write_bytes = 512};
    Watching machine(MadeTicks().text() + MadeProcess{.pid = 100}.text() + "step 1\n" + child.text());
    const auto result = machine.next();
    const auto* row = result.find(200);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->cpu_us, 30000U);
    EXPECT_EQ(row->user_us, 20000U);
    EXPECT_EQ(row->write_bytes, 512U);
    EXPECT_EQ(row->wait_us, 1U);
    EXPECT_EQ(row->minor_faults, 100U);
    EXPECT_EQ(row->voluntary, 5U);
    EXPECT_EQ(row->growth, 3000 << 10);
    EXPECT_EQ(result.total().started, 1U);
    EXPECT_EQ(result.total().accounted_us, 30000U);
    ASSERT_EQ(result.starts.rows.size(), 1U);
    EXPECT_EQ(result.starts.rows[0].pid, 200U);
    EXPECT_EQ(result.starts.rows[0].start, 10050U);
    EXPECT_EQ(result.starts.rows[0].name, "child");
    EXPECT_EQ(result.starts.rows[0].parent, 100U);
    EXPECT_EQ(result.starts.rows[0].command, "/usr/bin/worker --all");
    ASSERT_EQ(machine.sampler.ran().size(), 1U);
    EXPECT_TRUE(machine.sampler.ran()[0].fresh && machine.sampler.ran()[0].wrote);
}

TEST(ProcessRows, OneThatWasHiddenIsNotBorn) {
    Watching machine(MadeTicks().text() + MadeProcess{.pid = 100}.text() + "step 1\n" +
                     MadeProcess{.pid = 200, .start = 50}.text());
    const auto result = machine.next();
    const auto* row = result.find(200);
    ASSERT_TRUE(row);
    EXPECT_FALSE(row->cpu_us || row->write_bytes || row->wait_us || row->minor_faults || row->growth);
    EXPECT_TRUE(result.starts.rows.empty());
    EXPECT_EQ(result.total().accounted_us, 0U);
}

TEST(ProcessRows, AReusedPidIsAnotherProcess) {
    const MadeProcess old{.pid = 200, .name = "old", .cpu_ns = 9000000000},
        other{.pid = 200, .name = "new", .start = 10020, .cpu_ns = 5000000};
    Watching machine(MadeTicks().text() + old.text() + "step 1\n" + other.text());
    const auto result = machine.next();
    const auto* row = result.find(200);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->name, "new");
    EXPECT_EQ(row->cpu_us, 5000U);
    ASSERT_EQ(result.exits.rows.size(), 1U);
    EXPECT_EQ(result.exits.rows[0].name, "old");
    EXPECT_EQ(result.exits.rows[0].start, 5000U);
    EXPECT_EQ(result.exits.rows[0].life_us, 51000000U); // 101 s since boot, less 50
    EXPECT_FALSE(result.exits.rows[0].code || result.exits.rows[0].cpu_us);
    EXPECT_EQ(result.starts.rows.size(), 1U);
    EXPECT_EQ(result.total().ended, 1U);
}

// --- Blocked

TEST(ProcessRows, WhereItIsBlocked) {
    const auto channel = [](int pid, const char* name) {
        return "text /proc/" + std::to_string(pid) + "/wchan \"" + name + "\"\n";
    };
    MadeProcess reader{.pid = 100, .state = 'D'}, secret{.pid = 200, .state = 'D'}, asleep{.pid = 300};
    std::string lines = MadeTicks().text() + reader.text() + secret.text() + asleep.text() +
                        channel(100, "folio_wait_bit_common") + channel(200, "0") + channel(300, "do_wait") +
                        "step 1\nstep 2\n";
    reader.cpu_ns++;
    lines += reader.text() + channel(100, "rpc_wait_bit_killable") + "step 3\n";
    reader.cpu_ns++, reader.state = 'S';
    Watching machine(lines + reader.text());
    auto result = machine.next(true); // it has not run: it is still there
    EXPECT_EQ(result.find(100)->wait_channel, "folio_wait_bit_common");
    EXPECT_EQ(result.find(200)->wait_channel, "");
    EXPECT_EQ(result.find(300)->wait_channel, "");
    EXPECT_EQ(machine.next().find(100)->wait_channel, "rpc_wait_bit_killable");
    EXPECT_EQ(machine.next().find(100)->wait_channel, "");
}

// --- Children

TEST(ProcessRows, WhatChildrenHadBeforeIsTheirs) {
    const MadeProcess shell{.pid = 100}, job{.pid = 200, .parent = 100, .cpu_ns = 700000000};
    auto waited = shell; // it has waited for the job, which had 100 ms more, and for others
    waited.cpu_ns += 1000000, waited.children = 90, waited.children_faults = 50;
    Watching machine(MadeTicks().text() + shell.text() + job.text() + "step 1\n" + gone(200) + waited.text());
    const auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->children_us, 200000U);
    EXPECT_EQ(row->cpu_us, 1000U);
    EXPECT_EQ(result.total().accounted_us, 201000U);
    EXPECT_FALSE(row->io_shared); // the figures of its only thread
}

TEST(ProcessRows, ChildrenOfAParentThatEndedToo) {
    const MadeProcess top{.pid = 100}, shell{.pid = 150, .parent = 100, .cpu_ns = 100000000},
        job{.pid = 200, .parent = 150, .cpu_ns = 700000000};
    auto waited = top;
    waited.cpu_ns += 1, waited.children = 81, waited.children_faults = 50;
    Watching machine(MadeTicks().text() + top.text() + shell.text() + job.text() + "step 1\n" + gone(150) + gone(200) +
                     waited.text());
    EXPECT_EQ(machine.next().find(100)->children_us, 10000U);
}

TEST(ProcessRows, OrphansHaveAnotherParent) {
    const MadeProcess shell{.pid = 100}, orphan{.pid = 200, .parent = 100};
    auto adopted = orphan;
    adopted.parent = 1;
    Watching machine(MadeTicks().text() + shell.text() + orphan.text() + "step 1\n" + gone(100) + adopted.text());
    const auto result = machine.next();
    const auto* row = result.find(200);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->parent, 1U);
    EXPECT_FALSE(row->ran);
    EXPECT_EQ(row->cpu_us, 0U);
}

// Only they are read again, however many others there are.
TEST(ProcessRows, OrphansAreFoundAmongManyOthers) {
    std::string lines;
    for (int pid = 1000; pid < 1300; pid++) lines += MadeProcess{.pid = pid, .parent = 900}.text();
    const MadeProcess shell{.pid = 100}, orphan{.pid = 200, .parent = 100};
    auto adopted = orphan;
    adopted.parent = 1;
    Watching machine(MadeTicks().text() + shell.text() + orphan.text() + lines + "step 1\n" + gone(100) +
                     adopted.text());
    size_t read = 0;
    machine.made.world.watch = [&](const std::string& path) {
        read += path.ends_with("/stat") && path != "/proc/stat";
    };
    ASSERT_TRUE(machine.next().find(200));
    EXPECT_LE(read, 1 + ProcSampler::LeastInTurn + ProcSampler::LeastStates); // and some in their turn
}

TEST(ProcessRows, FiguresOfSeveralThreadsHaveThoseOfChildren) {
    const MadeProcess server{.pid = 100, .threads = 3}, child{.pid = 200, .parent = 100, .write_bytes = 5000};
    auto waited = server; // 5,000 of the child, 700 of it unseen, 300 of its own
    waited.cpu_ns += 1000000, waited.group_write_bytes = 6000, waited.children_faults = 9;
    Watching machine(MadeTicks().text() + server.text() + child.text() + "step 1\n" + gone(200) + waited.text());
    const auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->write_bytes, 1000U);
    EXPECT_TRUE(row->io_shared);
    EXPECT_EQ(row->written_recently, 1000U);
    EXPECT_EQ(row->threads, 3U);
    EXPECT_FALSE(row->voluntary); // those of the first thread only
}

TEST(ProcessRows, FiguresOfTwoFilesAreNotSubtracted) {
    MadeProcess one{.pid = 100, .write_bytes = 1000, .group_write_bytes = 0};
    auto several = one, later = one;
    several.threads = 2, several.cpu_ns += 1, several.group_write_bytes = 500;
    later = several, later.cpu_ns += 1, later.threads = 1, later.group_write_bytes = 600;
    Watching machine(MadeTicks().text() + one.text() + "step 1\n" + several.text() + "step 2\n" + later.text());
    EXPECT_FALSE(machine.next().find(100)->write_bytes);
    EXPECT_EQ(machine.next().find(100)->write_bytes, 100U);
}

// --- Waits for a CPU

TEST(ProcessRows, AWaitIsBookedWhileItLasts) {
    MadeProcess ready{.pid = 100, .state = 'R', .wait_ns = 1000};
    auto ran = ready;
    ran.cpu_ns += 1000000, ran.wait_ns = 2500000000; // the kernel books the whole wait when it ends
    Watching machine(MadeTicks().text() + ready.text() + "step 1\nstep 2\nstep 3\n" + ran.text());
    for (int i = 0; i < 2; i++) {
        const auto result = machine.next();
        const auto* row = result.find(100);
        ASSERT_TRUE(row);
        EXPECT_EQ(row->wait_us, 1000000U);
        EXPECT_EQ(row->cpu_us, 0U);
        EXPECT_FALSE(row->ran);
        EXPECT_EQ(result.total().runnable, 1U);
    }
    EXPECT_EQ(machine.next().find(100)->wait_us, 499999U);
}

TEST(ProcessRows, WaitsOfThreads) {
    MadeProcess before{.pid = 100, .threads = 3, .wait_ns = 1000000}; // each
    auto now = before;
    now.cpu_ns += 1, now.threads = 4, now.wait_ns = 3000000; // one is new
    Watching machine(MadeTicks().text() + before.text() + "step 1\n" + now.text());
    EXPECT_EQ(machine.next().find(100)->wait_us, 3 * 2000U + 3000U);
}

TEST(ProcessRows, TheFirstThreadGetsCompany) {
    MadeProcess before{.pid = 100, .wait_ns = 1000000};
    auto now = before;
    now.cpu_ns += 1, now.threads = 2, now.wait_ns = 5000000;
    Watching machine(MadeTicks().text() + before.text() + "step 1\n" + now.text());
    EXPECT_EQ(machine.next().find(100)->wait_us, 4000U + 5000U);
}

TEST(ProcessRows, OneThatWasWokenAndDoesNotRunIsSearchedFor) {
    MadeProcess asleep{.pid = 100}, woken{.pid = 100, .state = 'R'};
    Watching machine(MadeTicks{.running = 1}.text() + asleep.text() + "step 1\n" + woken.text() + "step 2\nstep 3\n");
    machine.next();
    EXPECT_EQ(machine.next().find(100)->wait_us, 1000000U);
}

TEST(ProcessRows, WaitsThatTheKernelDoesNotCount) {
    const MadeProcess before{.pid = 100};
    auto now = before;
    now.cpu_ns += 1;
    const std::string none = "gone /proc/100/schedstat\n";
    Watching machine(MadeTicks().text() + before.text() + none + "step 1\n" + now.text() + none);
    const auto result = machine.next();
    EXPECT_FALSE(result.find(100)->wait_us);
    EXPECT_EQ(result.find(100)->cpu_us, 0U);
}

// --- Levels

TEST(ProcessRows, MemoryIsReadWhenFaultsMoved) {
    MadeProcess before{.pid = 100};
    auto quiet = before, grown = before;
    quiet.cpu_ns += 1000, quiet.anonymous_kib = 9000;
    grown.cpu_ns += 2000, grown.anonymous_kib = 5000, grown.swap_kib = 1000, grown.rss_kib = 6000,
                          grown.minor_faults = 300;
    std::string lines = MadeTicks().text() + before.text();
    for (int i = 1; i <= 3; i++) { // until nothing of a new process is read again
        before.cpu_ns += 100;
        lines += "step " + std::to_string(i) + "\n" + before.text();
    }
    quiet.cpu_ns += 1000, grown.cpu_ns += 1000;
    // Others take the turn.
    for (int pid = 1000; pid < 1100; pid++) lines = MadeProcess{.pid = pid}.text() + lines;
    Watching machine(lines + "step 4\n" + quiet.text() + "step 5\n" + grown.text());
    for (int i = 1; i <= 3; i++) machine.next();
    auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->anonymous, 3000U << 10); // as it was
    EXPECT_EQ(row->growth, 0);
    EXPECT_EQ(row->memory_age_us, 2000000U);
    EXPECT_FALSE(row->voluntary);
    result = machine.next();
    row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->anonymous, 5000U << 10);
    EXPECT_EQ(row->swap, 1000U << 10);
    EXPECT_EQ(row->growth, 3000 << 10);
    EXPECT_EQ(row->memory_age_us, 0U);
    EXPECT_EQ(row->minor_faults, 200U);
}

TEST(ProcessRows, TheLargestAreReadWhileMemoryIsTaken) {
    const auto vmstat = [](int stolen) {
        return "file /proc/vmstat <<END\npgsteal_kswapd " + std::to_string(stolen) + "\npswpout 0\noom_kill 0\nEND\n";
    };
    MadeProcess large{.pid = 100, .rss_kib = 900000, .anonymous_kib = 800000};
    auto swapped = large;
    swapped.anonymous_kib = 500000, swapped.swap_kib = 300000, swapped.rss_kib = 600000;
    std::string lines;
    for (int pid = 1000; pid < 1100; pid++) lines += MadeProcess{.pid = pid}.text();
    Watching machine(vmstat(5) + MadeTicks().text() + lines + large.text() + "step 1\n" + swapped.text() + "step 2\n" +
                     vmstat(9));
    // Its turn has not come when nothing is taken away: the first four have had it.
    machine.next();
    const auto result = machine.next(true);
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->swap, 300000U << 10);
    EXPECT_EQ(row->memory_age_us, 0U);
    EXPECT_EQ(row->growth, 0); // swapped out, not grown
}

TEST(ProcessRows, LevelsAreReadInTurn) {
    MadeProcess idle{.pid = 100};
    auto later = idle;
    later.nice = 10, later.rss_kib = 2000, later.anonymous_kib = 1000,
    later.group = "/user.slice/user-0.slice/session-3.scope";
    Watching machine(MadeTicks().text() + idle.text() + "step 1\n" + later.text() + "step 2\n");
    const auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_FALSE(row->ran);
    EXPECT_EQ(row->nice, 10);
    EXPECT_EQ(row->growth, -(2000 << 10));
    EXPECT_EQ(row->unit, "session-3.scope");
    EXPECT_TRUE(machine.next().processes.rows.empty());
}

TEST(ProcessRows, OneThatIsEndingHasGivenItsMemoryBack) {
    MadeProcess before{.pid = 100};
    auto zombie = before;
    zombie.cpu_ns += 1, zombie.state = 'Z', zombie.rss_kib = 0;
    const std::string status =
        "file /proc/100/status <<END\nName:\tworker\nUid:\t0\t0\t0\t0\nEND\ntext /proc/100/cmdline \"\"\n";
    Watching machine(MadeTicks().text() + before.text() + "step 1\n" + zombie.text() + status);
    const auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->state, 'Z');
    EXPECT_EQ(row->growth, -(3000 << 10));
    EXPECT_EQ(row->anonymous, 0U);
    EXPECT_EQ(row->command, "/usr/bin/worker --all");
    EXPECT_EQ(result.total().zombies, 1U);
}

TEST(ProcessRows, TheFirstThreadEndedBeforeTheOthers) {
    const MadeProcess before{.pid = 100, .state = 'Z', .threads = 3};
    auto now = before;
    now.cpu_ns += 5000;
    Watching machine(MadeTicks().text() + before.text() + "step 1\n" + now.text());
    const auto result = machine.next();
    EXPECT_EQ(result.find(100)->cpu_us, 5U);
    EXPECT_EQ(result.total().zombies, 0U);
}

TEST(ProcessRows, KernelThreads) {
    MadeProcess before{.pid = 2, .parent = 0, .name = "kworker/0:1-events", .state = 'I', .flags = 0x200040};
    auto now = before;
    now.cpu_ns += 7000, now.name = "kworker/0:1-mm_percpu_wq";
    Watching machine(MadeTicks().text() + before.text() + "step 1\n" + now.text());
    const auto result = machine.next();
    const auto* row = result.find(2);
    ASSERT_TRUE(row);
    EXPECT_TRUE(row->kernel);
    EXPECT_EQ(row->name, "kworker/0:1-mm_percpu_wq");
    EXPECT_EQ(row->command, "");
    EXPECT_FALSE(row->rss || row->anonymous || row->growth || row->memory_age_us || row->descriptor_limit);
    EXPECT_FALSE(machine.sampler.ran()[0].fresh); // its name changes with its work
}

// --- What it is

TEST(ProcessRows, AnotherProgram) {
    MadeProcess fork{.pid = 100, .name = "sh", .flags = 0x400040, .command = "sh -c job"};
    auto job = fork, again = fork;
    job.cpu_ns += 1, job.flags = 0x400000, job.name = "sh", job.command = "job --fast", job.group = "/jobs/one";
    again = job, again.cpu_ns += 1, again.stack = 0x7ffd00000000, again.command = "job --again";
    Watching machine(MadeTicks().text() + fork.text() + "step 1\n" + job.text() + "step 2\n" + again.text());
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
    Watching machine("hang /proc/100/cmdline\n" + MadeTicks().text() + blocked.text() + several.text() +
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
    Watching machine("answerafter 1500 /proc/200/cmdline\n" + MadeTicks().text() + several.text() + "step 1\n" +
                     gone(200) + other.text() + "step 2\nstep 3\n");
    EXPECT_EQ(machine.next().find(200)->command, "other");
    machine.next();
    EXPECT_EQ(machine.next(true).find(200)->command, "other");
}

TEST(ProcessRows, HostileNames) {
    const MadeProcess before{.pid = 100, .name = "a) R 1 2 (3\\n,\"", .command = "x\x1b[2J,\xff"};
    auto now = before;
    now.cpu_ns += 1000;
    Watching machine(MadeTicks().text() + before.text() + "step 1\n" + now.text());
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
    Watching machine(first + then);
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
    Watching machine(MadeTicks().text() + web.text() + unknown.text() + "file /var/lib/docker/containers/" + id +
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

// --- What may not be read

TEST(ProcessRows, AnOrdinaryUser) {
    const MadeProcess before{.pid = 100, .uid = 1000};
    auto now = before;
    now.cpu_ns += 2000;
    const std::string refused = "fail open /proc/100/io EACCES\nuser 1000 alice\n";
    Watching machine(MadeTicks().text() + before.text() + refused + "step 1\n" + now.text());
    const auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->cpu_us, 2U);
    EXPECT_EQ(row->user, "alice");
    EXPECT_FALSE(row->read_bytes || row->write_chars || row->written_recently);
    EXPECT_EQ(result.total().without_io, 1U);
}

TEST(ProcessRows, HiddenFiles) { // hidepid=1: the directory is listed, its files may not be read
    std::string refused;
    for (const char* file : {"stat", "status", "io", "schedstat", "cgroup", "cmdline"})
        refused += "fail open /proc/100/" + std::string(file) + " EACCES\n";
    const MadeProcess before{.pid = 100};
    Watching machine(MadeTicks().text() + before.text() + refused + "step 1\ncpuclock 100 1000500000\nstep 2\n" +
                     "cpuclock 100 2000\n");
    auto result = machine.next();
    const auto* row = result.find(100);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->cpu_us, 500U);
    EXPECT_EQ(row->start, 0U);
    EXPECT_FALSE(row->threads || row->user_us || row->wait_us);
    result = machine.next(); // the clock fell: another process
    EXPECT_EQ(result.find(100)->cpu_us, 2U);
    EXPECT_EQ(result.exits.rows.size(), 1U);
}

TEST(ProcessRows, WithoutClocks) { // the pids of /proc are those of another namespace
    MadeProcess idle{.pid = 50}, one{.pid = 100}, several{.pid = 200, .threads = 2};
    auto later = one, more = several;
    later.cpu_ns += 5000000;
    more.cpu_ns += 8000000, more.user += 3;
    Watching machine("nocpuclocks\n" + MadeTicks().text() + idle.text() + one.text() + several.text() + "step 1\n" +
                     later.text() + more.text());
    const auto result = machine.next();
    EXPECT_FALSE(result.find(50));
    EXPECT_EQ(result.find(100)->cpu_us, 5000U);
    EXPECT_EQ(result.find(200)->cpu_us, 30000U); // by ticks: threads that ended are in these only
    EXPECT_EQ(result.total().ran, 2U);
}

TEST(ProcessRows, WithoutClocksAThreadJoins) {
    MadeProcess one{.pid = 100};
    auto several = one;
    several.threads = 2, several.cpu_ns += 10000000, several.user += 1;
    Watching machine("nocpuclocks\n" + MadeTicks().text() + one.text() + "step 1\n" + several.text());
    EXPECT_EQ(machine.next().find(100)->cpu_us, 10000U);
}

TEST(ProcessRows, WithoutClocksAndSchedstat) {
    const std::string none = "gone /proc/100/schedstat\ngone /proc/200/schedstat\n";
    MadeProcess idle{.pid = 100}, busy{.pid = 200};
    auto later = busy;
    later.user += 7;
    Watching machine("nocpuclocks\n" + MadeTicks().text() + idle.text() + busy.text() + none + "step 1\n" +
                     later.text() + none);
    const auto result = machine.next();
    EXPECT_FALSE(result.find(100));
    EXPECT_EQ(result.find(200)->cpu_us, 70000U);
}

// --- The machine

TEST(ProcessRows, WhatTheMachineUsed) {
    const MadeTicks before;
    auto now = before;
    now.idle += 60, now.iowait += 10, now.irq += 2, now.softirq += 3, now.user += 25; // of 100 ticks
    Watching machine(before.text() + MadeProcess().text() + "step 1\n" + now.text());
    const auto result = machine.next();
    EXPECT_EQ(result.total().used_us, 300000U);
    EXPECT_EQ(result.total().irq_us, 50000U);
}

TEST(ProcessRows, BlockDelayWhereTheKernelCountsIt) {
    MadeProcess before{.pid = 100};
    auto now = before;
    now.cpu_ns += 1, now.block = 7;
    Watching machine("file /proc/sys/kernel/task_delayacct <<END\n1\nEND\n" + MadeTicks().text() + before.text() +
                     "step 1\n" + now.text());
    EXPECT_EQ(machine.next().find(100)->block_us, 70000U);
}

TEST(ProcessRows, WrittenInTheLast35Seconds) {
    MadeProcess writer{.pid = 100};
    std::string lines = MadeTicks().text() + writer.text() + "step 1\n";
    writer.cpu_ns++, writer.write_bytes = 1000;
    lines += writer.text();
    for (int i = 2; i <= 50; i++) lines += "step " + std::to_string(i) + "\n";
    Watching machine(lines);
    for (int second = 0; second <= 35; second++) {
        const auto result = machine.next();
        ASSERT_TRUE(result.find(100)) << second;
        EXPECT_EQ(result.find(100)->written_recently, 1000U);
        EXPECT_EQ(result.find(100)->ran, second == 0);
    }
    EXPECT_FALSE(machine.next().find(100));
}

TEST(ProcessRows, NewPidsAreLookedForWithoutTheDirectory) {
    const auto last = [](int pid) {
        return "file /proc/loadavg <<END\n0.10 0.20 0.30 1/80 " + std::to_string(pid) + "\nEND\n";
    };
    std::string lines = last(300) + MadeTicks().text();
    for (int pid = 100; pid < 120; pid++) lines += MadeProcess{.pid = pid}.text();
    lines += "step 1\n" + last(303) + MadeProcess{.pid = 302, .start = 10050}.text();
    // A number that was not given out in order is found when the directory is read.
    lines += "step 2\n" + last(303) + MadeProcess{.pid = 90, .start = 10150}.text() + gone(302);
    for (int i = 3; i < 20; i++) lines += "step " + std::to_string(i) + "\n";
    Watching machine(lines);
    EXPECT_TRUE(machine.next().find(302));
    const auto result = machine.next();
    EXPECT_EQ(result.exits.rows.size(), 1U);
    EXPECT_FALSE(result.find(90));
    bool found = false;
    for (int i = 3; i < 20 && !found; i++) found = machine.next().find(90) != nullptr;
    EXPECT_TRUE(found);
}

// As many forks as there are pids lead back to where they were.
TEST(ProcessRows, PidsThatHaveBegunAgain) {
    const auto forks = [](uint64_t number) {
        return "file /proc/loadavg <<END\n0.10 0.20 0.30 1/80 300\nEND\n" + MadeTicks{.forks = number}.text();
    };
    std::string lines = forks(1000);
    for (int pid = 100; pid < 120; pid++) lines += MadeProcess{.pid = pid}.text();
    lines += "step 1\n" + forks(1200) + "step 2\n" + forks(33768) + MadeProcess{.pid = 90, .start = 10150}.text();
    Watching machine(lines);
    machine.next();
    EXPECT_TRUE(machine.next().find(90));
}

// The kernel adds nothing to a parent that ignores SIGCHLD, nor to one whose children somebody else waits for.
TEST(ProcessRows, WhatNobodyInheritsIsNotTakenFromWhatTheOthersDid) {
    Watching machine(MadeTicks().text() + MadeProcess{.pid = 1, .parent = 0, .cpu_ns = 1000000000}.text() +
                     MadeProcess{.pid = 100, .cpu_ns = 50000000000}.text() + "step 1\n" + gone(100) +
                     MadeProcess{.pid = 1, .parent = 0, .cpu_ns = 1300000000}.text());
    const auto result = machine.next();
    EXPECT_EQ(result.total().ended, 1U);
    EXPECT_EQ(result.total().accounted_us, 300000U);
}

// Whatever comes and goes, what is accounted for is never more than there was, and rows agree with the sum.
TEST(ProcessRows, SumsOfManySteps) {
    std::string lines = MadeTicks().text() + MadeProcess{.pid = 1, .parent = 0}.text();
    uint64_t children = 0, spent = 0;
    int64_t cpu = 1000000000;
    for (int step = 1; step <= 30; step++) {
        const int pid = 100 + step;
        lines += "step " + std::to_string(step) + "\n";
        lines +=
            MadeProcess{.pid = pid, .start = static_cast<uint64_t>(10000 + step * 100 - 50), .cpu_ns = 20000000}.text();
        if (step > 1) lines += gone(pid - 1), children += 3; // 20 ms before, 10 ms more until its end
        cpu += 1000000;
        lines +=
            MadeProcess{.pid = 1, .parent = 0, .cpu_ns = cpu, .children_faults = children, .children = children}.text();
    }
    Watching machine(lines);
    for (int step = 1; step <= 30; step++) {
        const auto result = machine.next();
        uint64_t sum = 0;
        for (auto& row : result.processes.rows) sum += row.cpu_us.value_or(0) + row.children_us.value_or(0);
        EXPECT_EQ(sum, result.total().accounted_us) << step;
        EXPECT_EQ(sum, step == 1 ? 21000U : 31000U);
        spent += sum;
    }
    EXPECT_EQ(spent, 30 * 1000U + 30 * 20000U + 29 * 10000U);
}
