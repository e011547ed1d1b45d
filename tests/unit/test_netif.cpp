#include "classic/collect/netif.h"

#include "classic/collect/settings.h"
#include "tests/unit/made.h"
#include "tests/unit/nomemory.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

// --- Lines of /proc/net/dev

static constexpr const char* Sixteen = "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n";

static std::array<double, 16> numbers(const TNetif& n) {
    return {n.rbytes, n.rpackets, n.rerrors, n.rdrop, n.rfifo, n.rframe, n.rcompressed, n.rmulticast,
            n.wbytes, n.wpackets, n.werrors, n.wdrop, n.wfifo, n.colls,  n.carrier,     n.wcompressed};
}
// The sixteenth number overwrites the seventh; its own field stays empty.
static constexpr std::array<double, 16> InOrder = {1, 2, 3, 4, 5, 6, 16, 8, 9, 10, 11, 12, 13, 14, 15, 0};

TEST(NetifLine, ColumnsInTheKernelsOrder) {
    TNetif netif;
    ASSERT_TRUE(getNetifLine(std::string("  eth0: ") + Sixteen, netif));
    EXPECT_EQ(netif.name.view(), "eth0");
    EXPECT_EQ(numbers(netif), InOrder);
    EXPECT_EQ(netif.ipcount, 0);
}

TEST(NetifLine, NamesAndWhereTheNumbersBegin) {
    static constexpr struct {
        const char* start;
        const char* name;
        bool shifted; // the rest of the name is a word of its own, which shifts the numbers by one
    } Cases[] = {
        {"eth0:", "eth0", false},  // no blank after the colon
        {"eth0: ", "eth0", false}, //
        {"     x:    ", "x", false},
        {"eth0 : ", "eth0", true}, // the colon is a word of its own
        {"lo:1: ", "lo", true},    // an alias: its number is a word, too
        {"eth0 ", "eth0", false},  // no colon at all
        {":", "", false},          //
        {"a\tb: ", "a\tb", false}, // a tab does not separate words
        {"1234567890123456789012345678901: ", "1234567890123456789012345678901", false},
        {"12345678901234567890123456789012: ", "1234567890123456789012345678901", false},
        {"123456789012345678901234567890: ", "123456789012345678901234567890", false},
        {"\xff\x01;$(id): ", "\xff\x01;$(id)", false},
    };
    for (auto& c : Cases) {
        TNetif netif;
        ASSERT_TRUE(getNetifLine(std::string(c.start) + Sixteen, netif)) << c.start;
        EXPECT_EQ(netif.name.view(), c.name) << c.start;
        EXPECT_EQ(netif.rpackets, c.shifted ? 1 : 2) << c.start;
        EXPECT_EQ(netif.rcompressed, c.shifted ? 15 : 16) << c.start;
    }
}

TEST(NetifLine, WhatIsNone) {
    TNetif netif;
    for (auto line : {
             "", "\n", "eth0:\n", "   \n",
             "Inter-|   Receive                                                |  Transmit\n",
             " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo colls "
             "carrier compressed\n",
             "eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n", // 16 words
         })
        EXPECT_FALSE(getNetifLine(line, netif)) << line;
}

TEST(NetifLine, TheNewlineBehindABlankIsAWord) {
    TNetif netif;
    ASSERT_TRUE(getNetifLine("eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 \n", netif));
    EXPECT_EQ(netif.carrier, 15);
    EXPECT_EQ(netif.rcompressed, 0);
}

TEST(NetifLine, ColumnsOfLaterKernelsAreIgnored) {
    for (auto more : {"", " 17", " 17 18", " 17 18 19", " 17 18 19 20", " 17 18 19 20 21 22 23"}) {
        TNetif netif;
        ASSERT_TRUE(getNetifLine("eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16" + std::string(more) + "\n", netif));
        EXPECT_EQ(numbers(netif), InOrder) << more;
    }
}

TEST(NetifLine, NumbersAsTheCLibraryReadsThem) {
    TNetif netif;
    ASSERT_TRUE(getNetifLine("e:-5 +6 7x x8 9223372036854775807 9223372036854775808 -9223372036854775809 "
                             "18446744073709551616 0x10 010 1.9 \t3 \x80 -- - 1e3\n",
                             netif));
    EXPECT_EQ(netif.rbytes, -5);
    EXPECT_EQ(netif.rpackets, 6);
    EXPECT_EQ(netif.rerrors, 7);
    EXPECT_EQ(netif.rdrop, 0);
    EXPECT_EQ(netif.rfifo, 9223372036854775807.0);
    EXPECT_EQ(netif.rframe, 9223372036854775807.0);
    EXPECT_EQ(netif.rmulticast, 9223372036854775807.0);
    EXPECT_EQ(netif.wbytes, 0);
    EXPECT_EQ(netif.wpackets, 10);
    EXPECT_EQ(netif.werrors, 1);
    EXPECT_EQ(netif.wdrop, 3);
    EXPECT_EQ(netif.rcompressed, 1);
}

// --- Samples and rates

static std::string device(const std::string& lines) { return "file /proc/net/dev <<END\n" + lines + "END\n"; }
static std::string row(const std::string& name, int bytes) {
    return name + ": " + std::to_string(bytes) + " 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n";
}
static std::string answer(const std::string& name, const std::string& address) {
    return "command ifconfig " + name + " |grep \"inet \" <<END\ninet " + address + " netmask 255.0.0.0\nEND\n";
}

TEST(Netif, RatesOfEveryColumn) {
    Made machine(device("eth0: 100 200 300 400 500 600 700 800 900 1000 1100 1200 1300 1400 1500 1600\n") + "step 1\n" +
                 device("eth0: 102 204 306 408 510 612 714 816 918 1020 1122 1224 1326 1428 1530 1632\n"));
    TNetifSlots netif;
    EXPECT_EQ(getnetif(0, 0, 1, 5, netif), 0);
    machine.step();
    ASSERT_EQ(getnetif(1, 1, 0, 2, netif), 2);
    for (auto& rate : netif.result)
        EXPECT_EQ(numbers(rate), (std::array<double, 16>{1, 2, 3, 4, 0, 0, 0, 0, 9, 10, 11, 12, 0, 14, 0, 0}));
    EXPECT_EQ(netif.result[0].name.view(), "Total");
    EXPECT_EQ(netif.result[1].name.view(), "eth0");
}

TEST(Netif, TheTotalIsWithoutLoopbacks) {
    Made machine(device(row("lo", 1) + row("lo:1", 1) + row("eth0", 10) + row("lora0", 1) + row("l", 20)) + "step 1\n" +
                 device(row("lo", 11) + row("lo:1", 101) + row("eth0", 1010) + row("lora0", 10001) + row("l", 100020)));
    TNetifSlots netif;
    getnetif(0, 0, 1, 0, netif);
    machine.step();
    ASSERT_EQ(getnetif(1, 1, 0, 1, netif), 6);
    EXPECT_EQ(netif.result[0].rbytes, 101000);
    EXPECT_EQ(netif.result[2].name.view(), "lo");
    EXPECT_EQ(netif.result[4].rbytes, 10000);
}

TEST(Netif, AddressesAreAskedOnlyForNewNames) {
    Made machine(device(row("lo", 0) + row("eth0", 0) + row("x", 0)) + answer("lo", "127.0.0.1") +
                 answer("eth0", "10.0.0.1") + answer("eth1", "10.0.0.2") + answer("x", "10.0.0.9") + "step 1\n" +
                 device(row("lo", 1) + row("eth1", 1) + row("x", 1)) + "step 2\n" +
                 device(row("lo", 1) + row("eth1", 1) + row("x", 1) + row("eth0", 1)) + "step 3\n" +
                 device(row("x", 1)));
    TNetifSlots netif;
    getnetif(0, 0, 1, 0, netif);
    EXPECT_EQ(netif.sample[0][1].ipstring.view(), "10.0.0.1");
    EXPECT_EQ(netif.sample[0][2].ipstring.view(), "") << "a name of one letter is not asked for at the start";
    machine.step();
    ASSERT_EQ(getnetif(1, 1, 0, 1, netif), 4);
    EXPECT_EQ(netif.result[1].ipstring.view(), "127.0.0.1") << "copied";
    EXPECT_EQ(netif.result[1].netmask[0].view(), "255.0.0.0");
    EXPECT_EQ(netif.sample[1][1].ipstring.view(), "10.0.0.2");
    EXPECT_EQ(netif.result[2].name.view(), "") << "a row with another name than before is empty";
    EXPECT_EQ(netif.result[2].ipstring.view(), "");
    machine.step();
    EXPECT_EQ(printed([&] { EXPECT_EQ(getnetif(2, 0, 1, 1, netif), 0); }),
              "Previous netif count : 3 / Current netif count : 4 / TimeDiff : 1.000000\n");
    EXPECT_EQ(netif.sample[0][3].ipcount, 0) << "beyond the rows of before";
    machine.step();
    printed([&] { getnetif(3, 1, 0, 1, netif); });
    EXPECT_EQ(netif.sample[1][0].ipstring.view(), "10.0.0.9") << "asked, as row 0 was lo";
    EXPECT_EQ(machine.log(), "run ifconfig lo |grep \"inet \"\nrun ifconfig eth0 |grep \"inet \"\npause 1000000\n"
                             "run ifconfig eth1 |grep \"inet \"\npause 1000000\npause 1000000\n"
                             "run ifconfig x |grep \"inet \"\n");
}

TEST(Netif, APipeThatFailsLeavesTheRowWithoutAddresses) {
    Made machine(device(row("eth0", 0)) + answer("eth0", "10.0.0.1") + "nopipe ifconfig eth0 |grep \"inet \"\n");
    TNetifSlots netif;
    time4ip = 5;
    EXPECT_EQ(printed([&] { getnetif(0, 0, 1, 0, netif); }), "");
    EXPECT_EQ(netif.sample[0].size(), 1U);
    EXPECT_EQ(netif.sample[0][0].ipcount, 0);
    EXPECT_EQ(time4ip, 0);
}

TEST(Netif, WithoutTheFileThereAreNoRows) {
    Made machine(device(row("eth0", 0)) + "step 1\ngone /proc/net/dev\nstep 2\n");
    TNetifSlots netif;
    getnetif(0, 0, 1, 0, netif);
    machine.step();
    EXPECT_EQ(printed([&] { EXPECT_EQ(getnetif(1, 1, 0, 0.5, netif), 0); }),
              "Previous netif count : 1 / Current netif count : 0 / TimeDiff : 0.500000\n");
    machine.step();
    EXPECT_EQ(printed([&] { EXPECT_EQ(getnetif(2, 0, 1, 0.5, netif), 1); }), "") << "none twice: the total alone";
}

TEST(Netif, AnIntervalOfNothingHasNoRates) {
    Made machine(device(row("eth0", 0)));
    TNetifSlots netif;
    EXPECT_EQ(printed([&] { EXPECT_EQ(getnetif(0, 0, 1, 0, netif), 0); }), "");
    for (double seconds : {0.0, 0.9e-9, -1.0})
        EXPECT_NE(printed([&] { EXPECT_EQ(getnetif(1, 1, 0, seconds, netif), 0); }), "") << seconds;
    EXPECT_EQ(printed([&] { EXPECT_EQ(getnetif(1, 0, 1, 1e-9, netif), 2); }), "");
}

TEST(Netif, LinesOf256Bytes) {
    const std::string start = "eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15";
    for (size_t length : {size_t(255), size_t(256), size_t(257), size_t(258)}) {
        // The last number ends at `length`. A cut at 256 makes it 7, or removes it, and then there is no interface.
        const std::string line = start + std::string(length - 2 - start.size(), ' ') + "77";
        Made machine(device(line + "\n"));
        TNetifSlots netif;
        getnetif(0, 0, 1, 0, netif);
        ASSERT_EQ(netif.sample[0].size(), length < 258 ? 1U : 0U) << length;
        if (length == 258) continue;
        EXPECT_EQ(netif.sample[0][0].rcompressed, length < 257 ? 77 : 7) << length;
    }
}

TEST(Netif, TheOrderOfRates) {
    TNetif a, b;
    EXPECT_EQ(compnetif(a, b), 0);
    a.rbytes = 5;
    b.wbytes = 5;
    EXPECT_EQ(compnetif(a, b), 0);
    b.rbytes = 0.5;
    EXPECT_GT(compnetif(a, b), 0);
    EXPECT_LT(compnetif(b, a), 0);
    b.rbytes = -1;
    EXPECT_LT(compnetif(a, b), 0);
    a.rpackets = 100;
    b.rbytes = 0;
    EXPECT_EQ(compnetif(a, b), 0) << "packets do not count";
}

// --- No memory

TEST(Netif, NoMemoryForTheInterfaces) {
    NEEDS_ITS_HEAP();
    Made machine(device(row("eth0", 1)));
    TNetifSlots netif;
    getnetif(0, 0, 1, 0, netif);
    EXPECT_EQ(printed([&] {
                  EXPECT_TRUE(withoutMemory(2048, [&] {
                      const int count = getnetif(1, 1, 0, 1, netif);
                      flushOutput();
                      return count == 0 && netif.sample[1].empty() && netif.result.empty();
                  }));
              }),
              "Failed to get memory for netif [ENO(12):Cannot allocate memory]\n");
}

TEST(Netif, NoMemoryForTheRates) {
    NEEDS_ITS_HEAP();
    Made machine(device(row("eth0", 1)));
    TNetifSlots netif;
    getnetif(0, 0, 1, 0, netif);
    netif.sample[1].reserve(1);
    EXPECT_EQ(printed([&] {
                  EXPECT_TRUE(withoutMemory(2048, [&] {
                      const int count = getnetif(1, 1, 0, 1, netif);
                      flushOutput();
                      return count == 0 && netif.sample[1].size() == 1 && netif.result.empty();
                  }));
              }),
              "Failed to get memory for topnet [ENO(12):Cannot allocate memory]\n");
}
