// The end of a log that a recorder goes on with.
#include "wyrt/tail.h"

#include "base/infile.h"
#include "base/outfile.h"
#include "tests/unit/made.h"

static const std::string Head = "#wyrt,2,1.2.0,db7,boot,run\n#CPU,time,secs,user\n#CPU:role,time,elapsed:s,amount:us\n"
                                "END,2026-11-21T14:05:08.000+01:00,0.000000,0,0,84,9f3a01c4\n";

static std::string intervalOf(const std::string& user) {
    return "CPU,2026-11-21T14:05:10.000+01:00,2.000000," + user +
           "\nEND,2026-11-21T14:05:10.000+01:00,2.000000,1,1,45,0a1b2c3d\n";
}

static void save(const std::string& text) {
    OutFile file;
    ASSERT_TRUE(file.open("/log", OutFile::How::New));
    ASSERT_TRUE(file.write(text));
}

static std::string saved() { return World::current->find("/log")->text; }

TEST(Tail, WhatFollowsTheLastEndIsCut) {
    const Made machine("");
    const std::string good = Head + intervalOf("5") + intervalOf("7");
    for (const char* torn :
         {"C", "CPU,2026-11-21T14:05:12.000+01:00,2.0", "CPU,2026,2,1\nCPU,2",
          "END,2026-11-21T14:05:12.000+01:00,2.0,3,1,4", "END,2026-11-21T14:05:12.000+01:00,2.000000,3,1,45,0a1b2c3d",
          "#wyrt,2,1.2.0,db7,b", "\n"}) {
        save(good + torn);
        EXPECT_EQ(mendTail("/log"), Tail::Cut) << torn;
        EXPECT_EQ(saved(), good) << torn;
        EXPECT_EQ(mendTail("/log"), Tail::Whole);
    }
    EXPECT_EQ(saved(), good);
}

// What is longer than any interval that is looked for near the end.
TEST(Tail, ALongTornInterval) {
    const Made machine("");
    const std::string good = Head + intervalOf("5");
    std::string torn;
    while (torn.size() < (6 << 20)) torn += "CPU,2026-11-21T14:05:12.000+01:00,2.000000,123456789\n";
    save(good + torn);
    EXPECT_EQ(mendTail("/log"), Tail::Cut);
    EXPECT_EQ(saved(), good);
    save(good + torn + intervalOf("9") + "CPU,20");
    EXPECT_EQ(mendTail("/log"), Tail::Cut);
    EXPECT_EQ(saved(), good + torn + intervalOf("9"));
    save(good + std::string(5 << 20, '\0'));
    EXPECT_EQ(mendTail("/log"), Tail::Cut);
    EXPECT_EQ(saved(), good);
}

// What no recorder of this format left is kept whole, under a name of its own.
TEST(Tail, WhatMayBeMissedIsSetAside) {
    const Made machine("");
    std::string carriageReturns = Head + intervalOf("5"), large = Head;
    for (size_t at = 0; (at = carriageReturns.find('\n', at)) != carriageReturns.npos; at += 2)
        carriageReturns.insert(at, "\r");
    while (large.size() < (13 << 20)) large += "CPU,2026-11-21T14:05:12.000+01:00,2.000000,123456789\n";
    const std::string all[] = {"#",
                               "#wyrt,2,1.2",
                               "#wyrt,2,1.2.0,db7,boot,run\n#CPU,time",
                               "#wyrt, notes of mine\nbuy milk\n",
                               carriageReturns,
                               large,
                               Head + intervalOf("5") + "END,a,later,form\nCPU,20",
                               Head + "END,,,,,,xx1b2c3d\n"};
    for (size_t i = 0; i < std::size(all); i++) {
        save(all[i]);
        EXPECT_EQ(mendTail("/log"), Tail::Aside) << i;
        EXPECT_EQ(World::current->find("/log"), nullptr) << i;
        const auto name = "/log.torn" + (i == 0 ? "" : "." + std::to_string(i + 1));
        ASSERT_NE(World::current->find(name), nullptr) << name;
        EXPECT_EQ(World::current->find(name)->text, all[i]) << name;
    }
    save(Head + intervalOf("5") + "END,a,later,form\n" + intervalOf("6")); // whole at its end
    EXPECT_EQ(mendTail("/log"), Tail::Whole);
    save("");
    EXPECT_EQ(mendTail("/log"), Tail::Whole); // an empty file is one
}

TEST(Tail, WhatIsNoLogStaysAsItIs) {
    const Made machine("file /log <<W\nx\nW\nstep 1\n");
    for (const std::string text : {"hello\n", "#wyr,2\n", "END,1,2,3,4,5,0a1b2c3d\n", "# wyrt,2", "\x1f\x8b"}) {
        save(text);
        EXPECT_EQ(mendTail("/log"), Tail::NoLog);
        EXPECT_EQ(saved(), text);
    }
    EXPECT_EQ(mendTail("/none"), Tail::Whole);
}

TEST(Tail, WhatCannotBeReadIsAFailure) {
    const Made machine("text /log \"#wyrt,2\\nx\"\nfail open /log EACCES\n");
    EXPECT_EQ(mendTail("/log"), Tail::Error);
    EXPECT_EQ(errno, EACCES);
    const Made damaged("text /log \"#wyrt,2\\nx\"\nfail read /log EIO\n");
    EXPECT_EQ(mendTail("/log"), Tail::Error);
    EXPECT_EQ(errno, EIO);
    const Made held("text /log \"#wyrt,2\\nx\"\nfail rename /log EACCES\n");
    EXPECT_EQ(mendTail("/log"), Tail::Error);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(saved(), "#wyrt,2\nx");
}
