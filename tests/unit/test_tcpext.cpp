#include "classic/collect/tcpext.h"

#include "tests/unit/made.h"
#include "tests/unit/nomemory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// "name=value name=value"
static std::string shown(const std::vector<TNetstat>& rows) {
    std::string text;
    for (auto& row : rows) {
        if (!text.empty()) text += ' ';
        text += Text<64>(row.name.view()).addf("=%.0f", row.curvalue).view();
    }
    return text;
}

static std::string read(std::initializer_list<std::string_view> lines, size_t group = 3) {
    TNetstatSlots snmp;
    TNetstatLines seen;
    for (auto line : lines) EXPECT_TRUE(getNetstatLine(line, 0, seen, snmp));
    return shown(snmp[group].sample[0]);
}

TEST(NetstatLine, NamesThenValues) {
    EXPECT_EQ(read({"Udp: A B C\n", "Udp: 1 2 3\n"}), "A=1 B=2 C=3");
    EXPECT_EQ(read({"Udp: A B C\n"}), "A=0 B=0 C=0");
    EXPECT_EQ(read({"Udp: A B C\n", "Udp: 1\n"}), "A=1 B=0 C=0");
    EXPECT_EQ(read({"Udp: A\n", "Udp: 1 2 3\n"}), "A=1");
    EXPECT_EQ(read({"Udp: \n", "Udp: 1 2 3\n"}), "");
    EXPECT_EQ(read({"Udp:  A   B  \n", "Udp:   1    2\n"}), "A=1 B=2");
    EXPECT_EQ(read({"Udp: A\tB\n", "Udp: 1\t2\n"}), "A\tB=1") << "a tab parts nothing";
}

TEST(NetstatLine, TheLastCharacterIsLost) {
    EXPECT_EQ(read({"Udp: A BC", "Udp: 1 23"}), "A=1 B=2");
    EXPECT_EQ(read({"Udp: ", "Udp: A\n", "Udp: 1\n"}), "A=1") << "without its blank the prefix is none";
}

TEST(NetstatLine, FurtherLinesOfAGroupAreIgnored) {
    EXPECT_EQ(read({"Udp: A\n", "Udp: 1\n", "Udp: B\n", "Udp: 2\n"}), "A=1");
}

TEST(NetstatLine, OnlyTheKnownGroups) {
    EXPECT_EQ(read({"IcmpMsg: A\n", "Icmp: B\n", "IcmpMsg: 1\n", "Icmp: 2\n"}, 1), "B=2");
    EXPECT_EQ(read({"UdpLite: A\n", "Udp: B\n", "UdpLite: 1\n", "Udp: 2\n"}), "B=2");
    EXPECT_EQ(read({" Udp: A\n", "udp: A\n", "Udp A\n", "Udp:A\n", "Udp:\tA\n", "\n", "", "x", "U\n"}), "");
    EXPECT_EQ(read({"Ip: A\n", "IpExt: B\n", "Ip: -1\n"}, 0), "A=-1");
}

TEST(NetstatLine, TheLastGroupWaitsForItsFile) {
    EXPECT_EQ(read({"TcpExt: A\n", "TcpExt: 1\n"}, 4), "1=0") << "the first line only counts";
}

TEST(NetstatLine, ValuesAsTheCLibraryReadsThem) {
    EXPECT_EQ(read({"Udp: A B C D E F\n", "Udp: 9223372036854775808 -9223372036854775809 7x x 010 +3\n"}),
              "A=9223372036854775808 B=-9223372036854775808 C=7 D=0 E=10 F=3");
}

TEST(NetstatLine, TwoHundredWords) {
    for (int count : {198, 199, 200, 201, 500}) {
        std::string names = "Udp:", values = "Udp:";
        for (int i = 1; i <= count; i++)
            names.append(" n").append(std::to_string(i)), values.append(" ").append(std::to_string(i));
        TNetstatSlots snmp;
        TNetstatLines seen;
        getNetstatLine(names + "\n", 1, seen, snmp);
        getNetstatLine(values + "\n", 1, seen, snmp);
        const auto& rows = snmp[3].sample[1];
        ASSERT_EQ(rows.size(), static_cast<size_t>(std::min(count, 199)));
        EXPECT_EQ(rows.back().name.view(), std::string("n").append(std::to_string(rows.size())));
        EXPECT_EQ(rows.back().curvalue, static_cast<double>(rows.size()));
    }
}

TEST(Getname, EndsAtABlankOrAt31) {
    EXPECT_EQ(getname("InSegs OutSegs").view(), "InSegs");
    EXPECT_EQ(getname("InSegs").view(), "InSegs");
    EXPECT_EQ(getname("").view(), "");
    EXPECT_EQ(getname(" x").view(), "");
    for (size_t length : {30U, 31U, 32U, 100U})
        EXPECT_EQ(getname(std::string(length, 'n') + " x").size(), std::min<size_t>(length, 31));
}

// --- Samples

static std::string file(const char* name, const std::string& lines) {
    return std::string("file /proc/net/") + name + " <<END\n" + lines + "END\n";
}
static const std::string Snmp = "Ip: A\nIp: 1\nIcmp: B\nIcmp: 2\nTcp: C\nTcp: 3\nUdp: D\nUdp: 4\n";

static std::string sampleOf(const std::string& world) {
    Made machine(world);
    TNetstatSlots snmp;
    gettcpext(0, 0, 1, 0, snmp);
    std::string text;
    for (auto& group : snmp) text += shown(group.sample[0]) + ";";
    return text;
}

TEST(Tcpext, TheSecondFileFollowsTheFirst) {
    const std::string netstat = file("netstat", "TcpExt: E\nTcpExt: 5\nIpExt: F\nIpExt: 6\n");
    EXPECT_EQ(sampleOf(file("snmp", Snmp) + netstat), "A=1;B=2;C=3;D=4;E=5;");
    EXPECT_EQ(sampleOf(file("snmp", Snmp)), "A=1;B=2;C=3;D=4;;");
    EXPECT_EQ(sampleOf(netstat), ";;;;;") << "not without the first";
    EXPECT_EQ(sampleOf(file("snmp", Snmp) + "fail open /proc/net/netstat EACCES\n" + netstat), "A=1;B=2;C=3;D=4;;");
}

TEST(Tcpext, TheSecondFileNeedsTwoLinesOfEachGroup) {
    const std::string netstat = file("netstat", "TcpExt: E\nTcpExt: 5\n");
    EXPECT_EQ(sampleOf(file("snmp", "Ip: A\nIp: 1\nIcmp: B\nIcmp: 2\nTcp: C\nTcp: 3\n") + netstat), "A=1;B=2;C=3;;;");
    EXPECT_EQ(sampleOf(file("snmp", "Ip: A\nIp: 1\nIcmp: B\nIcmp: 2\nTcp: C\nTcp: 3\nUdp: D\n") + netstat),
              "A=1;B=2;C=3;D=0;;");
    EXPECT_EQ(
        sampleOf(file("snmp", "Ip: A\nIp: 1\nIp: 9\nIcmp: B\nIcmp: 2\nTcp: C\nTcp: 3\nUdp: D\nUdp: 4\n") + netstat),
        "A=1;B=2;C=3;D=4;;")
        << "three lines are not two";
    EXPECT_EQ(sampleOf(file("snmp", "TcpExt: X\n" + Snmp) + netstat), "A=1;B=2;C=3;D=4;;");
    EXPECT_EQ(sampleOf(file("snmp", Snmp + "Ip: X\nUdp: Y\nTcpExt: Z\n") + netstat), "A=1;B=2;C=3;D=4;E=5;")
        << "what follows is not read any more";
    EXPECT_EQ(sampleOf(file("snmp", Snmp) + file("netstat", "Udp: 7\nTcp: 8\nTcpExt: E\nTcpExt: 5\nTcpExt: 6\n")),
              "A=1;B=2;C=3;D=4;E=5;");
}

TEST(Tcpext, LinesOf4095Bytes) {
    for (size_t length : {4093U, 4094U, 4095U, 4096U}) {
        // The line has `length` characters without its newline; it ends with a name of two characters.
        const std::string line = "Ip: " + std::string(length - 6, ' ') + "AB";
        const std::string expected = length <= 4094 ? "AB=0" : length == 4095 ? "A=0" : "";
        EXPECT_EQ(sampleOf(file("snmp", line + "\n")), expected + ";;;;;") << length;
    }
}

TEST(Tcpext, ChangesOfTheLeadingRunOfEqualNames) {
    Made machine(file("snmp", "Tcp: A B C D\nTcp: 10 20 30 40\nUdp: A B\nUdp: 1 1\n") + "step 1\n" +
                 file("snmp", "Tcp: A B X D\nTcp: 12 16 31 41\nUdp: A B C\nUdp: 2 2 2\n") + "step 2\n" +
                 file("snmp", "Tcp: A B X D\nTcp: 13 17 32 42\nUdp: A B C\nUdp: 4 4 4\n") + "step 3\n" +
                 file("snmp", "Tcp: A\nTcp: 99\n"));
    TNetstatSlots snmp;
    gettcpext(0, 0, 1, 9, snmp);
    machine.step();
    gettcpext(1, 1, 0, 2, snmp);
    ASSERT_EQ(snmp[2].result.size(), 2U);
    EXPECT_EQ(snmp[2].result[0].delta, 1);
    EXPECT_EQ(snmp[2].result[0].prevalue, 10);
    EXPECT_EQ(snmp[2].result[0].curvalue, 12);
    EXPECT_EQ(snmp[2].result[1].delta, -2);
    EXPECT_EQ(snmp[3].result.size(), 0U) << "another number of counters: nothing new, and nothing was there";
    machine.step();
    gettcpext(2, 0, 1, 1, snmp);
    EXPECT_EQ(snmp[2].result.size(), 4U);
    EXPECT_EQ(snmp[3].result.size(), 3U);
    machine.step();
    gettcpext(3, 1, 0, 1, snmp);
    EXPECT_EQ(snmp[2].result.size(), 4U) << "kept";
    EXPECT_EQ(snmp[2].result[3].curvalue, 42);
    EXPECT_EQ(snmp[3].result.size(), 3U) << "kept";
    gettcpext(4, 0, 1, 0, snmp);
    EXPECT_EQ(snmp[2].result.size(), 4U) << "kept: no time has passed";
    gettcpext(5, 1, 0, 1, snmp);
    EXPECT_EQ(snmp[2].result.size(), 1U);
    EXPECT_EQ(snmp[3].result.size(), 0U) << "none twice";
}

// --- No memory

TEST(Tcpext, NoMemoryForTheCounters) {
    NEEDS_ITS_HEAP();
    Made machine(file("snmp", Snmp));
    TNetstatSlots snmp;
    gettcpext(0, 0, 1, 1, snmp);
    snmp[0].sample[1].reserve(1);
    EXPECT_EQ(printed([&] {
                  EXPECT_TRUE(withoutMemory(512, [&] {
                      gettcpext(1, 1, 0, 1, snmp);
                      flushOutput();
                      return snmp[0].sample[1].size() == 1 && snmp[1].sample[1].empty() && snmp[0].result.empty();
                  }));
              }),
              "Failed to get memory for snmp index 1\n")
        << "and nothing is compared";
}

TEST(Tcpext, NoMemoryForTheChanges) {
    NEEDS_ITS_HEAP();
    Made machine(file("snmp", Snmp));
    TNetstatSlots snmp;
    gettcpext(0, 0, 1, 1, snmp);
    for (auto& group : snmp) group.sample[1].reserve(1);
    snmp[0].result.reserve(1);
    EXPECT_EQ(printed([&] {
                  EXPECT_TRUE(withoutMemory(512, [&] {
                      gettcpext(1, 1, 0, 1, snmp);
                      flushOutput();
                      return snmp[0].result.size() == 1 && snmp[1].result.empty() && snmp[2].result.empty();
                  }));
              }),
              "Failed to get memory for retsnmp index 1 [ERR(12):Cannot allocate memory]\n");
}
