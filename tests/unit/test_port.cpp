#include "classic/collect/hexadecimal.h"
#include "classic/collect/port.h"
#include "classic/collect/settings.h"
#include "classic/monitor/port.h"
#include "tests/unit/made.h"
#include "tests/unit/nomemory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>

// --- A machine with socket tables, processes made by hand, and what was printed

static const std::string Header =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n";

// A row as the kernel prints it, but without the padding.
static std::string rowOf(int sl, int64_t inode, const char* local = "0100007F:0016", const char* st = "01") {
    return std::to_string(sl) + ": " + local + " 0200000A:D431 " + st +
           " 00000000:00000000 00:00000000 00000000  0 0 " + std::to_string(inode) +
           " 1 0000000000000000 100 0 0 10 0\n";
}

static std::string rowsOf(std::initializer_list<int64_t> inodes) {
    std::string text = Header;
    int sl = 0;
    for (auto inode : inodes) text += rowOf(sl++, inode);
    return text;
}

namespace {
// A made-up machine with a few steps: step N has the N-th TCP text and the N-th UDP text as its tables.
struct Sockets : Made {
    explicit Sockets(const std::vector<std::string>& tcp, const std::vector<std::string>& udp = {})
        : Made(worldOf(tcp, udp)) {}
    static std::string worldOf(const std::vector<std::string>& tcp, const std::vector<std::string>& udp) {
        std::string text;
        for (size_t i = 0; i < tcp.size(); i++) {
            text += "step " + std::to_string(i) + "\nfile /proc/net/tcp <<END\n" + tcp[i] + "END\n";
            if (i < udp.size()) text += "file /proc/net/udp <<END\n" + udp[i] + "END\n";
        }
        return text;
    }
};

struct Processes : TProcTable {
    Processes& add(int pid, int ppid, const char* cmd, const std::string& arg, std::initializer_list<int64_t> inodes) {
        auto& p = procs.emplace_back();
        p.pid = pid, p.ppid = ppid, p.cmd = cmd;
        p.arg = {static_cast<uint32_t>(texts.size()), static_cast<uint32_t>(arg.size())};
        texts += arg;
        p.fdinfo = {static_cast<uint32_t>(fds.size()), 0};
        for (auto inode : inodes) open(inode);
        proccount = capacity = static_cast<int>(procs.size());
        return *this;
    }
    // One more descriptor of the last process.
    void open(int64_t inode) {
        auto& fd = fds.emplace_back();
        fd.fd = procs.back().fdinfo.count++;
        fd.inode = inode;
    }
};

// Each test starts with -V off and restores the setting at its end.
struct Port : testing::Test {
    ~Port() override { netdebug = 0; }
};
} // namespace

// The owner text of the first row after one collection.
static std::string ownerText(Processes& processes, int limit, int64_t inode = 500) {
    Sockets machine({rowsOf({inode})});
    TPortTable table;
    EXPECT_EQ(getportinfo(0, table, &processes, limit), 1);
    return std::string(table.ref(table.rows.at(0)));
}

static std::vector<std::pair<int, int>> ownersOf(const TPortTable& table, size_t row) {
    std::vector<std::pair<int, int>> owners;
    for (auto& owner : table.ownersOf(table.rows.at(row))) owners.emplace_back(owner.procindex, owner.fdindex);
    return owners;
}

using Owners = std::vector<std::pair<int, int>>;

// --- Words of a line

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

// --- The tables

TEST_F(Port, BothTablesAreRead) {
    Sockets machine({Header + rowOf(5, 0, "00000000:0016", "0A") + "short\n" + rowOf(6, 0, "00000000:0017", "0C")},
                    {Header + rowOf(7, 0, "00000000:0035", "07") + rowOf(8, 0, "00000000:0036", "01")});
    TPortTable table;
    ASSERT_EQ(getportinfo(0, table, nullptr, 64), 4);
    for (size_t i = 0; i < 4; i++) EXPECT_EQ(table.rows[i].sl, 5 + static_cast<int>(i));
    EXPECT_EQ(table.rows[1].protocol, 'T');
    EXPECT_EQ(table.rows[2].protocol, 'U');
    EXPECT_EQ(table.rows[3].status, 0);
    EXPECT_EQ(std::vector<int>(std::begin(table.statuscount), std::end(table.statuscount)),
              (std::vector<int>{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0})); // UDP rows are not counted
}

TEST_F(Port, AMissingTableIsPassedOver) {
    Sockets none({""});
    TPortTable table;
    EXPECT_EQ(printed([&] { EXPECT_EQ(getportinfo(0, table, nullptr, 64), 0); }), "");
    EXPECT_TRUE(table.rows.empty());
}

TEST_F(Port, LinesOf1023Bytes) {
    const std::string twelve = "1: 2 3 4 5 6 7 8 9 10 11 12";
    for (size_t before : {size_t(1021), size_t(1022), size_t(1023), size_t(1024)}) {
        // The thirteenth word begins after this many bytes. From 1023 on it is in the next piece, and there is no row.
        Sockets machine({Header + twelve + std::string(before - twelve.size(), ' ') + "13 14\n"});
        TPortTable table;
        EXPECT_EQ(getportinfo(0, table, nullptr, 64), before < 1023 ? 1 : 0) << before;
    }
}

TEST_F(Port, ATableShrinksAndGrows) {
    Sockets machine({rowsOf({11, 12, 13}), rowsOf({11}), rowsOf({11, 12, 13, 14}), Header, ""});
    TPortTable table;
    Processes processes;
    processes.add(1, 0, "init", "", {11, 12, 13, 14});
    for (int pass = 0; pass < 5; pass++) {
        const int expected[] = {3, 1, 4, 0, 0};
        if (pass) machine.step();
        EXPECT_EQ(getportinfo(pass, table, &processes, 64), expected[pass]);
        EXPECT_EQ(static_cast<int>(table.rows.size()), expected[pass]);
        for (auto& row : table.rows) EXPECT_EQ(table.ref(row), "init[1/0]");
    }
}

// --- Owner texts

TEST_F(Port, OwnersByName) {
    Processes processes;
    processes.add(10, 1, "sshd", "/usr/sbin/sshd", {3, 500}).add(12, 10, "sshd", "sshd: user", {500});
    EXPECT_EQ(ownerText(processes, 64), "sshd[10/1] sshd[12/10]");
    EXPECT_EQ(ownerText(processes, 20), "sshd[10/1]...");
}

TEST_F(Port, ALimitThatAFurtherOwnerJustMeets) {
    Processes processes;
    processes.add(10, 1, "sshd", "", {500}).add(12, 10, "sshd", "", {500});
    // 10 characters, the 4 of the name and 24 more make 38.
    EXPECT_EQ(ownerText(processes, 39), "sshd[10/1] sshd[12/10]");
    EXPECT_EQ(ownerText(processes, 38), "sshd[10/1]...");
    // The dots need 5 more than the 10.
    EXPECT_EQ(ownerText(processes, 16), "sshd[10/1]...");
    EXPECT_EQ(ownerText(processes, 15), "sshd[10/1]");
    EXPECT_EQ(ownerText(processes, 1), "sshd[10/1]");
}

TEST_F(Port, DotsForEveryOwnerThatDoesNotFit) {
    Processes processes;
    for (int i = 0; i < 5; i++) processes.add(10 + i, 1, "sshd", "", {500});
    EXPECT_EQ(ownerText(processes, 38), "sshd[10/1]............");
    EXPECT_EQ(ownerText(processes, 19), "sshd[10/1]......"); // 13 + 5 is below 19, 16 + 5 is not
    EXPECT_EQ(ownerText(processes, 18), "sshd[10/1]...");
}

TEST_F(Port, AShorterNameFitsAfterDots) {
    Processes processes;
    processes.add(1, 0, "a", "", {500}).add(2, 0, "much-longer", "", {500}).add(3, 0, "b", "", {500});
    EXPECT_EQ(ownerText(processes, 36), "a[1/0]... b[3/0]"); // 6 + 11 + 24 is not below 36, 9 + 1 + 24 is
}

TEST_F(Port, ASingleOwnerByCommandLine) {
    for (size_t length : {1U, 63U, 64U, 65U, 100U}) {
        Processes processes;
        const std::string arg(length, 'x');
        processes.add(-7, 1, "cmd", arg, {500});
        EXPECT_EQ(ownerText(processes, 64), length <= 64 ? arg + "[-7/1]" : arg.substr(0, 64) + "...[-7/1]");
    }
    Processes processes;
    processes.add(7, 1, "kernel", "", {500});
    EXPECT_EQ(ownerText(processes, 64), "kernel[7/1]");
    EXPECT_EQ(ownerText(processes, 1), "kernel[7/1]"); // a name is never cut
}

TEST_F(Port, OneProcessWithTheSocketTwice) {
    Processes processes;
    processes.add(7, 1, "twice", "/bin/twice", {500, 3, 500});
    EXPECT_EQ(ownerText(processes, 64), "twice[7/1] twice[7/1]");
}

TEST_F(Port, TheHighestLimit) {
    Processes processes;
    processes.add(7, 1, "cmd", std::string(2000, 'x'), {500});
    EXPECT_EQ(ownerText(processes, 958), std::string(958, 'x') + "...[7/1]");
    EXPECT_EQ(ownerText(processes, 959), std::string(959, 'x') + "...[7/1]");
    for (int limit : {960, 961, INT32_MAX}) EXPECT_EQ(ownerText(processes, limit), std::string(960, 'x') + "...[7/1]");
}

TEST_F(Port, WithoutASearch) {
    Processes processes;
    processes.add(7, 1, "cmd", "", {500});
    EXPECT_EQ(ownerText(processes, 0), "-f not used");
    EXPECT_EQ(ownerText(processes, -1), "-f not used");
    EXPECT_EQ(ownerText(processes, 0, 0), ""); // a socket without an inode has no owner to search for
    EXPECT_EQ(ownerText(processes, 64, 0), "");
    EXPECT_EQ(ownerText(processes, 64, -500), "");
    EXPECT_EQ(ownerText(processes, 64, 501), ""); // no owner found
    processes.proccount = 0;
    EXPECT_EQ(ownerText(processes, 64), "-f not used");
    Sockets machine({rowsOf({500})});
    TPortTable table;
    getportinfo(0, table, nullptr, 64);
    EXPECT_EQ(table.ref(table.rows[0]), "-f not used");
}

// --- The search

TEST_F(Port, SixteenOwnersAtMost) {
    Sockets machine({rowsOf({500, 500, 600})});
    Processes processes;
    for (int i = 0; i < 17; i++) processes.add(100 + i, 1, "many", "", {1, 500});
    processes.procs.back().pid = 1;
    processes.open(600);
    TPortTable table;
    getportinfo(0, table, &processes, 64);
    Owners expected;
    for (int i = 0; i < 16; i++) expected.emplace_back(i, 1);
    EXPECT_EQ(ownersOf(table, 0), expected);
    EXPECT_EQ(ownersOf(table, 1), expected);
    EXPECT_EQ(ownersOf(table, 2), (Owners{{16, 2}}));
}

// The owners that a walk over all descriptors finds.
static Owners walk(Processes& processes, int64_t inode) {
    Owners owners;
    for (size_t p = 0; p < processes.procs.size(); p++) {
        const auto fds = processes.fdinfo(processes.procs[p]);
        for (size_t f = 0; f < fds.size() && owners.size() < 16; f++)
            if (fds[f].inode == inode) owners.emplace_back(p, f);
    }
    return owners;
}

TEST_F(Port, FindsWhatAWalkFinds) {
    std::mt19937 random(1);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    for (int round = 0; round < 30; round++) {
        Processes processes;
        for (int p = below(40); p >= 0; p--) {
            processes.add(p, 1, "some", "", {});
            for (int f = below(30); f > 0; f--) processes.open(below(60));
        }
        std::shuffle(processes.procs.begin(), processes.procs.end(),
                     random); // the lists need not be stored in the order of the processes
        std::string text = Header;
        std::vector<int64_t> inodes;
        for (int i = 0; i < 80; i++) text += rowOf(i, inodes.emplace_back(below(70)));
        Sockets machine({text});
        TPortTable table;
        ASSERT_EQ(getportinfo(0, table, &processes, 64), 80);
        std::vector<int32_t> links(processes.fds.size(), -1);
        for (size_t i = 0; i < 80; i++) {
            const auto expected = inodes[i] > 0 ? walk(processes, inodes[i]) : Owners{};
            EXPECT_EQ(ownersOf(table, i), expected);
            for (auto& [p, f] : expected)
                links[processes.procs[static_cast<size_t>(p)].fdinfo.first + static_cast<size_t>(f)] =
                    static_cast<int32_t>(i);
        }
        for (size_t i = 0; i < links.size(); i++) EXPECT_EQ(processes.fds[i].portinfo, links[i]);
    }
}

TEST_F(Port, HugeInodesAndPipes) {
    Sockets machine({rowsOf({INT64_MAX, 77, 4294967296 + 77})});
    Processes processes;
    processes.add(5, 1, "a", "", {INT64_MAX}).add(6, 1, "b", "", {77});
    processes.fds.back().fdtype = 2; // a pipe with the number of a socket counts as its owner
    TPortTable table;
    getportinfo(0, table, &processes, 64);
    EXPECT_EQ(table.ref(table.rows[0]), "a[5/1]");
    EXPECT_EQ(table.ref(table.rows[1]), "b[6/1]");
    EXPECT_EQ(table.ref(table.rows[2]), "");
}

TEST_F(Port, ACountAboveTheRowsThatAreThere) {
    Sockets machine({rowsOf({500}), rowsOf({500}), rowsOf({500})});
    Processes processes;
    processes.add(5, 1, "a", "", {1}).add(6, 1, "b", "", {500});
    processes.proccount = 1000;
    TPortTable table;
    getportinfo(0, table, &processes, 64);
    EXPECT_EQ(ownersOf(table, 0), (Owners{{1, 0}}));
    processes.procs.pop_back(); // its row is gone, but the count still includes it
    machine.step();
    getportinfo(1, table, &processes, 64);
    EXPECT_EQ(table.rows[0].refcount(), 0);
    processes.procs.clear();
    machine.step();
    getportinfo(2, table, &processes, 64);
    EXPECT_EQ(table.ref(table.rows[0]), "");
}

TEST_F(Port, ACountBelowTheRowsThatAreThere) {
    Sockets machine({rowsOf({500, 600})});
    Processes processes;
    processes.add(5, 1, "a", "", {500}).add(6, 1, "b", "", {500, 600});
    processes.proccount = 1;
    TPortTable table;
    getportinfo(0, table, &processes, 64);
    EXPECT_EQ(ownersOf(table, 0), (Owners{{0, 0}}));
    EXPECT_EQ(ownersOf(table, 1), Owners{});
}

// --- Owners that stay

TEST_F(Port, OwnersAndTextStayWithTheRow) {
    netdebug = 1;
    Sockets machine({rowsOf({500, 0, 501}), rowsOf({500, 0, 501})});
    Processes processes;
    processes.add(5, 1, "first", "", {500}).add(6, 1, "second", "", {1, 500});
    TPortTable table;
    EXPECT_EQ(printed([&] { getportinfo(0, table, &processes, 64); }),
              "==== Invalid previous inode info - cur inode : 500, old inode : 0, refcount :0\n"
              "==== Invalid previous inode info - cur inode : 0, old inode : 0, refcount :0\n"
              "==== Invalid previous inode info - cur inode : 501, old inode : 0, refcount :0\n"
              "---- Port inode mapping Skip [ inode : 0, refcount : 0 ]\n");
    processes.procs[0].cmd = "renamed";
    processes.fds[0].portinfo = processes.fds[2].portinfo = -1;
    machine.step();
    EXPECT_EQ(printed([&] { getportinfo(1, table, &processes, 64); }),
              "++++ Reuse of previous inode info - 127.0.0.1:22 10.0.0.2:54321 500 <-> 5 renamed\n"
              "++++ Reuse of previous inode info - 127.0.0.1:22 10.0.0.2:54321 500 <-> 6 second\n"
              "---- Port inode mapping Skip [ inode : 500, refcount : 2 ]\n"
              "---- Port inode mapping Skip [ inode : 0, refcount : 0 ]\n"); // 501 is searched for again
    EXPECT_EQ(table.ref(table.rows[0]), "first[5/1] second[6/1]");           // unchanged since it was found
    EXPECT_EQ(ownersOf(table, 0), (Owners{{0, 0}, {1, 1}}));
    EXPECT_EQ(processes.fds[0].portinfo, 0);
    EXPECT_EQ(processes.fds[2].portinfo, 0);
}

TEST_F(Port, AnOwnerThatIsGoneEndsTheReuse) {
    netdebug = 1;
    Sockets machine({rowsOf({500}), rowsOf({500}), rowsOf({500})});
    Processes before;
    before.add(5, 1, "first", "", {500}).add(6, 1, "second", "", {500}).add(7, 1, "third", "", {500});
    TPortTable table;
    printed([&] { getportinfo(0, table, &before, 64); });
    Processes now;
    now.add(5, 1, "first", "", {500}).add(6, 1, "second", "", {3}).add(7, 1, "third", "", {500});
    machine.step();
    EXPECT_EQ(printed([&] { getportinfo(1, table, &now, 64); }),
              "++++ Reuse of previous inode info - 127.0.0.1:22 10.0.0.2:54321 500 <-> 5 first\n"
              "---- Reset inode info - 127.0.0.1:22 10.0.0.2:54321 500\n");
    EXPECT_EQ(table.ref(table.rows[0]), "first[5/1] third[7/1]");
    EXPECT_EQ(ownersOf(table, 0), (Owners{{0, 0}, {2, 0}}));
    Processes fewer; // the second owner's process is beyond the table now, the first one's list is shorter
    fewer.add(5, 1, "first", "", {});
    machine.step();
    EXPECT_EQ(printed([&] { getportinfo(2, table, &fewer, 64); }),
              "---- Reset inode info - 127.0.0.1:22 10.0.0.2:54321 500\n");
    EXPECT_EQ(table.ref(table.rows[0]), "");
}

TEST_F(Port, AnotherSocketAtThePosition) {
    netdebug = 1;
    Sockets machine({rowsOf({500}), rowsOf({501, 500})});
    Processes processes;
    processes.add(5, 1, "a", "", {500, 501});
    TPortTable table;
    printed([&] { getportinfo(0, table, &processes, 64); });
    machine.step();
    EXPECT_EQ(printed([&] { getportinfo(1, table, &processes, 64); }),
              "==== Invalid previous inode info - cur inode : 501, old inode : 500, refcount :1\n"
              "==== Invalid previous inode info - cur inode : 500, old inode : 0, refcount :0\n");
    EXPECT_EQ(ownersOf(table, 0), (Owners{{0, 1}}));
    EXPECT_EQ(ownersOf(table, 1), (Owners{{0, 0}}));
}

TEST_F(Port, FifteenOwnersAreKeptSixteenAreNot) {
    for (int count : {15, 16}) {
        netdebug = 0;
        Sockets machine({rowsOf({500}), rowsOf({500})});
        Processes processes;
        for (int i = 0; i < count; i++) processes.add(100 + i, 1, "many", "", {500});
        TPortTable table;
        getportinfo(0, table, &processes, 64);
        EXPECT_EQ(table.rows[0].refcount(), count);
        netdebug = 1;
        machine.step();
        const auto messages = printed([&] { getportinfo(1, table, &processes, 64); });
        EXPECT_EQ(messages.starts_with("++++ Reuse"), count == 15);
        if (count == 16) {
            EXPECT_EQ(messages, "==== Invalid previous inode info - cur inode : 500, old inode : 500, refcount :16\n");
        }
        EXPECT_EQ(table.rows[0].refcount(), count);
    }
}

TEST_F(Port, PassZeroForgets) {
    netdebug = 1;
    Sockets machine({rowsOf({500})});
    Processes processes;
    processes.add(5, 1, "a", "", {500});
    TPortTable table;
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(printed([&] { getportinfo(0, table, &processes, 64); }),
                  "==== Invalid previous inode info - cur inode : 500, old inode : 0, refcount :0\n");
}

TEST_F(Port, WithoutProcessesNothingIsKept) {
    netdebug = 1;
    Sockets machine({rowsOf({500}), rowsOf({500}), rowsOf({500})});
    Processes processes;
    processes.add(5, 1, "a", "", {500});
    TPortTable table;
    printed([&] { getportinfo(0, table, &processes, 64); });
    machine.step();
    EXPECT_EQ(printed([&] { getportinfo(1, table, nullptr, 64); }),
              "==== Invalid previous inode info - cur inode : 500, old inode : 500, refcount :1\n");
    EXPECT_EQ(table.ref(table.rows[0]), "-f not used");
    machine.step(); // the same socket without owners keeps its text until the search finds one
    processes.fds[0].inode = 1;
    EXPECT_EQ(printed([&] { getportinfo(2, table, &processes, 64); }), "");
    EXPECT_EQ(table.ref(table.rows[0]), "-f not used");
}

TEST_F(Port, AMessageLevelOfTwoHasNoSkipLines) {
    netdebug = 2;
    Sockets machine({rowsOf({0})});
    TPortTable table;
    EXPECT_EQ(printed([&] { getportinfo(0, table, nullptr, 64); }),
              "==== Invalid previous inode info - cur inode : 0, old inode : 0, refcount :0\n");
}

TEST_F(Port, ASteadyTableTakesNoMoreMemory) {
    std::vector<std::string> steps(6, rowsOf({500, 501, 502, 503}));
    Sockets machine(steps);
    Processes processes;
    processes.add(5, 1, "a", std::string(50, 'x'), {500, 501}).add(6, 1, "b", "", {501, 502});
    TPortTable table;
    for (int pass = 0; pass < 3; pass++) getportinfo(pass, table, &processes, 64), machine.step();
    const auto* rows = table.rows.data();
    const char *text = table.texts.data(), *otherText = table.textsBefore.data();
    const TOwner *owners = table.owners.data(), *otherOwners = table.ownersBefore.data();
    for (int pass = 0; pass < 2; pass++, machine.step()) {
        getportinfo(3, table, &processes, 64);
        std::swap(text, otherText), std::swap(owners, otherOwners);
        EXPECT_EQ(table.rows.data(), rows);
        EXPECT_EQ(static_cast<const void*>(table.texts.data()), text);
        EXPECT_EQ(table.owners.data(), owners);
    }
}

// --- Memory

TEST_F(Port, NoMemoryForTheTable) {
    NEEDS_ITS_HEAP();
    std::string text = Header;
    for (int i = 0; i < 1000; i++) text += rowOf(i, i);
    Sockets machine({text});
    TPortTable before;
    getportinfo(0, before, nullptr, 64); // the buffers of the files are allocated now
    const auto output = printed([] {
        EXPECT_TRUE(withoutMemory(4096, [] {
            TPortTable table;
            const int count = getportinfo(0, table, nullptr, 64);
            flushOutput();
            return count == 0 && table.rows.empty();
        }));
    });
    EXPECT_EQ(output, "Failed to get memory for port info [ENO(12):Cannot allocate memory]\n");
}

// --- Names of states

TEST_F(Port, NamesOfStates) {
    EXPECT_EQ(getportstatus(1, 'T', "01").view(), "ESTABLISH");
    EXPECT_EQ(getportstatus(2, 'T', "02").view(), "SYN_SENT");
    EXPECT_EQ(getportstatus(3, 'T', "03").view(), "SYN_RECV");
    EXPECT_EQ(getportstatus(4, 'T', "04").view(), "FIN_WAIT1");
    EXPECT_EQ(getportstatus(5, 'T', "05").view(), "FIN_WAIT2");
    EXPECT_EQ(getportstatus(6, 'T', "06").view(), "TIME_WAIT");
    EXPECT_EQ(getportstatus(7, 'T', "07").view(), "CLOSE");
    EXPECT_EQ(getportstatus(8, 'T', "08").view(), "CLOSE_WAIT");
    EXPECT_EQ(getportstatus(9, 'T', "09").view(), "LAST_ACK");
    EXPECT_EQ(getportstatus(10, 'T', "0A").view(), "LISTEN");
    EXPECT_EQ(getportstatus(11, 'T', "0B").view(), "CLOSING");
    EXPECT_EQ(getportstatus(0, 'T', "0C").view(), "N/A(0x0C)");
    EXPECT_EQ(getportstatus(12, 'T', "0C").view(), "N/A(0x0C)");
    EXPECT_EQ(getportstatus(-1, 'T', "FF").view(), "N/A(0xFF)");
    EXPECT_EQ(getportstatus(0, 'U', "07").view(), "UDP(0x07)");
    EXPECT_EQ(getportstatus(10, 'U', "0A").view(), "UDP(0x0A)");
}
