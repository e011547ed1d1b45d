// Questions for the sockets of another network namespace. Runs in a worker: no heap memory, no locks.
#include "base/door/questions.h"

#include <cerrno>

#include <fcntl.h>
#include <linux/netlink.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

// The process of the path may have gone elsewhere since somebody looked; a worker itself goes from one to the next.
static int enterThere(int there, uint64_t inode) {
    struct stat status;
    if (fstat(there, &status) != 0) return errno;
    if (status.st_ino != inode) return ENOENT;
    return setns(there, CLONE_NEWNET) != 0 ? errno : 0;
}

int SocketsThere::enter(const char* path, uint64_t inode) {
    const int there = open(path, O_RDONLY | O_CLOEXEC);
    if (there < 0) return errno;
    own = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    const int error = own < 0 ? errno : enterThere(there, inode);
    close(there);
    if (error) {
        if (own >= 0) close(own);
        return own = -1, error;
    }
    fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (fd < 0) return errno;
    const timeval patience{1, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    return 0;
}

uint64_t SocketsThere::cookie() const {
    constexpr int NetnsCookie = 71; // SO_NETNS_COOKIE, which older headers do not have
    uint64_t cookie = 0;
    socklen_t size = sizeof cookie;
    return fd >= 0 && getsockopt(fd, SOL_SOCKET, NetnsCookie, &cookie, &size) == 0 ? cookie : 0;
}

SocketsThere::~SocketsThere() {
    if (fd >= 0) close(fd);
    if (own < 0) return;
    const bool back = setns(own, CLONE_NEWNET) == 0;
    close(own);
    if (!back) _exit(1); // another worker takes its place
}

bool SocketsThere::ask(std::string_view& requests, int& error) {
    constexpr size_t MostAtOnce = 32; // so that the answers find room
    nlmsghdr header;
    size_t size = 0;
    listing = false;
    expected = 0;
    while (size + sizeof header <= requests.size() && expected < MostAtOnce && !listing) {
        memcpy(&header, requests.data() + size, sizeof header);
        const bool dump = (header.nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP;
        if (header.nlmsg_len < sizeof header || header.nlmsg_len > requests.size() - size || (dump && expected > 0))
            break;
        listing = dump;
        size += std::min<size_t>(NLMSG_ALIGN(header.nlmsg_len), requests.size() - size);
        expected++;
    }
    if (expected == 0) return false;
    if (send(fd, requests.data(), size, 0) < 0) return error = errno, false;
    requests.remove_prefix(size);
    return true;
}

// The word that DONE and ERROR begin with: 0, or an errno as a negative number. A kernel without a protocol or family
// says that it does not know it.
static int errorOf(const char* message, const nlmsghdr& header) {
    int32_t status = 0;
    if (header.nlmsg_len >= sizeof header + sizeof status) memcpy(&status, message + sizeof header, sizeof status);
    return status >= 0 || status == -ENOENT || status == -EINVAL ? 0 : -status;
}

// Of the answer to one request the last message ends the walk. An error tells that a socket is not there, or that not
// all could be listed.
bool SocketsThere::receive(char* text, uint32_t& size, int& error, bool& cut) {
    if (expected == 0) return false;
    ssize_t n;
    do n = recv(fd, text, MostOfFile, MSG_TRUNC);
    while (n < 0 && errno == EINTR);
    if (n < 0) return error = errno, expected = 0, false;
    if (static_cast<size_t>(n) > MostOfFile) return error = EMSGSIZE, expected = 0, false;
    size = 0;
    nlmsghdr header;
    for (size_t at = 0; at + sizeof header <= static_cast<size_t>(n);) {
        memcpy(&header, text + at, sizeof header);
        if (header.nlmsg_len < sizeof header || header.nlmsg_len > static_cast<size_t>(n) - at) break;
        const bool ends = header.nlmsg_type == NLMSG_DONE || header.nlmsg_type == NLMSG_ERROR;
        if (ends && listing) error = errorOf(text + at, header);
        cut |= (header.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
        if (ends || !(header.nlmsg_flags & NLM_F_MULTI)) expected -= expected > 0;
        at += NLMSG_ALIGN(header.nlmsg_len);
        if (!ends) size = static_cast<uint32_t>(std::min(at, static_cast<size_t>(n)));
    }
    return true;
}
