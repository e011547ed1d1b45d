// The HTTP side of wyrt push, with a receiver of a few lines on loopback.
#include "tests/unit/made.h"
#include "wyrtlog/push/http.h"

#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {
// Answers each connection with the next of some texts; an empty one is no answer.
class Answering {
    int listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string heard;
    std::thread thread;

    void serve(const std::vector<std::string>& answers) {
        for (const auto& answer : answers) {
            const int fd = accept(listening, nullptr, nullptr);
            char buffer[4096];
            std::string request;
            while (request.find("the body") == request.npos) {
                const ssize_t n = read(fd, buffer, sizeof buffer);
                if (n <= 0) break;
                request.append(buffer, static_cast<size_t>(n));
            }
            heard += request + "\n";
            if (!answer.empty() && write(fd, answer.data(), answer.size()) < 0) heard += "unheard\n";
            close(fd);
        }
    }

public:
    std::string url;

    explicit Answering(const std::vector<std::string>& answers) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (bind(listening, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listening, 5) != 0 ||
            getsockname(listening, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            std::abort();
        url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/write?db=x";
        thread = std::thread([this, answers] { serve(answers); });
    }
    // All requests. The answers must have been asked for.
    std::string requests() {
        if (thread.joinable()) thread.join();
        return heard;
    }
    ~Answering() {
        if (thread.joinable()) thread.join();
        close(listening);
    }
    Answering(const Answering&) = delete;
    Answering& operator=(const Answering&) = delete;
};
} // namespace

static HttpSettings settingsFor(const Answering& receiver) { return {receiver.url, "", "", "", "", "", ""}; }

TEST(PushHttp, SendsABodyAndTakesTheAnswer) {
    const Made machine("");
    Answering receiver({"HTTP/1.1 204 No Content\r\n\r\n",
                        "HTTP/1.1 429 Slow\r\nRetry-After: 7\r\nContent-Length: 6\r\n\r\ncalm\n!",
                        "HTTP/1.1 400 Bad\r\n\r\n" + std::string(100000, 'x'),
                        "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 0\r\n\r\n", ""});
    Signals signals;
    HttpReceiver http(settingsFor(receiver), signals);
    const auto taken = http.send("the body"), later = http.send("the body"), refused = http.send("the body"),
               elsewhere = http.send("the body"), cut = http.send("the body");
    EXPECT_EQ(taken.status, 204);
    EXPECT_EQ(taken.text, "");
    EXPECT_FALSE(taken.retry_after_s);
    EXPECT_EQ(later.status, 429);
    EXPECT_EQ(later.text, "calm\n!");
    EXPECT_EQ(later.retry_after_s, 7);
    EXPECT_EQ(refused.status, 400);
    EXPECT_EQ(refused.text, std::string(2048, 'x')) << "only the beginning is kept";
    EXPECT_EQ(elsewhere.status, 302);
    EXPECT_EQ(cut.status, 0);
    EXPECT_NE(cut.text, "");
    const auto requests = receiver.requests();
    EXPECT_TRUE(requests.starts_with("POST /write?db=x HTTP/1.1\r\n")) << requests;
    for (const char* line : {"\r\nContent-Encoding: gzip\r\n", "\r\nContent-Length: 8\r\n", "\r\nUser-Agent: wyrt\r\n",
                             "\r\nContent-Type: text/plain; charset=utf-8\r\n"})
        EXPECT_NE(requests.find(line), requests.npos) << line;
    EXPECT_EQ(requests.find("Authorization"), requests.npos);
}

TEST(PushHttp, SecretsComeFromFilesEachTime) {
    Made machine("text /token \"abc\\n\"\ntext /password \"pass\\n\"\nstep 1\ntext /token \"Token def\"\n");
    Answering receiver({"HTTP/1.1 204 a\r\n\r\n", "HTTP/1.1 204 b\r\n\r\n", "HTTP/1.1 204 c\r\n\r\n"});
    Signals signals;
    auto settings = settingsFor(receiver);
    settings.tokenFile = "/token";
    HttpReceiver http(settings, signals);
    EXPECT_EQ(http.send("the body").status, 204);
    machine.step();
    EXPECT_EQ(http.send("the body").status, 204);
    settings = settingsFor(receiver);
    settings.user = "me", settings.passwordFile = "/password";
    EXPECT_EQ(HttpReceiver(settings, signals).send("the body").status, 204);
    const auto requests = receiver.requests();
    for (const char* line : {"Bearer abc", "Token def", "Basic bWU6cGFzcw=="})
        EXPECT_NE(requests.find(std::string("\r\nAuthorization: ") + line + "\r\n"), requests.npos) << line;
}

TEST(PushHttp, SecretsThatCannotBeRead) {
    const Made machine("text /two \"a\\nb\\n\"\ntext /empty \"\"\n");
    Signals signals;
    for (const char* path : {"/none", "/two", "/empty"}) {
        HttpSettings settings{"http://127.0.0.1:1/", "", "", "", path, "", ""};
        auto reply = HttpReceiver(settings, signals).send("the body");
        EXPECT_EQ(reply.status, 0);
        EXPECT_EQ(reply.text.find(std::string("'") + path), 0U) << reply.text;
        settings.tokenFile = "", settings.user = "me", settings.passwordFile = path;
        reply = HttpReceiver(settings, signals).send("the body");
        EXPECT_EQ(reply.text.find(std::string("'") + path), 0U) << reply.text;
    }
}

// A receiver that does not answer is left when a signal comes.
TEST(PushHttp, ASignalEndsTheWait) {
    const int silent = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(silent, reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(listen(silent, 5), 0);
    ASSERT_EQ(getsockname(silent, reinterpret_cast<sockaddr*>(&address), &size), 0);
    Made machine("step 1\nsignal TERM\n");
    machine.step();
    Signals signals;
    HttpReceiver http({"http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/", "", "", "", "", "", ""},
                      signals);
    EXPECT_EQ(http.send("the body").text, "it was ended");
    close(silent);
}
