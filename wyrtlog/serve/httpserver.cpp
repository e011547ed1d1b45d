#include "wyrtlog/serve/httpserver.h"

#include "base/clock.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

struct Exchange {
    std::string target;
    MHD_Connection* connection = nullptr;
    bool asked = false;
};

namespace {
struct Client {
    int socket = -1;
    int64_t since_us = 0, patience_us = 0;
};
} // namespace

struct HttpServer::Inside {
    Answer answer;
    Forget forget;
    Limits limits;
    MHD_Daemon* daemon = nullptr;
    mutable std::mutex mutex; // guards what follows
    std::map<MHD_Connection*, Client> clients;
    std::set<Exchange*> waiting;
    bool stopping = false;

    void allow(MHD_Connection* connection);
    MHD_Result send(MHD_Connection* connection, const HttpAnswer& answer) const;
    MHD_Result handle(Exchange& exchange, MHD_Connection* connection, std::string_view method, bool body);
};

// --- Calls of the library, all in the server's thread

using SharedText = std::shared_ptr<const std::string>;

static ssize_t readText(void* cls, uint64_t at, char* to, size_t size) {
    const auto& text = **static_cast<SharedText*>(cls);
    if (at >= text.size()) return MHD_CONTENT_READER_END_OF_STREAM;
    return static_cast<ssize_t>(text.copy(to, size, at));
}
static void freeText(void* cls) { delete static_cast<SharedText*>(cls); }

HttpAnswer plainAnswer(unsigned status, std::string text) {
    return {status, "text/plain; charset=utf-8", std::make_shared<const std::string>(std::move(text))};
}

MHD_Result HttpServer::Inside::send(MHD_Connection* connection, const HttpAnswer& given) const {
    constexpr size_t Block = size_t{1} << 14;
    auto* response =
        MHD_create_response_from_callback(given.body->size(), Block, readText, new SharedText(given.body), freeText);
    if (!response) return MHD_NO;
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, given.type.c_str());
    MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
    MHD_add_response_header(response, "X-Content-Type-Options", "nosniff");
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONNECTION, "close");
    if (given.status == MHD_HTTP_METHOD_NOT_ALLOWED)
        MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
    if (given.status == MHD_HTTP_SERVICE_UNAVAILABLE)
        MHD_add_response_header(response, MHD_HTTP_HEADER_RETRY_AFTER, "10");
    const auto queued = MHD_queue_response(connection, given.status, response);
    MHD_destroy_response(response);
    return queued;
}

// The head was there in time; now there is time for the answer.
void HttpServer::Inside::allow(MHD_Connection* connection) {
    const std::lock_guard lock(mutex);
    if (const auto client = clients.find(connection); client != clients.end())
        client->second.patience_us = limits.answer_us;
}

MHD_Result HttpServer::Inside::handle(Exchange& exchange, MHD_Connection* connection, std::string_view method,
                                      bool body) {
    exchange.connection = connection;
    if (!std::exchange(exchange.asked, true)) {
        allow(connection);
        if (method != MHD_HTTP_METHOD_GET && method != MHD_HTTP_METHOD_HEAD)
            return send(connection, plainAnswer(MHD_HTTP_METHOD_NOT_ALLOWED, "only GET and HEAD are answered\n"));
        if (body) return send(connection, plainAnswer(MHD_HTTP_BAD_REQUEST, "a request has no body here\n"));
    }
    const char* accept = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_ACCEPT);
    // Held until the connection waits: the answer may be there before.
    const std::lock_guard lock(mutex);
    if (stopping) return MHD_NO;
    if (const auto given = answer(exchange.target, accept ? accept : "", &exchange)) return send(connection, *given);
    if (const auto client = clients.find(connection); client != clients.end())
        client->second.patience_us = limits.later_us;
    waiting.insert(&exchange);
    MHD_suspend_connection(connection);
    return MHD_YES;
}

static void* onTarget(void*, const char* target, MHD_Connection*) {
    auto exchange = std::make_unique<Exchange>();
    exchange->target = target;
    return exchange.release();
}

static bool hasBody(MHD_Connection* connection) {
    const char* length = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_CONTENT_LENGTH);
    return (length && strcmp(length, "0") != 0) ||
           MHD_lookup_connection_value(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_TRANSFER_ENCODING);
}

MHD_Result HttpServer::onRequest(void* cls, MHD_Connection* connection, const char*, const char* method, const char*,
                                 const char*, size_t*, void** own) {
    auto* exchange = static_cast<Exchange*>(*own);
    if (!exchange) return MHD_NO;
    return static_cast<Inside*>(cls)->handle(*exchange, connection, method, hasBody(connection));
}

void HttpServer::onCompleted(void* cls, MHD_Connection*, void** own, MHD_RequestTerminationCode) {
    auto* inside = static_cast<Inside*>(cls);
    const std::unique_ptr<Exchange> exchange(static_cast<Exchange*>(std::exchange(*own, nullptr)));
    if (!exchange) return;
    inside->forget(exchange.get());
    const std::lock_guard lock(inside->mutex);
    inside->waiting.erase(exchange.get());
}

void HttpServer::onConnection(void* cls, MHD_Connection* connection, void**, MHD_ConnectionNotificationCode what) {
    auto* inside = static_cast<Inside*>(cls);
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    const std::lock_guard lock(inside->mutex);
    if (what == MHD_CONNECTION_NOTIFY_CLOSED) inside->clients.erase(connection);
    else if (info) inside->clients[connection] = {info->connect_fd, getMonotonic(), inside->limits.request_us};
}

// --- The server

HttpServer::HttpServer(Answer answer, Forget forget) : inside(std::make_unique<Inside>()) {
    inside->answer = std::move(answer);
    inside->forget = std::move(forget);
}

HttpServer::~HttpServer() { stop(); }

// A socket that listens there; -1: errno tells why not.
static int listenOn(const ListenAddress& address) {
    sockaddr_in four{};
    sockaddr_in6 six{};
    four.sin_family = AF_INET, four.sin_port = htons(address.port);
    six.sin6_family = AF_INET6, six.sin6_port = htons(address.port);
    const int family = address.six ? AF_INET6 : AF_INET;
    void* to = address.six ? static_cast<void*>(&six.sin6_addr) : &four.sin_addr;
    if (inet_pton(family, address.host.c_str(), to) != 1) return errno = EINVAL, -1;
    const int fd = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return -1;
    const int yes = 1;
    constexpr int Backlog = 128;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (address.six) setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &yes, sizeof yes);
    const auto* name = address.six ? reinterpret_cast<const sockaddr*>(&six) : reinterpret_cast<const sockaddr*>(&four);
    if (bind(fd, name, address.six ? sizeof six : sizeof four) == 0 && listen(fd, Backlog) == 0) return fd;
    const int error = errno;
    close(fd);
    return errno = error, -1;
}

std::string HttpServer::start(const ListenAddress& address, const Limits& limits) {
    inside->limits = limits;
    const int fd = listenOn(address);
    if (fd < 0) return strerror(errno);
    inside->daemon =
        MHD_start_daemon(MHD_USE_AUTO_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, onRequest,
                         inside.get(), MHD_OPTION_LISTEN_SOCKET, fd, MHD_OPTION_CONNECTION_LIMIT, limits.connections,
                         MHD_OPTION_PER_IP_CONNECTION_LIMIT, limits.perAddress, MHD_OPTION_CONNECTION_TIMEOUT,
                         limits.idle_s, MHD_OPTION_CONNECTION_MEMORY_LIMIT, limits.memory, MHD_OPTION_URI_LOG_CALLBACK,
                         onTarget, nullptr, MHD_OPTION_NOTIFY_COMPLETED, onCompleted, inside.get(),
                         MHD_OPTION_NOTIFY_CONNECTION, onConnection, inside.get(), MHD_OPTION_END);
    return inside->daemon ? "" : "the server cannot be started";
}

void HttpServer::wake(const Exchange* exchange) {
    const std::lock_guard lock(inside->mutex);
    for (auto* one : inside->waiting) {
        if (one != exchange) continue;
        inside->waiting.erase(one);
        return MHD_resume_connection(one->connection);
    }
}

void HttpServer::endLate() {
    const std::lock_guard lock(inside->mutex);
    const int64_t now = getMonotonic();
    for (auto& [connection, client] : inside->clients)
        if (now - client.since_us > client.patience_us) shutdown(client.socket, SHUT_RDWR);
}

void HttpServer::stop() {
    if (!inside->daemon) return;
    {
        const std::lock_guard lock(inside->mutex);
        inside->stopping = true;
        for (auto* one : inside->waiting) MHD_resume_connection(one->connection);
        inside->waiting.clear();
    }
    MHD_stop_daemon(std::exchange(inside->daemon, nullptr));
}

size_t HttpServer::connections() const {
    const std::lock_guard lock(inside->mutex);
    return inside->clients.size();
}
