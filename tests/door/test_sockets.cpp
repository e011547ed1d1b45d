// Questions for sockets to the real kernel: of the own network namespace by cookie, and of another one by a worker.
#include "base/clock.h"
#include "base/door/questions.h"
#include "base/helper.h"
#include "base/netlink.h"
#include "parse/attributes.h"
#include "sample/sockrequest.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <linux/sock_diag.h>
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
// A listener on a free port of loopback, and connections to it.
class Loopback {
    std::vector<int> ends; // the listener first

public:
    uint16_t port = 0;

    explicit Loopback(size_t connections) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* at = reinterpret_cast<sockaddr*>(&address);
        const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ends.push_back(listener);
        if (bind(listener, at, size) != 0 || listen(listener, 64) != 0 || getsockname(listener, at, &size) != 0) return;
        for (size_t i = 0; i < connections; i++) {
            const int here = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            if (connect(here, at, size) != 0) return;
            ends.push_back(here);
            ends.push_back(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
        }
        port = ntohs(address.sin_port);
    }
    ~Loopback() {
        for (const int fd : ends)
            if (fd >= 0) close(fd);
    }
    Loopback(const Loopback&) = delete;
    Loopback& operator=(const Loopback&) = delete;

    // Connection number n, 0 the first; no TIME_WAIT is left.
    void end(size_t n) {
        const linger hard{1, 0};
        for (const size_t i : {2 * n + 1, 2 * n + 2}) {
            setsockopt(ends[i], SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
            close(ends[i]);
            ends[i] = -1;
        }
    }
};
} // namespace

static std::vector<InetSocket> socketsOf(std::string_view messages, uint16_t port) {
    std::vector<InetSocket> found;
    eachMessage(messages, [&](uint16_t type, std::string_view payload) {
        const auto socket = type == SOCK_DIAG_BY_FAMILY ? parseInetSocket(payload) : std::nullopt;
        if (socket && (socket->ends.port == port || socket->ends.peer_port == port)) found.push_back(*socket);
    });
    return found;
}

// Opens the socket and lists those of a port; none: something failed.
static std::vector<InetSocket> listed(Netlink& netlink, uint16_t port) {
    Contents answer;
    auto list = listRequest(IPPROTO_TCP, AF_INET);
    const bool good = netlink.open(NETLINK_SOCK_DIAG) && netlink.ask(list, answer) == Asked::Whole;
    return good ? socketsOf(answer.view(), port) : std::vector<InetSocket>();
}

// The requests for connected sockets, one by one.
static std::vector<std::string> singleRequests(const std::vector<InetSocket>& sockets) {
    std::vector<std::string> requests;
    for (const auto& from : sockets) {
        if (from.state == SocketState::Listen) continue;
        Socket socket;
        socket.cookie = from.cookie, socket.ends = from.ends, socket.family = from.family;
        socket.protocol = IPPROTO_TCP;
        requests.push_back(socketRequest(socket));
    }
    return requests;
}

static std::string joined(const std::vector<std::string>& requests, size_t most = SIZE_MAX) {
    std::string all;
    for (size_t i = 0; i < std::min(most, requests.size()); i++) all += requests[i];
    return all;
}

// --- The own namespace

TEST(SocketQuestions, SeveralSocketsAreAskedForAtOnce) {
    Loopback loopback(16);
    ASSERT_GT(loopback.port, 0);
    Netlink netlink;
    Contents answer;
    const auto all = listed(netlink, loopback.port);
    ASSERT_EQ(all.size(), 33U); // both ends of each, and the listener
    const auto requests = singleRequests(all);
    ASSERT_EQ(requests.size(), Netlink::MostAtOnce);

    auto several = joined(requests);
    ASSERT_EQ(netlink.askMany(several, answer), Asked::Whole);
    const auto asked = socketsOf(answer.view(), loopback.port);
    ASSERT_EQ(asked.size(), requests.size());
    std::set<uint64_t> cookies;
    for (const auto& socket : asked) {
        cookies.insert(socket.cookie);
        EXPECT_EQ(socket.state, SocketState::Established);
        EXPECT_TRUE(socket.tcp && socket.drops);
    }
    EXPECT_EQ(cookies.size(), requests.size());

    loopback.end(3), loopback.end(7);
    several = joined(requests);
    ASSERT_EQ(netlink.askMany(several, answer), Asked::Whole); // what has ended has no answer
    EXPECT_EQ(socketsOf(answer.view(), loopback.port).size(), requests.size() - 4);
    several.clear();
    EXPECT_EQ(netlink.askMany(several, answer), Asked::Whole);
    EXPECT_EQ(answer.size, 0U);
}

TEST(SocketQuestions, TooManyAtOnceAndDamagedOnesAreRefused) {
    Loopback loopback(17);
    ASSERT_GT(loopback.port, 0);
    Netlink netlink;
    Contents answer;
    const auto requests = singleRequests(listed(netlink, loopback.port));
    ASSERT_EQ(requests.size(), 34U);
    auto several = joined(requests, 33);
    errno = 0;
    EXPECT_EQ(netlink.askMany(several, answer), Asked::Failed);
    EXPECT_EQ(errno, EMSGSIZE);
    several = requests[0];
    several[0] = several[1] = 0; // its length
    EXPECT_EQ(netlink.askMany(several, answer), Asked::Failed);
    EXPECT_EQ(errno, EINVAL);
    several = joined(requests, 32); // and then it works
    EXPECT_EQ(netlink.askMany(several, answer), Asked::Whole);
    EXPECT_EQ(socketsOf(answer.view(), loopback.port).size(), 32U);
}

// --- Another namespace

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
