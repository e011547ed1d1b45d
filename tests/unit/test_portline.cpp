// The words of a line of a socket table, and the names of states.
#include "classic/collect/hexadecimal.h"
#include "classic/monitor/port.h"
#include "tests/unit/portmade.h"

#include <cstdint>
#include <string_view>

#include <gtest/gtest.h>

TEST_F(Port, HexadecimalNumbersEndAtASeparator) {
    const struct {
        std::string_view text;
        unsigned value;
    } cases[] = {
        {"0016 ", 22},
        {"00000000:00000000", 0},
        {"FFFFFFFF ", 4294967295U},
        {"80000000:", 2147483648U},
        {"A\n", 10},
        {"F\t", 15},
        {"", 0},
        {":", 0},
        {" 16 ", 0},
        {"G", 0},
        {"16", 0},        // nothing after the digits
        {"FFFFFFFF", 0},  // the same
        {"a ", 42},       // lower-case digits have other values
        {"f0 ", 47 * 16}, // which carry into the higher digits
        {"fFFFFFFF ", 4294967295U - (15U << 28) + (47U << 28)},
        {"100000000 ", 1},     // the ninth digit counts as the first does
        {"2000000030 ", 0x50}, // and the tenth as the second
        {"x1 ", 0},
        {"1@ ", 1},
        {"1`", 1},
        {"1g", 1},
        {"1G", 1},
        {"1/", 1},
    };
    for (auto& c : cases) EXPECT_EQ(ToUINT(c.text), c.value) << c.text;
}

TEST_F(Port, AddressesAreWrittenBackwards) {
    const struct {
        std::string_view digits, address;
    } cases[] = {
        {"0100007F", "127.0.0.1"},
        {"00000000", "0.0.0.0"},
        {"FFFFFFFF", "255.255.255.255"},
        {"0A0B0C0D", "13.12.11.10"},
        {"0000000a", "42.0.0.0"}, // 'a' is 42
        {"ffffffff", "799.799.799.799"},
        {"0000:000", "0.160.0.0"},           // the characters between '9' and 'A' continue from 9
        {"        ", "-272.-272.-272.-272"}, // a blank is 16 below '0'
        {"\x80\x80\x80\x80\x80\x80\x80\x80", "-2992.-2992.-2992.-2992"},
        {"0@0?", "15.16"},
        {"0\x7f", "72"}, // the last character code without a sign
        {"7F", "127"},
        {"017", "1"}, // a single digit is no byte
        {"", ""},
    };
    for (auto& c : cases) EXPECT_EQ(ToAddr(c.digits).view(), c.address) << c.digits;
}

TEST_F(Port, ARowOfTheKernel) {
    TPortInfo row;
    ASSERT_TRUE(getportline("  12: 0100007F:0016 0200000A:D431 01 0000001F:000001F0 02:000A7214 00000003  1000       "
                            "7 123456789012 2 ffff888003a5c000 20 4 30 10 -1                    \n",
                            'T', row));
    EXPECT_EQ(row.sl, 12);
    EXPECT_EQ(row.loc.view(), "127.0.0.1");
    EXPECT_EQ(row.loc_port, 22);
    EXPECT_EQ(row.rem.view(), "10.0.0.2");
    EXPECT_EQ(row.rem_port, 54321);
    EXPECT_EQ(row.st.view(), "01");
    EXPECT_EQ(row.status, 1);
    EXPECT_EQ(row.txq, 0x1F);
    EXPECT_EQ(row.rxq, 0x1F0);
    EXPECT_EQ(row.retrnsmt, 3U);
    EXPECT_EQ(row.uid, 1000);
    EXPECT_EQ(row.timeout, 7);
    EXPECT_EQ(row.inode, 123456789012);
    EXPECT_EQ(row.protocol, 'T');
}

TEST_F(Port, NumbersBeyondTheirRange) {
    TPortInfo row;
    ASSERT_TRUE(getportline(
        "99999999999 0:0 0:0 0 FFFFFFFF:80000000 x 80000001 4294967295 -1 99999999999999999999 b c \n", 'T', row));
    EXPECT_EQ(row.sl, 1215752191); // the low 32 bits
    EXPECT_EQ(row.txq, -1);
    EXPECT_EQ(row.rxq, INT32_MIN);
    EXPECT_EQ(row.retrnsmt, 2147483649U);
    EXPECT_EQ(row.uid, -1);
    EXPECT_EQ(row.timeout, -1);
    EXPECT_EQ(row.inode, INT64_MAX);
}

TEST_F(Port, ARowNeedsThirteenWords) {
    TPortInfo row;
    row.sl = 77;
    EXPECT_FALSE(getportline("", 'T', row));
    EXPECT_FALSE(getportline("\n", 'T', row));
    EXPECT_FALSE(getportline("1 2 3 4 5 6 7 8 9 10 11 12", 'T', row));
    EXPECT_FALSE(getportline("1 2 3 4 5 6 7 8 9 10 11 12   ", 'T', row)); // blanks alone are no word
    EXPECT_FALSE(getportline("1 2 3 4 5 6 7 8 9 10 11 12\n", 'T', row));  // the newline belongs to the last one
    EXPECT_FALSE(getportline("1\t2\t3\t4\t5\t6\t7\t8\t9\t10\t11\t12\t13\n", 'T', row));
    EXPECT_EQ(row.sl, 77);
    EXPECT_TRUE(getportline("1 2 3 4 5 6 7 8 9 10 11 12 \n", 'T', row)); // the newline is a word of its own
    EXPECT_TRUE(getportline(" 1  2 3 4 5 6 7 8 9 10 11 12 13", 'T', row));
    EXPECT_TRUE(getportline("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18\n", 'T', row));
    EXPECT_EQ(row.inode, 10);
}

TEST_F(Port, ShortWordsReadOnIntoTheLine) {
    TPortInfo row;
    ASSERT_TRUE(getportline("1 2 3 4 5 6 7 8 9 10 11 12 13", 'T', row));
    EXPECT_EQ(row.loc.view(), "64.48.32.16"); // "2 ", "3 ", "4 ", "5 ": a blank is 16 below 0
    EXPECT_EQ(row.loc_port, 0);               // begins after "6"
    EXPECT_EQ(row.st.view(), "4 ");
    EXPECT_EQ(row.status, 0);
    EXPECT_EQ(row.txq, 5);
}

TEST_F(Port, StatesOfTCP) {
    const struct {
        const char* st;
        int status;
    } cases[] = {{"00", 0}, {"01", 1}, {"02", 2}, {"03", 3},  {"04", 4},    {"05", 5},   {"06", 6},
                 {"07", 7}, {"08", 8}, {"09", 9}, {"0A", 10}, {"0B", 11},   {"0C", 0},   {"0F", 0},
                 {"0a", 0}, {"0b", 0}, {"10", 0}, {"11", 0},  {"1A", 0},    {"FF", 0},   {"A1", 0},
                 {"0:", 0}, {"0;", 0}, {"0@", 0}, {"0/", 0},  {"0\x80", 0}, {"0\xff", 0}};
    for (auto& c : cases) {
        TPortInfo row;
        ASSERT_TRUE(getportline(rowOf(0, 1, "0100007F:0016", c.st), 'T', row));
        EXPECT_EQ(row.status, c.status) << c.st;
        EXPECT_EQ(row.st.view(), c.st);
        ASSERT_TRUE(getportline(rowOf(0, 1, "0100007F:0016", c.st), 'U', row));
        EXPECT_EQ(row.status, 0) << c.st;
    }
}

TEST_F(Port, NamesOfStates) {
    const struct {
        int status;
        char protocol;
        const char *digits, *name;
    } cases[] = {
        {1, 'T', "01", "ESTABLISH"},  {2, 'T', "02", "SYN_SENT"},   {3, 'T', "03", "SYN_RECV"},
        {4, 'T', "04", "FIN_WAIT1"},  {5, 'T', "05", "FIN_WAIT2"},  {6, 'T', "06", "TIME_WAIT"},
        {7, 'T', "07", "CLOSE"},      {8, 'T', "08", "CLOSE_WAIT"}, {9, 'T', "09", "LAST_ACK"},
        {10, 'T', "0A", "LISTEN"},    {11, 'T', "0B", "CLOSING"},   {0, 'T', "0C", "N/A(0x0C)"},
        {12, 'T', "0C", "N/A(0x0C)"}, {-1, 'T', "FF", "N/A(0xFF)"}, {0, 'U', "07", "UDP(0x07)"},
        {10, 'U', "0A", "UDP(0x0A)"},
    };
    for (auto& c : cases)
        EXPECT_EQ(getportstatus(c.status, c.protocol, c.digits).view(), c.name) << c.status << " " << c.digits;
}
