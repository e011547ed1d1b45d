// Questions for the sockets of another network namespace to the real kernel, by a worker.
#include "base/clock.h"
#include "base/door/questions.h"
#include "base/helper.h"
#include "tests/door/loopback.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
// A process in a network namespace of its own, with a listener and connections on its loopback. pid 0: there is no
// right to make one.
class Elsewhere {
public:
    pid_t pid = 0;
    uint16_t port = 0;
    size_t connections;

    explicit Elsewhere(size_t count) : connections(count) {
        int ready[2];
        if (pipe(ready) != 0) return;
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            uint16_t there = 0;
            if (unshare(CLONE_NEWNET) == 0 && raiseLoopback()) {
                const Loopback loopback(count);
                there = loopback.port;
                if (write(ready[1], &there, sizeof there) == sizeof there)
                    for (;;) pause();
            }
            _exit(1);
        }
        close(ready[1]);
        if (child > 0 && read(ready[0], &port, sizeof port) == sizeof port) pid = child;
        else if (child > 0) waitpid(child, nullptr, 0);
        close(ready[0]);
    }
    ~Elsewhere() {
        if (pid > 0) kill(pid, SIGKILL), waitpid(pid, nullptr, 0);
    }
    Elsewhere(const Elsewhere&) = delete;
    Elsewhere& operator=(const Elsewhere&) = delete;
    std::string path() const { return "/proc/" + std::to_string(pid) + "/ns/net"; }

private:
    static bool raiseLoopback() {
        const int fd = socket(AF_INET, SOCK_DGRAM, 0);
        ifreq request{};
        strcpy(request.ifr_name, "lo");
        request.ifr_flags = IFF_UP;
        const bool up = fd >= 0 && ioctl(fd, SIOCSIFFLAGS, &request) == 0;
        if (fd >= 0) close(fd);
        return up;
    }
};

struct Answered {
    int error = 0;
    bool cut = false;
    size_t pieces = 0;
    std::string messages;
};
} // namespace

static uint64_t inodeOf(const std::string& path) {
    struct stat at{};
    return stat(path.c_str(), &at) == 0 ? at.st_ino : 0;
}

static uint64_t ownNamespace() { return inodeOf("/proc/self/ns/net"); }

// As a worker does it. It must be back in its own namespace afterwards. `inode`: 0: that of the path.
static Answered askThere(const std::string& path, const std::string& requests, uint64_t inode = 0) {
    const auto before = ownNamespace();
    static QuestionMessage question;
    static char text[MostOfFile];
    question.kind = Question::Kind::Sockets;
    question.from = inode ? inode : inodeOf(path);
    const auto words = path + '\0' + requests;
    question.size = static_cast<uint32_t>(words.copy(question.text, MostOfQuestion));
    AnswerHead head;
    Answered answered;
    answerSockets(question, head, text, [&] {
        answered.messages.append(text, head.size);
        answered.pieces++;
        return true;
    });
    answered.error = head.error, answered.cut = head.cut;
    EXPECT_EQ(ownNamespace(), before);
    return answered;
}

TEST(SocketsThere, GivesTheSocketsOfAnotherNamespaceOnly) {
    const Elsewhere there(20);
    if (there.pid == 0) GTEST_SKIP() << "no right to make a network namespace";
    const Loopback own(2);
    const auto listed = askThere(there.path(), listRequest(IPPROTO_TCP, AF_INET) + listRequest(IPPROTO_TCP, AF_INET6));
    EXPECT_EQ(listed.error, 0);
    EXPECT_FALSE(listed.cut);
    const auto all = socketsOf(listed.messages, there.port);
    EXPECT_EQ(all.size(), 41U);
    EXPECT_TRUE(own.port == there.port || socketsOf(listed.messages, own.port).empty());

    // More single ones than go at once, and a list after them.
    const auto requests = singleRequests(all);
    ASSERT_EQ(requests.size(), 40U);
    const auto asked = askThere(there.path(), joined(requests, 35) + listRequest(IPPROTO_UDP, AF_INET));
    EXPECT_EQ(asked.error, 0);
    EXPECT_EQ(socketsOf(asked.messages, there.port).size(), 35U);
    EXPECT_GE(asked.pieces, 3U);

    // What is not there, and what this kernel does not know, is no failure.
    Socket nobody;
    nobody.cookie = 1, nobody.family = AF_INET, nobody.protocol = IPPROTO_TCP, nobody.ends.port = 9;
    const auto none =
        askThere(there.path(), socketRequest(nobody) + requests[0] + listRequest(IPPROTO_TCP, AF_MAX - 1) +
                                   listRequest(IPPROTO_TCP, AF_INET));
    EXPECT_EQ(none.error, 0);
    EXPECT_EQ(socketsOf(none.messages, there.port).size(), 1U + 41U);
}

// Who does not want the rest of a long answer does not leave a worker in the namespace.
TEST(SocketsThere, WhatIsForgottenIsLeft) {
    const Elsewhere there(2000);
    if (there.pid == 0) GTEST_SKIP() << "no right to make a network namespace";
    size_t pieces = 0;
    Question question;
    question.kind = Question::Kind::Sockets;
    question.words = {there.path(), listRequest(IPPROTO_TCP, AF_INET)};
    question.from = inodeOf(there.path());
    question.piece = [&](const Answer&) { pieces++; };
    Helper helper;
    const auto ticket = helper.ask(question);
    const auto after = helper.ask(question);
    const int64_t until = getMonotonic() + 5000000;
    while (pieces == 0 && getMonotonic() < until) helper.pump();
    ASSERT_GT(pieces, 0U);
    Answer answer;
    std::vector<Watched> watched;
    helper.watch(watched);
    EXPECT_EQ(watched.size(), 1U);
    helper.forget(ticket);
    watched.clear();
    helper.watch(watched);
    EXPECT_TRUE(watched.empty());
    pieces = 0;
    helper.await(until + 5000000); // another worker
    EXPECT_EQ(helper.take(after, answer), Helper::State::Answered);
    EXPECT_GT(pieces, 30U);
}

// The process of the path may be in another namespace by then.
TEST(SocketsThere, EntersNoOtherNamespace) {
    const Elsewhere there(1);
    if (there.pid == 0) GTEST_SKIP() << "no right to make a network namespace";
    const auto request = listRequest(IPPROTO_TCP, AF_INET);
    EXPECT_EQ(askThere(there.path(), request).error, 0);
    const auto wrong = askThere(there.path(), request, ownNamespace());
    EXPECT_EQ(wrong.error, ENOENT);
    EXPECT_EQ(wrong.messages, "");
}

TEST(SocketsThere, ManySocketsComeInPieces) {
    const Elsewhere there(300);
    if (there.pid == 0) GTEST_SKIP() << "no right to make a network namespace";
    const auto listed = askThere(there.path(), listRequest(IPPROTO_TCP, AF_INET));
    EXPECT_EQ(listed.error, 0);
    EXPECT_GE(listed.pieces, 3U);
    EXPECT_EQ(socketsOf(listed.messages, there.port).size(), 601U);
    Question question;
    question.kind = Question::Kind::Sockets;
    question.words = {there.path(), listRequest(IPPROTO_TCP, AF_INET)};
    question.from = inodeOf(there.path());
    std::string messages;
    question.piece = [&](const Answer& part) { messages += part.text; };
    Helper helper;
    const auto ticket = helper.ask(std::move(question));
    helper.await(getMonotonic() + 5000000);
    Answer answer;
    ASSERT_EQ(helper.take(ticket, answer), Helper::State::Answered);
    EXPECT_EQ(answer.error, 0);
    EXPECT_FALSE(answer.cut);
    EXPECT_EQ(socketsOf(messages, there.port).size(), 601U);
    EXPECT_EQ(answer.text, "");
    uint64_t own = 0;
    socklen_t size = sizeof own;
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    constexpr int NetnsCookie = 71;
    if (getsockopt(fd, SOL_SOCKET, NetnsCookie, &own, &size) == 0) {
        EXPECT_NE(answer.netns, 0U);
        EXPECT_NE(answer.netns, own);
    } else {
        EXPECT_EQ(answer.netns, 0U);
    }
    close(fd);
}

TEST(SocketsThere, TellsWhyItCannotEnter) {
    const auto request = listRequest(IPPROTO_TCP, AF_INET);
    EXPECT_EQ(askThere("/proc/self/ns/none", request).error, ENOENT);
    if (geteuid() != 0) return;
    EXPECT_EQ(askThere("/proc/self/ns/uts", request).error, EINVAL);
    const auto own = askThere("/proc/self/ns/net", std::string(request, 0, 10)); // a request that is cut
    EXPECT_EQ(own.error, 0);
    EXPECT_EQ(own.pieces, 0U);
}
