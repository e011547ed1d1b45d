#include "base/netlink.h"

#include "base/door/room.h"

#include <cerrno>
#include <cstring>

#include <libmnl/libmnl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

void Netlink::close() {
    if (fd >= 0) ::close(fd);
    fd = -1;
}

bool Netlink::open(int wanted, uint32_t groups, int bytes) {
    close();
    protocol = wanted;
    fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, protocol);
    if (fd < 0) return false;
    if (bytes > 0 && setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0)
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    const timeval patience{1, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = groups;
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return true;
    const int error = errno;
    close();
    return errno = error, false;
}

size_t Netlink::room() const {
    int bytes = 0;
    socklen_t size = sizeof bytes;
    return fd >= 0 && getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, &size) == 0 ? static_cast<size_t>(bytes) : 0;
}

namespace {
enum class Received { Piece, Other, Nothing }; // Other: not from the kernel, or too long
}

// Adds one datagram to the text.
static Received receive(int fd, Contents& text, int flags) {
    constexpr size_t Room = 65536; // the kernel makes pieces of 32 KiB at most
    makeRoom(text, Room);
    sockaddr_nl sender{};
    iovec part{text.data.get() + text.size, text.capacity - text.size};
    msghdr message{};
    message.msg_name = &sender;
    message.msg_namelen = sizeof sender;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    ssize_t n;
    do n = recvmsg(fd, &message, flags);
    while (n < 0 && errno == EINTR);
    if (n < 0) return Received::Nothing;
    if (sender.nl_pid != 0 || (message.msg_flags & MSG_TRUNC)) return Received::Other;
    text.size += static_cast<size_t>(n);
    return Received::Piece;
}

namespace {
struct Piece {
    bool last = false, interrupted = false;
    int error = 0;
};
} // namespace

// Walks over the messages of the piece that begins at `start`. Cuts off the last message of the answer and messages
// that do not belong to it.
static Piece walk(Contents& text, size_t start, uint32_t sequence) {
    Piece piece;
    int left = static_cast<int>(text.size - start);
    const auto* message = reinterpret_cast<const nlmsghdr*>(text.data.get() + start);
    for (; mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
        const auto at = static_cast<size_t>(reinterpret_cast<const char*>(message) - text.data.get());
        if (message->nlmsg_seq != sequence) return text.size = at, piece; // part of an abandoned answer
        if (message->nlmsg_flags & NLM_F_DUMP_INTR) piece.interrupted = true;
        if (message->nlmsg_type == NLMSG_DONE || message->nlmsg_type == NLMSG_ERROR) {
            int32_t status = 0; // of both the first word: 0, or the errno as a negative number
            if (mnl_nlmsg_get_payload_len(message) >= sizeof status)
                memcpy(&status, mnl_nlmsg_get_payload(message), sizeof status);
            piece.error = status < 0 ? -status : 0;
            piece.last = true;
            text.size = at;
            return piece;
        }
        if (!(message->nlmsg_flags & NLM_F_MULTI)) piece.last = true;
    }
    return piece;
}

static bool sendToKernel(int fd, const std::string& request) {
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    const auto* to = reinterpret_cast<const sockaddr*>(&kernel);
    return sendto(fd, request.data(), request.size(), 0, to, sizeof kernel) >= 0;
}

bool Netlink::begin(std::string& request) {
    if (fd < 0 && !open(protocol)) return false;
    nlmsghdr header;
    if (request.size() < sizeof header) return errno = EINVAL, false;
    memcpy(&header, request.data(), sizeof header);
    header.nlmsg_seq = ++sequence;
    memcpy(request.data(), &header, sizeof header);
    return sendToKernel(fd, request);
}

Netlink::Part Netlink::next(Contents& piece) {
    for (;;) {
        piece.size = 0;
        piece.error = 0;
        const auto received = receive(fd, piece, 0);
        if (received == Received::Other) continue;
        if (received == Received::Nothing) {
            const int error = errno;
            open(protocol); // as below
            return errno = error, Part{true, true, false};
        }
        const auto walked = walk(piece, 0, sequence);
        if (walked.error) return errno = walked.error, Part{true, true, false};
        return {false, walked.last, walked.interrupted};
    }
}

// Each answer is a message, or an error, which tells that there is no such object.
Asked Netlink::askMany(std::string& requests, Contents& answers) {
    answers.size = 0;
    answers.error = 0;
    if (fd < 0 && !open(protocol)) return Asked::Failed;
    size_t left = 0;
    const uint32_t first = sequence + 1;
    nlmsghdr header;
    for (size_t at = 0; at + sizeof header <= requests.size(); left++) {
        memcpy(&header, requests.data() + at, sizeof header);
        if (header.nlmsg_len < sizeof header) return errno = EINVAL, Asked::Failed;
        header.nlmsg_seq = ++sequence;
        memcpy(requests.data() + at, &header, sizeof header);
        at += NLMSG_ALIGN(header.nlmsg_len);
    }
    if (left > MostAtOnce) return errno = EMSGSIZE, Asked::Failed;
    if (left > 0 && !sendToKernel(fd, requests)) return Asked::Failed;
    while (left > 0) {
        makeRoom(answers, NLMSG_ALIGNTO);
        answers.size = NLMSG_ALIGN(answers.size);
        const size_t start = answers.size;
        const auto received = receive(fd, answers, 0);
        if (received == Received::Other) continue;
        if (received == Received::Nothing) {
            const int error = errno;
            open(protocol);
            return errno = error, Asked::Failed;
        }
        if (answers.size - start < sizeof header) continue;
        memcpy(&header, answers.data.get() + start, sizeof header);
        const bool isMine = header.nlmsg_seq - first < sequence - first + 1;
        if (!isMine || header.nlmsg_type == NLMSG_ERROR) answers.size = start;
        left -= isMine;
    }
    return Asked::Whole;
}

Asked Netlink::ask(std::string& request, Contents& answer, size_t most) {
    answer.size = 0;
    answer.error = 0;
    const auto fail = [&](int error) {
        open(protocol); // later pieces of this answer must not be taken for the next answer
        errno = error;
        return Asked::Failed;
    };
    if (!begin(request)) return Asked::Failed;
    bool interrupted = false;
    for (;;) {
        makeRoom(answer, NLMSG_ALIGNTO);
        answer.size = NLMSG_ALIGN(answer.size);
        const size_t start = answer.size;
        const auto received = receive(fd, answer, 0);
        if (received == Received::Nothing) return fail(errno);
        if (received == Received::Other) continue;
        const auto piece = walk(answer, start, sequence);
        interrupted |= piece.interrupted;
        if (piece.error) return errno = piece.error, Asked::Failed;
        if (piece.last) return interrupted ? Asked::Interrupted : Asked::Whole;
        if (answer.size > most) return fail(EMSGSIZE);
    }
}

bool Netlink::take(Contents& news) {
    for (;;) {
        news.size = 0;
        news.error = 0;
        const auto received = receive(fd, news, MSG_DONTWAIT);
        if (received == Received::Piece) return true;
        if (received == Received::Other) continue;
        if (errno != ENOBUFS) return false;
        lost++; // the socket reports the loss once and goes on with later news
    }
}
