// What an interval of sockets takes in a log, however many of them move: rows are bounded, sums are exact.
#include "model/sock.h"

#include "record/fitting.h"
#include "tests/unit/made.h"
#include "tests/unit/sanitized.h"
#include "why/findings.h"

#include <gtest/gtest.h>

namespace {
struct Moved {
    uint64_t received = 0, sent = 0, again = 0, retransmitted = 0, in = 0, out = 0, drops = 0;
    bool operator==(const Moved&) const = default;
    void add(const SockRow& row) {
        received += row.received.value_or(0), sent += row.sent.value_or(0);
        again += row.retransmitted_bytes.value_or(0), retransmitted += row.retransmitted.value_or(0);
        in += row.segments_in.value_or(0), out += row.segments_out.value_or(0), drops += row.drops.value_or(0);
    }
};

// A machine on which all sockets move in each step, each by other amounts. `moved` gets what they move in the first.
class Machine {
    unsigned count;

    std::string lines(uint64_t step, Moved* moved) const {
        std::string text, sockets;
        uint64_t segments = 0;
        for (unsigned i = 0; i < count; i++) {
            const uint64_t in = 1 + i % 7, out = 1 + i % 5, bytes = 1000 + i * 37 % 100000, lost = i % 97 == 0;
            segments += in + out;
            if (moved) {
                moved->received += bytes, moved->sent += 2 * bytes, moved->in += in, moved->out += out;
                moved->again += 1460 * lost, moved->retransmitted += lost, moved->drops += i % 89 == 0;
            }
            const auto number = [&](const char* name, uint64_t amount) {
                sockets += std::string(" ") + name + "=" + std::to_string(step * amount);
            };
            sockets += "socket 10.0.0.1:443 10." + std::to_string(1 + i / 62500) + "." + std::to_string(i / 250 % 250) +
                       "." + std::to_string(i % 250 + 1) + ":" + std::to_string(1024 + i) +
                       " cookie=" + std::to_string(i + 1) + " inode=" + std::to_string(i + 100) +
                       " rqueue=" + std::to_string(i % 11 == 0 ? i : 0);
            number("received", bytes), number("sent", 2 * bytes + 1460 * lost), number("again", 1460 * lost);
            number("retrans", lost), number("in", in), number("out", out), number("drops", i % 89 == 0);
            sockets += "\n";
        }
        return "file /proc/net/snmp <<E\nTcp: InSegs OutSegs RetransSegs\nTcp: " + std::to_string(step * segments) +
               " 0 0\nE\nnetlink sockdiag tcp4 <<E\n" + sockets + "E\n";
    }

public:
    explicit Machine(unsigned sockets) : count(sockets) {}
    std::string text(Moved& moved) const { return lines(1, nullptr) + "step 1\n" + lines(2, &moved); }
};
} // namespace

// The second interval, as the recorder writes it.
TEST(SockBound, AnIntervalOfManyMovingSocketsIsBoundedAndExact) {
#ifdef WYRT_SANITIZED
    constexpr unsigned Sockets = 8000; // the made-up kernel looks through all for each one that is asked for
#else
    constexpr unsigned Sockets = 40000;
#endif
    constexpr size_t MostOfRow = 200; // bytes
    Moved expected, written;
    Made made(Machine(Sockets).text(expected));
    Helper helper;
    SockSampler sampler(Root(), helper);
    SockSample sample;
    sampler.sample({}, {}, sample);
    made.step();
    sampler.sample({}, {}, sample);
    EXPECT_EQ(sample.changes.size(), Sockets);
    Interval interval;
    sockRows(sample, ProcSample(), ViewRow(), interval);
    BudgetSpace space;
    keepBudget<Named>(interval, RowBudget, space);
    std::string text;
    LogWriter().interval(interval, text);
    EXPECT_GE(interval.sockets.rows.size(), 100U);
    EXPECT_LE(interval.sockets.rows.size(), RowBudget);
    for (const auto& row : interval.sockets.rows) written.add(row);
    if (interval.sockets.rest) written.add(*interval.sockets.rest);
    EXPECT_TRUE(written == expected);
    EXPECT_EQ(interval.namespaces.rows.at(0).received, expected.received);
    EXPECT_EQ(interval.namespaces.rows.at(0).explained, expected.in + expected.out);
    EXPECT_GT(text.size(), interval.sockets.rows.size() * 100);
    EXPECT_LE(text.size(), RowBudget * MostOfRow);
}
