// Findings about sockets: listeners, retransmissions, connections that fill an interface, local ports, unread queues.
#include "tests/unit/whymachine.h"

#include <gtest/gtest.h>

#include <random>

static ListenRow listener(uint64_t port, uint64_t backlog, uint64_t drops) {
    ListenRow row;
    row.netns = 1, row.cookie = port, row.port = port;
    row.backlog = backlog, row.limit = 128, row.drops = drops;
    row.pid = 900 + port, row.start = 7, row.process = "server", row.owners = 1, row.mark = "=";
    row.asleep = 1, row.stopped = 0, row.owners_cpu_us = 8000;
    return row;
}

static NetnsRow& space(WhyMachine& machine) {
    NetnsRow row;
    row.netns = 1, row.own = row.known = true, row.somaxconn = 4096;
    row.segments_out = 10000, row.retransmitted = 0, row.overflows = row.drops = row.cookies = 0;
    return WhyMachine::put(machine.interval.namespaces, row);
}

static SockRow connection(uint64_t pid, const std::string& peer) {
    SockRow row;
    row.netns = 1, row.protocol = "tcp", row.state = "ESTABLISHED";
    row.address = "10.2.0.7", row.port = 443, row.peer = peer, row.peer_port = 50000;
    if (pid) row.pid = pid, row.start = 7, row.process = "server", row.owners = 1, row.mark = "=";
    row.received = row.sent = row.retransmitted = row.receive_queue = 0;
    return row;
}

TEST(WhySock, AListenerThatDropsNamesItsOwner) {
    WhyMachine machine;
    space(machine).drops = 844;
    machine.interval.namespaces.rows[0].overflows = 836;
    WhyMachine::put(machine.interval.listeners, listener(8080, 129, 836));
    WhyMachine::put(machine.interval.listeners, listener(80, 3, 0));
    const auto found = machine.find();
    const auto* why = findingOf(found, "LISTEN");
    ASSERT_TRUE(why);
    EXPECT_EQ(why->object, "0.0.0.0:8080");
    EXPECT_EQ(why->rule, "listen.drops");
    EXPECT_EQ(why->value, 418);
    EXPECT_EQ(why->text, "accept queue 129 of 128, full");
    EXPECT_NE(why->note.find("ListenOverflows 836"), std::string::npos);
    ASSERT_EQ(found.who.size(), 2U);
    EXPECT_EQ(found.who[0].pid, 8980U);
    EXPECT_EQ(found.who[0].share, 99U);
    EXPECT_EQ(found.who[0].mark, '=');
    EXPECT_EQ(found.who[0].evidence, "asleep, 0.4% CPU: it does not accept, asked for 128, somaxconn 4096");
    EXPECT_EQ(found.who[1].name, "other listeners");
}

TEST(WhySock, WhatTheOwnerDoesInstead) {
    const auto evidence = [](auto change) {
        WhyMachine machine;
        auto row = listener(8080, 129, 100);
        change(row);
        WhyMachine::put(machine.interval.listeners, row);
        const auto found = machine.find();
        return found.who.empty() ? std::string() : found.who[0].evidence;
    };
    EXPECT_EQ(evidence([](auto& r) { r.stopped = 1, r.asleep = 0; }), "stopped: it does not accept");
    EXPECT_EQ(evidence([](auto& r) { r.owners = 4, r.asleep = 3, r.stopped = 1; }), "1 stopped, 0.4% CPU");
    EXPECT_EQ(evidence([](auto& r) { r.owners_cpu_us = 1960000, r.asleep = 0; }), "busy, 98.0% CPU");
    EXPECT_EQ(evidence([](auto& r) { r.owners_cpu_us = 1960000; }), "busy, 98.0% CPU");
    EXPECT_EQ(evidence([](auto& r) { r.owners_cpu_us = 200000, r.asleep = 0; }), "10.0% CPU: it accepts too slowly");
    EXPECT_EQ(evidence([](auto& r) { r.asleep.reset(); }), "its state is not known");
    EXPECT_EQ(evidence([](auto& r) { r.owners = 2, r.asleep = 2; }), "all asleep, 0.4% CPU: it does not accept");
}

TEST(WhySock, AFullQueueIsAFindingBeforeAnythingIsDropped) {
    WhyMachine machine;
    WhyMachine::put(machine.interval.listeners, listener(8080, 129, 0));
    const auto full = machine.find();
    const auto* why = findingOf(full, "LISTEN");
    ASSERT_TRUE(why);
    EXPECT_EQ(why->rule, "listen.backlog");
    EXPECT_EQ(full.who[0].share, 100U);
    machine.interval.listeners.rows[0].backlog = 128; // one more finds room
    const auto nearly = machine.find();
    EXPECT_FALSE(findingOf(nearly, "LISTEN"));
    ASSERT_FALSE(nearly.nearest.empty());
    EXPECT_EQ(nearly.nearest[0].rule, "listen.backlog");
}

TEST(WhySock, RetransmissionsByPeer) {
    WhyMachine machine;
    space(machine).retransmitted = 1000;
    auto bad = connection(811, "192.0.2.9"), other = connection(812, "192.0.2.9"), fine = connection(813, "192.0.2.1");
    bad.retransmitted = 600, other.retransmitted = 200, fine.retransmitted = 0;
    bad.rtt_us = 80200;
    for (auto& row : {fine, other, bad}) WhyMachine::put(machine.interval.sockets, row);
    const auto found = machine.find();
    const auto* why = findingOf(found, "TCP");
    ASSERT_TRUE(why);
    EXPECT_EQ(why->rule, "tcp.retransmits");
    ASSERT_EQ(found.who.size(), 2U);
    EXPECT_EQ(found.who[0].name, "192.0.2.9");
    EXPECT_EQ(found.who[0].share, 80U);
    EXPECT_EQ(found.who[0].evidence, "800 segments of 2 connections, round trip 80.2 ms, most by server[811]");
    EXPECT_EQ(found.who[1].mark, '?');
    machine.interval.namespaces.rows[0].retransmitted = 19; // fewer than ten a second
    EXPECT_FALSE(findingOf(machine.find(), "TCP"));
    machine.interval.namespaces.rows[0].retransmitted = 400, machine.interval.namespaces.rows[0].segments_out = 100000;
    EXPECT_FALSE(findingOf(machine.find(), "TCP")); // a small part
}

TEST(WhySock, ConnectionsThatFillAnInterface) {
    WhyMachine machine;
    LinkRow link;
    link.index = 2, link.name = "eth0", link.speed = 1000000000, link.addresses = "10.2.0.7 2001:db8::7";
    link.tx_bytes = 240000000, link.rx_bytes = 1000;
    WhyMachine::put(machine.interval.links, link);
    auto large = connection(811, "192.0.2.9"), elsewhere = connection(812, "192.0.2.9"), inside = connection(813, "");
    large.sent = 180000000;
    elsewhere.sent = 900000000, elsewhere.address = "127.0.0.1";
    inside.sent = 900000000, inside.peer = "2001:db8::7";
    for (auto& row : {elsewhere, inside, large}) WhyMachine::put(machine.interval.sockets, row);
    const auto found = machine.find();
    ASSERT_TRUE(findingOf(found, "LINK"));
    ASSERT_EQ(found.who.size(), 2U);
    EXPECT_EQ(found.who[0].pid, 811U);
    EXPECT_EQ(found.who[0].share, 75U);
    EXPECT_EQ(found.who[0].mark, '~');
    machine.interval.sockets.rows.clear();
    const auto nobody = machine.find();
    ASSERT_EQ(nobody.who.size(), 1U);
    EXPECT_EQ(nobody.who[0].mark, '?');
}

// Packets that found no room are the doing of those who send most; others were dropped because nobody wants them.
TEST(WhySock, ConnectionsThatOverfillAQueue) {
    WhyMachine machine;
    LinkRow link;
    link.index = 2, link.name = "eth0", link.addresses = "10.2.0.7";
    link.tx_bytes = 1000000, link.rx_bytes = 9000000, link.tx_dropped = 500;
    WhyMachine::put(machine.interval.links, link);
    auto sender = connection(811, "192.0.2.9"), receiver = connection(812, "192.0.2.9");
    sender.sent = 800000, sender.received = 0;
    receiver.received = 8000000, receiver.sent = 0;
    for (auto& row : {sender, receiver}) WhyMachine::put(machine.interval.sockets, row);
    const auto first = [&] {
        const auto found = machine.find();
        return found.who.empty() ? 0 : found.who[0].pid.value_or(0);
    };
    EXPECT_EQ(first(), 811U);
    auto& row = machine.interval.links.rows[0];
    row.tx_dropped = 0, row.rx_dropped = row.rx_missed = 500;
    EXPECT_EQ(first(), 812U);
    row.rx_missed = 0;
    const auto nobody = machine.find();
    ASSERT_EQ(nobody.who.size(), 1U);
    EXPECT_EQ(nobody.who[0].mark, '?');
}

TEST(WhySock, LocalPortsThatRunOut) {
    WhyMachine machine;
    WhyMachine::put(machine.interval.limits, LimitRow{"ports to 198.51.100.9:5432", "", 27000, 28232, {}});
    for (uint64_t i = 0; i < 3; i++) {
        auto row = connection(811 + i % 2, "198.51.100.9");
        row.peer_port = i == 2 ? 5433 : 5432;
        WhyMachine::put(machine.interval.sockets, row);
    }
    const auto found = machine.find();
    ASSERT_TRUE(findingOf(found, "LIMIT"));
    ASSERT_EQ(found.who.size(), 2U); // the third talks to another port
    EXPECT_EQ(found.who[0].mark, '~');
    EXPECT_EQ(found.who[0].share, 50U);
    EXPECT_EQ(found.who[0].evidence, "1 connections that moved");
    EXPECT_EQ(findingOf(found, "LIMIT")->text, "27.0K of 28.2K");
    // With connections in TIME_WAIT those that ended hold ports, too.
    auto& space = WhyMachine::put(machine.interval.namespaces, NetnsRow());
    space.own = true, space.time_wait = 20000;
    for (uint64_t i = 0; i < 6; i++) {
        auto row = connection(i < 4 ? 900 : 811, "198.51.100.9");
        row.peer_port = 5432, row.state = "ENDED", row.process = i < 4 ? "burst" : "server";
        WhyMachine::put(machine.interval.sockets, row);
    }
    const auto waiting = machine.find();
    EXPECT_EQ(findingOf(waiting, "LIMIT")->text, "27.0K of 28.2K, up to 20.0K in TIME_WAIT");
    ASSERT_EQ(waiting.who.size(), 3U);
    EXPECT_EQ(waiting.who[0].pid, 900U);
    EXPECT_EQ(waiting.who[0].share, 50U);
    EXPECT_EQ(waiting.who[0].evidence, "4 connections that ended");
    EXPECT_EQ(waiting.who[1].evidence, "1 connections that moved, 2 that ended");
    machine.interval.sockets.rows.clear();
    const auto idle = machine.find();
    ASSERT_EQ(idle.who.size(), 1U);
    EXPECT_EQ(idle.who[0].mark, '?');
}

TEST(WhySock, WhatNobodyReads) {
    WhyMachine machine;
    auto small = connection(811, "192.0.2.9"), young = connection(812, "192.0.2.9"), old = connection(813, "192.0.2.9");
    for (auto* row : {&small, &young, &old}) row->unread_us = 31 * Second, row->receive_queue = 65536;
    small.receive_queue = 1000, young.unread_us = 29 * Second;
    auto nobody = connection(0, "192.0.2.9");
    nobody.unread_us = 40 * Second, nobody.receive_queue = 65536;
    for (auto& row : {small, young, old, old, nobody}) WhyMachine::put(machine.interval.sockets, row);
    const auto found = machine.find();
    const auto* why = findingOf(found, "SOCKET");
    ASSERT_TRUE(why);
    EXPECT_EQ(why->object, "server[813]");
    EXPECT_EQ(why->text, "10.2.0.7:443 from 192.0.2.9:50000, 64.0KB received");
    ASSERT_EQ(found.who.size(), 1U);
    EXPECT_EQ(found.who[0].pid, 813U);
    EXPECT_EQ(found.who[0].amount, 131072U);
    EXPECT_EQ(std::count_if(found.why.begin(), found.why.end(), [](auto& w) { return w.resource == "SOCKET"; }), 1);
}

// One of many listeners does not accept: it is always the one that is named.
TEST(WhySock, FiftyRandomListeners) {
    for (uint64_t seed = 1; seed <= 50; seed++) {
        std::mt19937_64 random(seed);
        const auto between = [&](uint64_t least, uint64_t most) { return least + random() % (most - least + 1); };
        WhyMachine machine;
        const uint64_t listeners = between(1, 40), bad = between(0, listeners - 1);
        uint64_t dropped = 0, culprit = 0;
        for (uint64_t i = 0; i < listeners; i++) {
            auto row = listener(between(1, 65000) / 50 * 50 + i % 50, 0, 0);
            row.limit = between(1, 4096), row.owners = between(1, 32), row.asleep = between(0, row.owners);
            row.backlog = i == bad ? *row.limit + 1 : between(0, *row.limit * 9 / 10);
            row.drops = i == bad ? between(100, 100000) : between(0, 1);
            dropped += *row.drops;
            row.cookie = i, row.start = i;
            if (i == bad) culprit = *row.pid;
            WhyMachine::put(machine.interval.listeners, row);
        }
        space(machine).drops = dropped + between(0, dropped / 50);
        const auto found = machine.find();
        ASSERT_FALSE(found.why.empty()) << seed;
        uint64_t shares = 0;
        const WhoRow* first = nullptr;
        for (auto& who : found.who) {
            if (who.object != "0.0.0.0:" + std::to_string(machine.interval.listeners.rows[bad].port)) continue;
            shares += who.share;
            if (!first) first = &who;
        }
        ASSERT_TRUE(first) << "seed " << seed;
        EXPECT_EQ(first->pid, culprit) << "seed " << seed;
        EXPECT_GE(first->share, 95U) << "seed " << seed;
        EXPECT_EQ(shares, 100U) << "seed " << seed;
        const Named named([&] {
            machine.interval.why.rows = found.why, machine.interval.who.rows = found.who;
            return std::cref(machine.interval);
        }());
        EXPECT_TRUE(named.has(machine.interval.listeners.rows[bad])) << "seed " << seed;
    }
}
