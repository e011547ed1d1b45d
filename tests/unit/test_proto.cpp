#include "model/proto.h"
#include "parse/protocols.h"
#include "view/proto.h"

#include <gtest/gtest.h>

static std::string listOf(const ProtocolCounters& counters) {
    std::string text;
    for (size_t i = 0; i < counters.size; i++) {
        auto& counter = counters.list[i];
        text +=
            counter.protocol + "." + counter.name + (counter.level ? ":" : "=") + std::to_string(counter.value) + " ";
    }
    return text;
}

static std::string snmpOf(const char* text) {
    ProtocolCounters counters;
    parseSnmp(text, counters);
    return listOf(counters);
}

TEST(Protocols, NamesAndValuesInPairsOfLines) {
    static constexpr struct {
        const char *text, *counters;
    } Cases[] = {
        {"Udp: In No\nUdp: 65 122\nTcp: MaxConn CurrEstab\nTcp: -1 3\n",
         "Udp.In=65 Udp.No=122 Tcp.MaxConn:-1 Tcp.CurrEstab:3 "},
        {"Udp: In No\nUdp: 65", "Udp.In=65 "},
        {"Udp: In\nUdp: 65 122\n", "Udp.In=65 "},
        {"Udp: In No\nTcp: A\nTcp: 7\n", "Tcp.A=7 "},
        {"Udp: In No\nUdp: x 4\n", "Udp.No=4 "},
        {"Udp: In\nUdp: 18446744073709551615\n", "Udp.In=9223372036854775807 "},
        {"Udp: In\nUdp: 99999999999999999999\n", ""},
        {"Udp In\nUdp 5\n", ""},
        {"", ""},
        {"\n\n\n", ""},
        {"Udp:\nUdp:\n", ""},
        {": a\n: 5\n", ".a=5 "},
    };
    for (auto& c : Cases) EXPECT_EQ(snmpOf(c.text), c.counters) << c.text;
}

TEST(Protocols, OfVersionSix) {
    ProtocolCounters counters;
    parseSnmp6("Ip6InReceives                   \t1\nUdpLite6InErrors 4\nnothing 5\nIp6 7\nIp6x\nIcmp6OutMsgs 9",
               counters);
    EXPECT_EQ(listOf(counters), "Ip6.InReceives=1 UdpLite6.InErrors=4 Icmp6.OutMsgs=9 ");
    counters.clear();
    parseSnmp6("", counters);
    EXPECT_EQ(listOf(counters), "");
}

TEST(Protocols, AListThatIsUsedAgainHasItsNewNames) {
    ProtocolCounters counters;
    parseSnmp("Tcp: CurrEstab B\nTcp: 1 2\n", counters);
    counters.clear();
    parseSnmp("Tcp: A\nTcp: 5\n", counters);
    EXPECT_EQ(listOf(counters), "Tcp.A=5 ");
}

static ProtocolSample sampleOf(const char* text, int64_t at_us) {
    ProtocolSample sample;
    sample.at_us = at_us;
    sample.hasSnmp = true;
    parseSnmp(text, sample.counters);
    return sample;
}

static std::string rowsOf(const ProtocolSample& before, const ProtocolSample& now, bool complete = false) {
    Rows<ProtocolsRow> all;
    Rows<ProtocolRow> rows;
    protocolRows(&before, now, complete, all, rows);
    std::string text = std::to_string(all.rows.at(0).moved) + " of " + std::to_string(all.rows[0].counters);
    for (auto& row : rows.rows) {
        text += " " + row.name + "=" + (row.amount ? std::to_string(*row.amount) : "");
        if (row.value) text += ":" + std::to_string(*row.value);
    }
    return text;
}

TEST(ProtocolModel, WhatMovedByItsName) {
    const auto before = sampleOf("Tcp: A B CurrEstab C\nTcp: 1 2 3 4\n", 0);
    EXPECT_EQ(rowsOf(before, sampleOf("Tcp: A B CurrEstab C\nTcp: 1 7 3 4\n", 1000000)), "1 of 4 B=5");
    EXPECT_EQ(rowsOf(before, sampleOf("Tcp: A B CurrEstab C\nTcp: 1 2 2 4\n", 1000000)), "0 of 4 CurrEstab=:2");
    EXPECT_EQ(rowsOf(before, sampleOf("Tcp: A B CurrEstab C\nTcp: 1 2 3 4\n", 1000000), true), "0 of 4 CurrEstab=:3");
    EXPECT_EQ(rowsOf(before, sampleOf("Tcp: C Z A\nTcp: 5 9 2\n", 1000000)), "3 of 3 C=1 Z=9 A=1") << "other places";
    EXPECT_EQ(rowsOf(before, sampleOf("Tcp: A B\nTcp: 0 3\n", 1000000)), "1 of 2 A= B=1") << "a reset has no amount";
}

TEST(ProtocolModel, AFileThatWasMissingHasNoAmounts) {
    auto before = sampleOf("", 0);
    before.hasSnmp = false;
    EXPECT_EQ(rowsOf(before, sampleOf("Tcp: A\nTcp: 100\n", 1000000)), "0 of 1");
    Rows<ProtocolsRow> all;
    Rows<ProtocolRow> rows;
    protocolRows(nullptr, sampleOf("Tcp: A\nTcp: 100\n", 0), true, all, rows);
    EXPECT_TRUE(all.sampled && all.rows.empty() && rows.rows.empty());
    protocolRows(&before, before, true, all, rows);
    EXPECT_TRUE(all.rows.empty());
}

TEST(ProtocolView, MostFirst) {
    Interval interval;
    const LogHead head;
    ViewRow asked;
    const auto shown = [&] {
        Page page(0, false);
        showProtocols(interval, View{head, asked}, page);
        return page.text();
    };
    EXPECT_EQ(shown(), "");
    interval.protocolsTotal.elapsed_us = interval.protocols.elapsed_us = 2000000;
    interval.protocolsTotal.rows.push_back({200, 0});
    EXPECT_EQ(shown(), "PROTO  200 counters, none moved\n");
    interval.protocolsTotal.rows[0].moved = 3;
    interval.protocols.rows = {
        {"Tcp", "InSegs", 8, {}},
        {"Tcp", "CurrEstab", {}, 3},
        {"Udp", "NoPorts", 90, {}},
        {"Ip", "Out", 8, {}},
    };
    EXPECT_EQ(shown(), "PROTO    counter                     amount   per s  (3 of 200 moved)\n"
                       "Udp      NoPorts                         90      45\n"
                       "Tcp      InSegs                           8       4\n"
                       "Ip       Out                              8       4\n");
    asked.rows = 1;
    EXPECT_EQ(shown(), "PROTO    counter                     amount   per s  (3 of 200 moved, 2 not shown)\n"
                       "Udp      NoPorts                         90      45\n");
}
