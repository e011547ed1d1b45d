// Workers and tools on the real kernel: what hangs is abandoned, and the program goes on.
#include "base/clock.h"
#include "base/helper.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;
using State = Helper::State;

static Question question(Question::Kind kind, std::vector<std::string> words, int64_t patience_us = 5000000) {
    Question asked;
    asked.kind = kind;
    asked.words = std::move(words);
    asked.patience_us = patience_us;
    return asked;
}

static Answer answered(Helper& helper, Question asked) {
    const auto ticket = helper.ask(std::move(asked));
    helper.await(getMonotonic() + 20000000);
    Answer answer;
    EXPECT_EQ(helper.take(ticket, answer), State::Answered);
    return answer;
}

TEST(RealHelper, SpaceOfAFilesystem) {
    Helper helper;
    struct statvfs expected{};
    ASSERT_EQ(statvfs("/proc", &expected), 0);
    const auto none = answered(helper, question(Question::Kind::Space, {"/proc"}));
    EXPECT_EQ(none.error, 0);
    EXPECT_EQ(none.space.blocks, 0U);
    ASSERT_EQ(statvfs("/", &expected), 0);
    const auto root = answered(helper, question(Question::Kind::Space, {"/"}));
    EXPECT_EQ(root.space.block, expected.f_frsize);
    EXPECT_EQ(root.space.blocks, expected.f_blocks);
    EXPECT_EQ(root.space.files, expected.f_files);
    EXPECT_EQ(root.space.read_only, (expected.f_flag & ST_RDONLY) != 0);
    EXPECT_EQ(answered(helper, question(Question::Kind::Space, {"/no/such"})).error, ENOENT);
    EXPECT_EQ(helper.abandoned(), 0U);
}

TEST(RealHelper, ManyQuestions) {
    Helper helper;
    std::vector<Helper::Ticket> tickets;
    for (int i = 0; i < 1000; i++) tickets.push_back(helper.ask(question(Question::Kind::Space, {"/"})));
    helper.await(getMonotonic() + 60000000);
    for (const auto ticket : tickets) {
        Answer answer;
        ASSERT_EQ(helper.take(ticket, answer), State::Answered);
        EXPECT_EQ(answer.error, 0);
        EXPECT_GE(answer.took_us, 0);
    }
}

TEST(RealHelper, FilesAndSpeeds) {
    Helper helper;
    EXPECT_EQ(answered(helper, question(Question::Kind::File, {"/proc/self/comm"})).text, "wyrt-helper\n");
    EXPECT_EQ(answered(helper, question(Question::Kind::File, {"/no/such"})).error, ENOENT);
    const auto endless = answered(helper, question(Question::Kind::File, {"/dev/zero"}));
    EXPECT_EQ(endless.text.size(), 65536U);
    EXPECT_TRUE(endless.cut);
    EXPECT_EQ(answered(helper, question(Question::Kind::Speed, {"none"})).error, ENODEV);
    EXPECT_NE(answered(helper, question(Question::Kind::Speed, {"lo"})).error, ENODEV);
}

// Names of a directory, and both kinds of text from a place on.
TEST(RealHelper, NamesInPieces) {
    std::string dir = (fs::temp_directory_path() / "wyrt-names.XXXXXX").string();
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    for (int i = 0; i < 900; i++) std::ofstream(dir + "/" + std::string(100, 'n') + std::to_string(1000 + i));
    Helper helper;
    auto asked = question(Question::Kind::Names, {dir});
    const auto first = answered(helper, asked);
    EXPECT_EQ(first.error, 0);
    EXPECT_TRUE(first.cut);
    asked.from = static_cast<uint64_t>(std::count(first.text.begin(), first.text.end(), '\n'));
    const auto second = answered(helper, asked);
    EXPECT_FALSE(second.cut);
    std::istringstream lines(first.text + second.text);
    std::set<std::string> names;
    for (std::string line; std::getline(lines, line);) names.insert(line);
    EXPECT_EQ(names.size(), 900U);
    EXPECT_EQ(names.begin()->size(), 104U);
    EXPECT_EQ(answered(helper, question(Question::Kind::Names, {dir + "/none"})).error, ENOENT);
    auto file = question(Question::Kind::File, {"/proc/self/comm"});
    file.from = 5;
    EXPECT_EQ(answered(helper, file).text, "helper\n");
    fs::remove_all(dir);
}

// Asks a worker that is stopped, and waits until it is late.
static Helper::Ticket askStopped(Helper& helper, pid_t& worker) {
    worker = std::stoi(answered(helper, question(Question::Kind::File, {"/proc/self/stat"})).text);
    EXPECT_EQ(kill(worker, SIGSTOP), 0);
    const auto ticket = helper.ask(question(Question::Kind::Space, {"/"}, 50000));
    helper.await(getMonotonic() + 20000000);
    return ticket;
}

// A worker whose answer came late is not used again. It must not stay in the process table: a slow server would leave
// one there with each sample.
TEST(RealHelper, LeavesNoZombies) {
    Helper helper;
    Answer answer;
    pid_t worker = 0;
    const auto ticket = askStopped(helper, worker);
    EXPECT_EQ(helper.take(ticket, answer), State::Late);
    EXPECT_EQ(helper.abandoned(), 1U);
    ASSERT_EQ(kill(worker, SIGCONT), 0);
    const int64_t until = getMonotonic() + 20000000;
    while (helper.take(ticket, answer) == State::Late && getMonotonic() < until) usleep(1000);
    while (kill(worker, 0) == 0 && getMonotonic() < until) helper.pump(), usleep(1000);
    EXPECT_NE(kill(worker, 0), 0);
    EXPECT_EQ(helper.abandoned(), 0U);
}

// Whoever asked does not want to know any more: the worker is not waited for.
TEST(RealHelper, AWorkerThatIsStuckWithAForgottenQuestionEnds) {
    Helper helper;
    Answer answer;
    pid_t worker = 0;
    const auto ticket = askStopped(helper, worker);
    EXPECT_EQ(helper.take(ticket, answer), State::Late);
    helper.forget(ticket);
    const int64_t until = getMonotonic() + 20000000;
    while ((helper.pump(), helper.abandoned() > 0) && getMonotonic() < until) usleep(1000);
    EXPECT_NE(kill(worker, 0), 0);
    EXPECT_EQ(helper.abandoned(), 0U);
}

// Nothing of the program is open in the helper, but its socket and the folder that it lists.
TEST(RealHelper, HasNothingOfOurs) {
    const int ours = fcntl(STDERR_FILENO, F_DUPFD, 50); // not closed on exec
    ASSERT_GE(ours, 50);
    Helper helper;
    const auto name = "/proc/self/fd/" + std::to_string(ours);
    EXPECT_EQ(answered(helper, question(Question::Kind::Space, {name})).error, ENOENT);
    EXPECT_EQ(answered(helper, question(Question::Kind::Space, {"/proc/self/fd/0"})).error, ENOENT);
    const auto tool = answered(helper, question(Question::Kind::Tool, {"ls", "/proc/self/fd"}));
    EXPECT_EQ(tool.text, "0\n1\n2\n3\n");
    close(ours);
}

// The kernel may spare a recorder when memory runs out. What works for it is not spared, nor less likely to be killed.
static void expectAdjusted(const char* ours, const char* theirs) {
    const char* const path = "/proc/self/oom_score_adj";
    std::string before;
    std::ifstream(path) >> before;
    if (!(std::ofstream(path) << ours << std::flush)) GTEST_SKIP() << "this is not allowed here";
    Helper helper;
    EXPECT_EQ(answered(helper, question(Question::Kind::Tool, {"cat", path})).text, theirs);
    EXPECT_EQ(answered(helper, question(Question::Kind::File, {path})).text, theirs);
    std::ofstream(path) << before;
}
TEST(RealHelper, IsNotSparedAsARecorderIs) { expectAdjusted("-100", "0\n"); }
TEST(RealHelper, IsAsLikelyToBeKilled) { expectAdjusted("300", "300\n"); }

TEST(RealHelper, Tools) {
    Helper helper;
    const auto words = answered(helper, question(Question::Kind::Tool, {"echo", "a b", "$HOME", "*"}));
    EXPECT_EQ(words.text, "a b $HOME *\n"); // no shell
    EXPECT_EQ(words.status, 0);
    EXPECT_EQ(answered(helper, question(Question::Kind::Tool, {"false"})).status, 1);
    EXPECT_EQ(answered(helper, question(Question::Kind::Tool, {"no-such-tool-of-ours"})).status, 127);
    EXPECT_EQ(answered(helper, question(Question::Kind::Tool, {"printenv", "PATH"})).text,
              "/usr/sbin:/usr/bin:/sbin:/bin\n");
    auto endless = question(Question::Kind::Tool, {"yes"});
    endless.most = 10000;
    const auto cut = answered(helper, endless);
    EXPECT_EQ(cut.text.size(), 10000U);
    EXPECT_TRUE(cut.cut);
    const auto signals = answered(helper, question(Question::Kind::Tool, {"grep", "SigBlk", "/proc/self/status"}));
    EXPECT_EQ(signals.text, "SigBlk:\t0000000000000000\n");
}

// What finds no room in the pipe must be taken during a pause: the tool waits for that.
TEST(RealHelper, ALongOutputArrivesDuringAPause) {
    Helper helper;
    constexpr size_t Long = 1000000;
    const auto ticket = helper.ask(question(Question::Kind::Tool, {"head", "-c", std::to_string(Long), "/dev/zero"}));
    helper.pump();
    std::vector<Watched> watched;
    const int64_t until = getMonotonic() + 20000000;
    for (auto woken = true; woken; helper.pump()) {
        watched.clear();
        helper.watch(watched);
        woken = std::any_of(watched.begin(), watched.end(), [](auto& one) { return one.handle >= 0; }) &&
                waitReady(until, watched);
    }
    Answer answer;
    while (helper.take(ticket, answer) == State::Asked && getMonotonic() < until) usleep(1000);
    EXPECT_EQ(answer.text.size(), Long);
    EXPECT_EQ(answer.error, 0);
}

TEST(RealHelper, AToolThatHangsIsKilled) {
    Helper helper;
    const int64_t start = getMonotonic();
    const auto answer = answered(helper, question(Question::Kind::Tool, {"sleep", "1000"}, 100000));
    EXPECT_EQ(answer.error, ETIMEDOUT);
    EXPECT_GE(answer.took_us, 100000);
    EXPECT_LT(getMonotonic() - start, 10000000);
    EXPECT_EQ(answered(helper, question(Question::Kind::Tool, {"echo", "next"})).text, "next\n");
}

// A FUSE filesystem whose program never answers: statfs waits in the kernel.
static bool mountHanging(const std::string& dir, int& device) {
    device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (device < 0) return false;
    const auto options = "fd=" + std::to_string(device) + ",rootmode=40000,user_id=0,group_id=0";
    return mount("none", dir.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str()) == 0;
}

// The hanging mount is in a mount namespace of its own, which ends with the child.
TEST(RealHelper, AFilesystemThatHangsIsAbandoned) {
    const std::string pattern = (fs::temp_directory_path() / "wyrt-hang.XXXXXX").string();
    std::string dir = pattern;
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    const int64_t start = getMonotonic();
    constexpr int Skipped = 77;
    const pid_t child = fork();
    if (child == 0) {
        int device = -1;
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) _exit(Skipped);
        if (!mountHanging(dir, device)) _exit(Skipped);
        Helper helper;
        Answer answer;
        const auto stuck = helper.ask(question(Question::Kind::Space, {dir}, 200000));
        const auto next = helper.ask(question(Question::Kind::Space, {"/"}));
        helper.await(getMonotonic() + 20000000);
        if (helper.take(stuck, answer) != State::Late || answer.took_us < 200000) _exit(1);
        if (helper.take(next, answer) != State::Answered || answer.error != 0) _exit(2);
        if (helper.abandoned() != 1) _exit(3);
        exit(0); // destructors of what is static run; the helper is not waited for
    }
    int status = -1;
    waitpid(child, &status, 0);
    fs::remove_all(dir);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == Skipped) GTEST_SKIP() << "no right to mount a FUSE filesystem here";
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_LT(getMonotonic() - start, 10000000);
}
