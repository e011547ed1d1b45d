// HTTP for a few pages that are made in memory, by libmicrohttpd: GET and HEAD only, one request a connection, and
// limits on everything that a client can make grow or last.
#pragma once

#include "wyrtlog/serve/request.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <microhttpd.h>

struct HttpAnswer {
    unsigned status = 200;
    std::string type;
    std::shared_ptr<const std::string> body; // shared by all that are sending it
};

HttpAnswer plainAnswer(unsigned status, std::string text);

// A request that is being answered. The address is its identity until it is forgotten.
struct Exchange;

class HttpServer {
public:
    // Called in the server's thread. None: the answer comes later; wake() then has it asked for again.
    using Answer = std::function<std::optional<HttpAnswer>(const std::string& target, const std::string& accept,
                                                           const Exchange* exchange)>;
    // Called in the server's thread: nobody waits for it any more.
    using Forget = std::function<void(const Exchange*)>;
    struct Limits {
        unsigned connections = 128, perAddress = 64;
        int64_t request_us = 5000000;    // from the connection to the end of the head
        int64_t answer_us = 30000000;    // until it is sent
        int64_t later_us = 120000000;    // of an answer that comes later
        unsigned idle_s = 5;             // nothing moves
        size_t memory = size_t{1} << 15; // of a request's head
    };

    HttpServer(Answer answer, Forget forget);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    ~HttpServer();
    // Signals that end the program must be blocked. Returns why it cannot listen; empty: it does, in a thread.
    std::string start(const ListenAddress& address, const Limits& limits);
    std::string start(const ListenAddress& address) { return start(address, Limits()); }
    // Any thread: the answer of an exchange is there now. One that was forgotten is ignored.
    void wake(const Exchange* exchange);
    // Any thread, every now and then: ends the connections whose time is over.
    void endLate();
    void stop();
    size_t connections() const;

private:
    struct Inside;
    std::unique_ptr<Inside> inside;

    // What the library calls.
    static MHD_Result onRequest(void* inside, MHD_Connection* connection, const char* url, const char* method,
                                const char* version, const char* data, size_t* size, void** exchange);
    static void onCompleted(void* inside, MHD_Connection* connection, void** exchange, MHD_RequestTerminationCode why);
    static void onConnection(void* inside, MHD_Connection* connection, void** own, MHD_ConnectionNotificationCode what);
};
