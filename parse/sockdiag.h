// Messages of SOCK_DIAG: TCP and UDP sockets (inet_diag), and those of the machine itself (unix_diag).
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// States as the kernel numbers them; UDP uses Established (connected) and Closed.
enum class SocketState : uint8_t {
    Established = 1,
    SynSent,
    SynReceived,
    FinWait1,
    FinWait2,
    TimeWait,
    Closed,
    CloseWait,
    LastAck,
    Listen,
    Closing,
    NewSynReceived, // as SynReceived
    BoundInactive   // as Closed
};
inline constexpr uint8_t SocketStates = 13;
// "ESTABLISHED", "CLOSE_WAIT" ...; empty for a number that is none.
std::string_view stateName(SocketState state);

// Both ends of a socket. An IPv4 address has its four bytes first.
struct SocketEnds {
    std::array<unsigned char, 16> address{}, peer{};
    uint16_t port = 0, peer_port = 0;
    uint32_t interface = 0; // that it is bound to
    auto operator<=>(const SocketEnds&) const = default;
};

// tcp_info, as far as the kernel has it. All counters are since the socket was made.
struct TcpInfo {
    uint8_t backoff = 0;        // retransmissions in a row without an answer
    uint32_t rtt_us = 0;        // mean round trip
    uint32_t window = 0;        // congestion window, packets
    uint32_t retransmitted = 0; // segments
    bool hasBytes = false;      // kernels since 4.2: the following
    uint64_t received = 0;      // bytes; an end of the connection counts one
    uint64_t acknowledged = 0;  // bytes; a beginning counts one, and an end
    uint32_t segments_in = 0, segments_out = 0;
    bool hasSent = false; // kernels since 4.19: the following
    uint64_t sent = 0;    // bytes, with what was sent again
    uint64_t retransmitted_bytes = 0;
};

struct InetSocket {
    uint8_t family = 0; // AF_INET, AF_INET6
    SocketState state = SocketState::Closed;
    SocketEnds ends;
    uint64_t cookie = 0; // what the kernel knows it by as long as it lives
    uint32_t inode = 0;  // 0: no process has it
    uint32_t uid = 0;
    uint32_t receive_queue = 0;    // bytes; of a listener: connections that wait to be accepted
    uint32_t send_queue = 0;       // bytes; of a listener: the most that may wait
    std::optional<uint32_t> drops; // packets that found no room
    std::optional<TcpInfo> tcp;
};
// The payload of SOCK_DIAG_BY_FAMILY, as an answer or about a socket that ended. None: it is cut, or of another family.
std::optional<InetSocket> parseInetSocket(std::string_view payload);

// "10.2.0.7", "2001:db8::7"; empty: any address.
std::string addressText(uint8_t family, const std::array<unsigned char, 16>& address);

struct UnixSocket {
    uint8_t type = 0; // SOCK_STREAM ...
    SocketState state = SocketState::Closed;
    uint32_t inode = 0;
    std::optional<uint32_t> receive_queue, send_queue; // of a listener as above; bytes otherwise
};
std::optional<UnixSocket> parseUnixSocket(std::string_view payload);
