// Connections on loopback, and the requests and answers that are about them.
#pragma once

#include "base/netlink.h"
#include "parse/attributes.h"
#include "sample/sockrequest.h"

#include <algorithm>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

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

inline std::vector<InetSocket> socketsOf(std::string_view messages, uint16_t port) {
    std::vector<InetSocket> found;
    eachMessage(messages, [&](uint16_t type, std::string_view payload) {
        const auto socket = type == SOCK_DIAG_BY_FAMILY ? parseInetSocket(payload) : std::nullopt;
        if (socket && (socket->ends.port == port || socket->ends.peer_port == port)) found.push_back(*socket);
    });
    return found;
}

// The requests for connected sockets, one by one.
inline std::vector<std::string> singleRequests(const std::vector<InetSocket>& sockets) {
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

inline std::string joined(const std::vector<std::string>& requests, size_t most = SIZE_MAX) {
    std::string all;
    for (size_t i = 0; i < std::min(most, requests.size()); i++) all += requests[i];
    return all;
}
