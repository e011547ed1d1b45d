#include "sample/limits.h"

#include "base/clock.h"
#include "parse/limits.h"
#include "parse/loadavg.h"
#include "parse/netcounters.h"

#include <algorithm>

LimitSampler::LimitSampler(const Root& root)
    : conntrack(root, "/proc/sys/net/netfilter/nf_conntrack_count"),
      conntrackMost(root, "/proc/sys/net/netfilter/nf_conntrack_max"),
      conntrackStat(root, "/proc/net/stat/nf_conntrack"), files(root, "/proc/sys/fs/file-nr"),
      loadavg(root, "/proc/loadavg"), pidMost(root, "/proc/sys/kernel/pid_max"),
      threadsMost(root, "/proc/sys/kernel/threads-max"), sockstat(root, "/proc/net/sockstat"),
      tcpMemory(root, "/proc/sys/net/ipv4/tcp_mem"), udpMemory(root, "/proc/sys/net/ipv4/udp_mem"),
      orphansMost(root, "/proc/sys/net/ipv4/tcp_max_orphans"),
      timeWaitMost(root, "/proc/sys/net/ipv4/tcp_max_tw_buckets"), arp(root, "/proc/net/stat/arp_cache"),
      arpMost(root, "/proc/sys/net/ipv4/neigh/default/gc_thresh3"), ndisc(root, "/proc/net/stat/ndisc_cache"),
      ndiscMost(root, "/proc/sys/net/ipv6/neigh/default/gc_thresh3"), softnet(root, "/proc/net/softnet_stat"),
      backlogMost(root, "/proc/sys/net/core/netdev_max_backlog"), aio(root, "/proc/sys/fs/aio-nr"),
      aioMost(root, "/proc/sys/fs/aio-max-nr"), keys(root, "/proc/key-users") {
    page_size = static_cast<uint64_t>(std::max(getPageSize(), 1));
}

// Empty: the file cannot be read.
std::string_view LimitSampler::read(HeldFile& file) { return file.read(text) ? text.view() : std::string_view{}; }

std::optional<uint64_t> LimitSampler::number(HeldFile& file, unsigned place) {
    return parseNumberAt(read(file), place);
}

void LimitSampler::sampleSockets(LimitSample& now) {
    constexpr unsigned Most = 2; // of the three numbers of tcp_mem: no more memory above this
    const auto bytes = [&](const std::optional<uint64_t>& pages) {
        return pages ? std::optional(*pages * page_size) : std::nullopt;
    };
    SocketLevels sockets;
    parseSocketLevels(read(sockstat), sockets);
    now[Limit::TcpMemory] = {bytes(sockets.tcp_pages), bytes(number(tcpMemory, Most)), {}};
    now[Limit::UdpMemory] = {bytes(sockets.udp_pages), bytes(number(udpMemory, Most)), {}};
    now[Limit::TcpOrphans] = {sockets.orphans, number(orphansMost), {}};
    now[Limit::TimeWait] = {sockets.time_wait, number(timeWaitMost), {}};
}

void LimitSampler::sampleTables(LimitSample& now) {
    const auto table = [&](HeldFile& file, HeldFile& most) {
        const auto stat = read(file);
        LimitUse use{parseCpuColumn(stat, "entries"), {}, parseCpuColumn(stat, "table_fulls")};
        use.limit = number(most);
        return use;
    };
    now[Limit::Neighbours4] = table(arp, arpMost);
    now[Limit::Neighbours6] = table(ndisc, ndiscMost);
    const auto used = number(conntrack), most = number(conntrackMost);
    now[Limit::Conntrack] = {used, most, used ? parseCpuColumn(read(conntrackStat), "drop") : std::nullopt};
}

void LimitSampler::sample(LimitSample& now) {
    now.at_us = getMonotonic();
    // file-nr has the files, those kept for the next open (none since 2.6), and the limit.
    const auto open = read(files);
    now[Limit::Files] = {parseNumberAt(open, 0), parseNumberAt(open, 2), {}};
    const auto load = parseLoadAverage(read(loadavg));
    const auto tasks = load ? std::optional<uint64_t>(load->tasks) : std::nullopt;
    now[Limit::Pids] = {tasks, number(pidMost), {}};
    now[Limit::Threads] = {tasks, number(threadsMost), {}};
    sampleSockets(now);
    sampleTables(now);
    const auto packets = parseSoftnet(read(softnet));
    now[Limit::Backlog] = {packets ? packets->backlog : std::nullopt, number(backlogMost),
                           packets ? std::optional(packets->dropped) : std::nullopt};
    now[Limit::Squeeze] = {{}, {}, packets ? std::optional(packets->squeezed) : std::nullopt};
    now[Limit::Aio] = {number(aio), number(aioMost), {}};
    const auto account = parseKeyUsers(read(keys));
    now[Limit::Keys] = account ? LimitUse{account->keys, account->limit, {}} : LimitUse{};
}
