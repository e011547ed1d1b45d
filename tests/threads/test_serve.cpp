// The server of `wyrt serve` and its reporter, on a real socket: what their threads share, and what hostile clients
// get.
#include "base/clock.h"
#include "base/wait.h"
#include "wyrtlog/serve/httpserver.h"
#include "wyrtlog/serve/reporter.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace std::chrono_literals;

// --- A client

namespace {
class Client {
    int fd;

public:
    explicit Client(uint16_t port) : fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in to{};
        to.sin_family = AF_INET, to.sin_port = htons(port), to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        timeval patience{20, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        if (connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) leave();
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() { leave(); }
    void leave() {
        if (fd >= 0) close(fd);
        fd = -1;
    }
    void say(const std::string& text) const {
        if (fd >= 0 && send(fd, text.data(), text.size(), MSG_NOSIGNAL) < 0) errno = 0;
    }
    // All until the server ends the connection; "timeout" where it does not.
    std::string hear() const {
        std::string all;
        char part[4096];
        for (;;) {
            const auto n = fd < 0 ? 0 : recv(fd, part, sizeof part, 0);
            if (n > 0) all.append(part, static_cast<size_t>(n));
            else return n < 0 && errno == EAGAIN ? "timeout" : all;
        }
    }
};

// A server on a free port, whose answer is what its target says.
class Server {
    Signals signals; // before any thread

public:
    uint16_t port = 0;
    std::atomic<int> forgotten = 0;
    Reporter reporter{[this](const void* asker) {
                          if (asker) server.wake(static_cast<const Exchange*>(asker));
                          server.endLate();
                      },
                      {3000000, 100000}};
    HttpServer server{[this](auto& target, auto& accept, auto* by) { return answer(target, accept, by); },
                      [this](auto* by) { forgotten++, reporter.forget(by); }};

    std::optional<HttpAnswer> answer(const std::string& target, const std::string& accept, const Exchange* by) {
        if (target.starts_with("/report")) {
            if (reporter.isOf(by)) {
                auto made = reporter.take(by);
                if (!made) return {};
                return plainAnswer(made->timely ? 200 : 503, std::to_string(made->status) + " " + made->text);
            }
            if (!reporter.ask(by, {"/bin/sh", "-c", target.substr(std::string_view("/report").size())}))
                return plainAnswer(503, "busy\n");
            return {};
        }
        if (target == "/large") return plainAnswer(200, std::string(4000000, 'x'));
        return plainAnswer(200, target + " " + accept + "\n");
    }
    explicit Server(HttpServer::Limits limits = HttpServer::Limits()) {
        for (port = 20000; port < 60000; port = static_cast<uint16_t>(port + 97))
            if (server.start({"127.0.0.1", false, port}, limits).empty()) break;
        reporter.start();
    }
    ~Server() {
        reporter.stop();
        server.stop();
    }
    std::string asked(const std::string& request) const {
        const Client client(port);
        client.say(request);
        return client.hear();
    }
    std::string got(const std::string& target) const {
        return asked("GET " + target + " HTTP/1.1\r\nHost: x\r\nAccept: a/b\r\n\r\n");
    }
};
} // namespace

static std::string bodyOf(const std::string& answer) {
    const auto end = answer.find("\r\n\r\n");
    return end == answer.npos ? "none: " + answer : answer.substr(end + 4);
}

// --- Requests

TEST(HttpServer, AnswersAndEndsTheConnection) {
    const Server server;
    EXPECT_EQ(bodyOf(server.got("/a?b=%00&c")), "/a?b=%00&c a/b\n") << "the target is given as it came";
    EXPECT_EQ(bodyOf(server.got("/../../etc/passwd")), "/../../etc/passwd a/b\n");
    const auto head = server.asked("HEAD /a HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_TRUE(head.starts_with("HTTP/1.1 200") && head.ends_with("\r\n\r\n")) << head;
    EXPECT_TRUE(server.asked("GET /a HTTP/1.0\r\n\r\n").ends_with("/a \n"));
    EXPECT_EQ(bodyOf(server.got("/large")).size(), 4000000U);
}

TEST(HttpServer, RefusesWhatItDoesNotKnow) {
    const Server server;
    for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "X"}) {
        const auto said = server.asked(std::string(method) + " /a HTTP/1.1\r\nHost: x\r\n\r\n");
        EXPECT_TRUE(said.starts_with("HTTP/1.1 405")) << method << said;
    }
    const auto body = server.asked("GET /a HTTP/1.1\r\nHost: x\r\nContent-Length: 1000000000000\r\n\r\nx");
    EXPECT_TRUE(body.starts_with("HTTP/1.1 400")) << body;
    const auto chunked = server.asked("GET /a HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n");
    EXPECT_TRUE(chunked.starts_with("HTTP/1.1 400")) << chunked;
    for (const std::string& request :
         {"GET /" + std::string(100000, 'a') + " HTTP/1.1\r\nHost: x\r\n\r\n",
          "GET /a HTTP/1.1\r\nX: " + std::string(100000, 'a') + "\r\n\r\n", std::string("\0\0\0\r\n\r\n", 7),
          std::string("garbage\r\n\r\n"), std::string("\x16\x03\x01\x02\0\x01\0", 7)}) {
        const auto said = server.asked(request + "\r\n\r\n");
        EXPECT_FALSE(said.starts_with("HTTP/1.1 200")) << request.substr(0, 20);
        EXPECT_NE(said, "timeout") << request.substr(0, 20);
    }
    EXPECT_EQ(bodyOf(server.got("/still")), "/still a/b\n");
}

TEST(HttpServer, SaysWhyItCannotListen) {
    Server server;
    HttpServer second([](auto&, auto&, auto*) { return plainAnswer(200, ""); }, [](auto*) {});
    EXPECT_EQ(second.start({"127.0.0.1", false, server.port}), "Address already in use");
    EXPECT_EQ(second.start({"192.0.2.1", false, server.port}), "Cannot assign requested address");
    EXPECT_EQ(second.start({"1.2.3", false, server.port}), "Invalid argument");
}

TEST(HttpServer, SlowClientsAreEndedAndTheOthersAnswered) {
    HttpServer::Limits limits;
    limits.connections = 20, limits.perAddress = 20, limits.request_us = 1000000, limits.answer_us = 1500000;
    Server server(limits);
    std::vector<std::unique_ptr<Client>> slow;
    for (int i = 0; i < 15; i++) {
        slow.push_back(std::make_unique<Client>(server.port));
        slow.back()->say("GET /a HTTP/1.1\r\nX: ");
    }
    const Client reader(server.port); // asks for much and reads nothing
    reader.say("GET /large HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_EQ(bodyOf(server.got("/quick")), "/quick a/b\n");
    const auto begun = getMonotonic();
    while (server.server.connections() > 0 && getMonotonic() - begun < 8000000) {
        for (auto& client : slow) client->say("a"); // something moves all the time
        std::this_thread::sleep_for(50ms);
    }
    EXPECT_EQ(server.server.connections(), 0U);
    EXPECT_EQ(bodyOf(server.got("/again")), "/again a/b\n");
}

// --- Reports

TEST(Reporter, OneAtATimeAndTheServerGoesOn) {
    Server server;
    std::string slow;
    std::thread first([&] {
        slow = server.got("/report"
                          "sleep${IFS}1;echo${IFS}done");
    });
    while (server.server.connections() == 0) std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(200ms); // its request is there
    EXPECT_EQ(bodyOf(server.got("/reportecho")), "busy\n");
    EXPECT_EQ(bodyOf(server.got("/other")), "/other a/b\n");
    first.join();
    EXPECT_EQ(bodyOf(slow), "0 done\n");
    EXPECT_EQ(bodyOf(server.got("/reportexit${IFS}3")), "3 ");
    EXPECT_EQ(bodyOf(server.got("/report/none")), "127 ");
    EXPECT_TRUE(bodyOf(server.got("/reportsleep${IFS}100")).starts_with("255")) << "it took too long";
    EXPECT_TRUE(server.got("/reportyes").starts_with("HTTP/1.1 503")) << "it printed too much";
}

TEST(Reporter, WhoLeavesDoesNotBlockTheNext) {
    Server server;
    for (int i = 0; i < 5; i++) {
        Client client(server.port);
        client.say("GET /reportsleep${IFS}0.1 HTTP/1.1\r\nHost: x\r\n\r\n");
        std::this_thread::sleep_for(20ms);
        client.leave();
    }
    const auto begun = getMonotonic();
    std::string said;
    while ((said = bodyOf(server.got("/reportecho${IFS}x"))) != "0 x\n" && getMonotonic() - begun < 10000000)
        std::this_thread::sleep_for(20ms);
    EXPECT_EQ(said, "0 x\n");
}

TEST(Reporter, AStopEndsWhoWaits) {
    std::string said;
    std::thread waits;
    {
        Server server;
        waits = std::thread([&, port = server.port] {
            const Client client(port);
            client.say("GET /reportsleep${IFS}60 HTTP/1.1\r\nHost: x\r\n\r\n");
            said = client.hear();
        });
        while (server.server.connections() == 0) std::this_thread::sleep_for(1ms);
        std::this_thread::sleep_for(100ms);
    }
    waits.join();
    EXPECT_NE(said, "timeout");
}

// Many clients, reports and comings and goings at once.
TEST(HttpServer, ManyAtOnce) {
    Server server;
    std::atomic<int> good = 0;
    std::vector<std::thread> clients;
    for (int i = 0; i < 6; i++)
        clients.emplace_back([&, i] {
            for (int n = 0; n < 30; n++) {
                if (n % 10 == i) {
                    Client gone(server.port);
                    gone.say("GET /reportecho HTTP/1.1\r\nHost: x\r\n\r\n");
                    continue;
                }
                if (bodyOf(server.got("/a")) == "/a a/b\n") good++;
            }
        });
    for (auto& client : clients) client.join();
    EXPECT_EQ(good, 6 * 27);
    EXPECT_GE(server.forgotten, 6 * 27);
}
