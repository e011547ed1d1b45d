// Who owns a socket: the search, and the text of the owners.
#include "tests/unit/portmade.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// The owner text of the first row after one collection.
static std::string ownerText(MadeProcesses& processes, int limit, int64_t inode = 500) {
    Sockets machine({rowsOf({inode})});
    TPortTable table;
    EXPECT_EQ(getportinfo(0, table, &processes, limit), 1);
    return std::string(table.ref(table.rows.at(0)));
}

// --- Owner texts

TEST_F(Port, OwnersByName) {
    MadeProcesses processes;
    processes.add(10, 1, "sshd", "/usr/sbin/sshd", {3, 500}).add(12, 10, "sshd", "sshd: user", {500});
    EXPECT_EQ(ownerText(processes, 64), "sshd[10/1] sshd[12/10]");
    EXPECT_EQ(ownerText(processes, 20), "sshd[10/1]...");
}

TEST_F(Port, ALimitThatAFurtherOwnerJustMeets) {
    MadeProcesses processes;
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
    MadeProcesses processes;
    for (int i = 0; i < 5; i++) processes.add(10 + i, 1, "sshd", "", {500});
    EXPECT_EQ(ownerText(processes, 38), "sshd[10/1]............");
    EXPECT_EQ(ownerText(processes, 19), "sshd[10/1]......"); // 13 + 5 is below 19, 16 + 5 is not
    EXPECT_EQ(ownerText(processes, 18), "sshd[10/1]...");
}

TEST_F(Port, AShorterNameFitsAfterDots) {
    MadeProcesses processes;
    processes.add(1, 0, "a", "", {500}).add(2, 0, "much-longer", "", {500}).add(3, 0, "b", "", {500});
    EXPECT_EQ(ownerText(processes, 36), "a[1/0]... b[3/0]"); // 6 + 11 + 24 is not below 36, 9 + 1 + 24 is
}

TEST_F(Port, ASingleOwnerByCommandLine) {
    for (size_t length : {1U, 63U, 64U, 65U, 100U}) {
        MadeProcesses processes;
        const std::string arg(length, 'x');
        processes.add(-7, 1, "cmd", arg, {500});
        EXPECT_EQ(ownerText(processes, 64), length <= 64 ? arg + "[-7/1]" : arg.substr(0, 64) + "...[-7/1]");
    }
    MadeProcesses processes;
    processes.add(7, 1, "kernel", "", {500});
    EXPECT_EQ(ownerText(processes, 64), "kernel[7/1]");
    EXPECT_EQ(ownerText(processes, 1), "kernel[7/1]"); // a name is never cut
}

TEST_F(Port, OneProcessWithTheSocketTwice) {
    MadeProcesses processes;
    processes.add(7, 1, "twice", "/bin/twice", {500, 3, 500});
    EXPECT_EQ(ownerText(processes, 64), "twice[7/1] twice[7/1]");
}

TEST_F(Port, TheHighestLimit) {
    MadeProcesses processes;
    processes.add(7, 1, "cmd", std::string(2000, 'x'), {500});
    EXPECT_EQ(ownerText(processes, 958), std::string(958, 'x') + "...[7/1]");
    EXPECT_EQ(ownerText(processes, 959), std::string(959, 'x') + "...[7/1]");
    for (int limit : {960, 961, INT32_MAX}) EXPECT_EQ(ownerText(processes, limit), std::string(960, 'x') + "...[7/1]");
}

TEST_F(Port, WithoutASearch) {
    MadeProcesses processes;
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
    MadeProcesses processes;
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
static Owners walk(MadeProcesses& processes, int64_t inode) {
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
        MadeProcesses processes;
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
    MadeProcesses processes;
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
    MadeProcesses processes;
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
    MadeProcesses processes;
    processes.add(5, 1, "a", "", {500}).add(6, 1, "b", "", {500, 600});
    processes.proccount = 1;
    TPortTable table;
    getportinfo(0, table, &processes, 64);
    EXPECT_EQ(ownersOf(table, 0), (Owners{{0, 0}}));
    EXPECT_EQ(ownersOf(table, 1), Owners{});
}
