// Owners that stay with a row from pass to pass, and what ends that.
#include "tests/unit/portmade.h"

#include <gtest/gtest.h>

TEST_F(Port, OwnersAndTextStayWithTheRow) {
    netdebug = 1;
    Sockets machine({rowsOf({500, 0, 501}), rowsOf({500, 0, 501})});
    MadeProcesses processes;
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
    MadeProcesses before;
    before.add(5, 1, "first", "", {500}).add(6, 1, "second", "", {500}).add(7, 1, "third", "", {500});
    TPortTable table;
    printed([&] { getportinfo(0, table, &before, 64); });
    MadeProcesses now;
    now.add(5, 1, "first", "", {500}).add(6, 1, "second", "", {3}).add(7, 1, "third", "", {500});
    machine.step();
    EXPECT_EQ(printed([&] { getportinfo(1, table, &now, 64); }),
              "++++ Reuse of previous inode info - 127.0.0.1:22 10.0.0.2:54321 500 <-> 5 first\n"
              "---- Reset inode info - 127.0.0.1:22 10.0.0.2:54321 500\n");
    EXPECT_EQ(table.ref(table.rows[0]), "first[5/1] third[7/1]");
    EXPECT_EQ(ownersOf(table, 0), (Owners{{0, 0}, {2, 0}}));
    MadeProcesses fewer; // the second owner's process is beyond the table now, the first one's list is shorter
    fewer.add(5, 1, "first", "", {});
    machine.step();
    EXPECT_EQ(printed([&] { getportinfo(2, table, &fewer, 64); }),
              "---- Reset inode info - 127.0.0.1:22 10.0.0.2:54321 500\n");
    EXPECT_EQ(table.ref(table.rows[0]), "");
}

TEST_F(Port, AnotherSocketAtThePosition) {
    netdebug = 1;
    Sockets machine({rowsOf({500}), rowsOf({501, 500})});
    MadeProcesses processes;
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
        MadeProcesses processes;
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
    MadeProcesses processes;
    processes.add(5, 1, "a", "", {500});
    TPortTable table;
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(printed([&] { getportinfo(0, table, &processes, 64); }),
                  "==== Invalid previous inode info - cur inode : 500, old inode : 0, refcount :0\n");
}

TEST_F(Port, WithoutProcessesNothingIsKept) {
    netdebug = 1;
    Sockets machine({rowsOf({500}), rowsOf({500}), rowsOf({500})});
    MadeProcesses processes;
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
