// Measures what the sockets of the area `sock` cost, with their owners and rows, compared with a bare walk over the
// processes and the text of /proc/net/tcp. The processes that ran are found by the area `proc`, which is not part of
// the figures.
//
//     bench-sock [AREA...]
//
// The area sock-log tells how many bytes an interval takes in a log, with the budget of rows that the recorder keeps.
#include "model/sock.h"
#include "bench/bare.h"
#include "bench/measure.h"
#include "record/fitting.h"
#include "why/findings.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

// --- Processes with connections between sockets of their own

namespace {
constexpr long Each = 1000; // sockets of a process

class Talkers {
    struct Talker {
        pid_t pid;
        int orders, done;
    };
    std::vector<Talker> talkers;

    static void fail(const char* what) {
        perror(what);
        _exit(1);
    }
    // Moves a byte through so many of its connections whenever it is told to.
    [[noreturn]] static void talk(int orders, int done) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* at = reinterpret_cast<sockaddr*>(&address);
        if (bind(listener, at, size) != 0 || listen(listener, 16) != 0 || getsockname(listener, at, &size) != 0)
            fail("listen");
        std::vector<std::pair<int, int>> pairs;
        for (long i = 0; i < Each / 2; i++) {
            const int here = socket(AF_INET, SOCK_STREAM, 0);
            if (here < 0 || connect(here, at, size) != 0) fail("connect");
            const int there = accept(listener, nullptr, nullptr);
            if (there < 0) fail("accept");
            const linger hard{1, 0}; // no TIME_WAIT afterwards: the next rows would count them
            for (const int end : {here, there}) setsockopt(end, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
            pairs.emplace_back(here, there);
        }
        for (char order = 0;;) {
            if (write(done, &order, 1) != 1 || read(orders, &order, 1) != 1) _exit(0);
            for (auto& [here, there] : pairs) {
                char byte = 'x';
                if (write(here, &byte, 1) != 1 || read(there, &byte, 1) != 1) fail("talk");
                if (order == '1') break;
            }
        }
    }

public:
    explicit Talkers(long sockets) {
        for (long i = 0; i < sockets / Each; i++) {
            int orders[2], done[2];
            if (pipe(orders) != 0 || pipe(done) != 0) perror("pipe"), exit(1);
            const pid_t pid = fork();
            if (pid == 0) talk(orders[0], done[1]);
            close(orders[0]), close(done[1]);
            talkers.push_back({pid, orders[1], done[0]});
        }
        for (auto& talker : talkers) wait(talker);
    }
    ~Talkers() {
        for (auto& talker : talkers) kill(talker.pid, SIGKILL), waitpid(talker.pid, nullptr, 0);
        for (auto& talker : talkers) close(talker.orders), close(talker.done);
        sleep(1); // until all sockets are gone
    }
    Talkers(const Talkers&) = delete;
    Talkers& operator=(const Talkers&) = delete;

    static void wait(const Talker& talker) {
        char byte;
        if (read(talker.done, &byte, 1) != 1) fprintf(stderr, "a process with sockets has ended\n"), exit(1);
    }
    void move(size_t count, char order) {
        for (size_t i = 0; i < count; i++)
            if (write(talkers[i].orders, &order, 1) != 1) exit(1);
        for (size_t i = 0; i < count; i++) wait(talkers[i]);
    }
    size_t count() const { return talkers.size(); }
    std::vector<Ran> ran(size_t count) const {
        std::vector<Ran> processes;
        for (size_t i = 0; i < count; i++) processes.push_back({talkers[i].pid, 1, 1, false, false, 'S'});
        return processes;
    }
};

// --- What is measured

struct TSockets {
    TArea area;
    enum { Idle, One, All } moved;
};
} // namespace

static const TSockets Areas[] = {
    {{"sock-idle",
      "sockets that stand still, `sock`",
      {4000, 40000, 100000},
      {{TAim::Ratio, 1, 0.01}, {TAim::MB, 2, 32}}},
     TSockets::Idle},
    {{"sock-one",
      "the same when one connection moves",
      {4000, 40000, 100000},
      {{TAim::Ratio, 1, 0.20}, {TAim::MB, 2, 32}}},
     TSockets::One},
    {{"sock-all",
      "the same when all move",
      {4000, 40000, 100000},
      {{TAim::Ratio, 1, 1.0}, {TAim::MB, 2, 32}, {TAim::Times, 2, 3.5}}},
     TSockets::All},
};

// The second interval of a machine whose sockets all move. False: the rows and their rest do not make the whole.
static bool showLog(long size) {
    Talkers talkers(size);
    Helper helper;
    SockSampler sampler(Root(), helper);
    SockSample sample;
    const auto all = talkers.ran(talkers.count());
    sampler.sample(all, {}, sample);
    talkers.move(talkers.count(), 'a');
    sampler.sample(all, {}, sample);
    Interval interval;
    sockRows(sample, {}, {}, interval);
    BudgetSpace space;
    keepBudget<Named>(interval, RowBudget, space);
    std::string text;
    LogWriter().interval(interval, text);
    uint64_t received = interval.sockets.rest ? interval.sockets.rest->received.value_or(0) : 0;
    for (const auto& row : interval.sockets.rows) received += row.received.value_or(0);
    show("\n%ld sockets that all move: %zu of them have rows; %zu bytes in a log\n", size, interval.sockets.rows.size(),
         text.size());
    return received == interval.namespaces.rows.at(0).received;
}

int main(int argc, char** argv) {
    keepOutput();
    showHead();
    bool met = true;
    for (const auto& sockets : Areas) {
        if (!selected(argc, argv, sockets.area.name)) continue;
        const auto measure = [&](long size) {
            Talkers talkers(size);
            const size_t moving = sockets.moved == TSockets::Idle  ? 0
                                  : sockets.moved == TSockets::One ? 1
                                                                   : talkers.count();
            const auto all = talkers.ran(talkers.count()), some = talkers.ran(moving);
            Helper helper;
            SockSampler sampler(Root(), helper);
            SockSample sample;
            ProcSample processes;
            Interval interval;
            bool first = true;
            return runWork(
                [&] {
                    if (moving) talkers.move(moving, sockets.moved == TSockets::One ? '1' : 'a');
                    sampler.sample(first ? all : some, {}, sample);
                    first = false;
                    clearRows(interval);
                    sockRows(sample, processes, {}, interval);
                },
                [] {
                    bareSample(false, false);
                    bareFile("/proc/net/tcp");
                });
        };
        met = showArea(sockets.area, measure) && met;
    }
    if (selected(argc, argv, "sock-log"))
        for (const long size : {4000L, 40000L}) met = showLog(size) && met;
    return met ? 0 : 1;
}
