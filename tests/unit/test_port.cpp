// The socket tables: both are read, into rows that keep their memory.
#include "tests/unit/nomemory.h"
#include "tests/unit/portmade.h"

#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

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
    MadeProcesses processes;
    processes.add(1, 0, "init", "", {11, 12, 13, 14});
    for (int pass = 0; pass < 5; pass++) {
        const int expected[] = {3, 1, 4, 0, 0};
        if (pass) machine.step();
        EXPECT_EQ(getportinfo(pass, table, &processes, 64), expected[pass]);
        EXPECT_EQ(static_cast<int>(table.rows.size()), expected[pass]);
        for (auto& row : table.rows) EXPECT_EQ(table.ref(row), "init[1/0]");
    }
}

TEST_F(Port, ASteadyTableTakesNoMoreMemory) {
    std::vector<std::string> steps(6, rowsOf({500, 501, 502, 503}));
    Sockets machine(steps);
    MadeProcesses processes;
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
