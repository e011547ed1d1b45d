// The made-up machine's clocks, waits and files: the twin of base/door/.
#include "base/clock.h"
#include "base/filestatus.h"
#include "base/held.h"
#include "base/host.h"
#include "base/outfile.h"
#include "base/root.h"
#include "base/terminal.h"
#include "base/wait.h"
#include "tests/unit/made.h"

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

TEST(Root, ChangesOnlyTheMachinesFiles) {
    EXPECT_EQ(Root().path("/proc/stat"), "/proc/stat");
    EXPECT_EQ(Root("/").path("/proc/stat"), "/proc/stat");
    EXPECT_FALSE(Root("/").isOther());
    const Root root("/host/");
    EXPECT_TRUE(root.isOther());
    EXPECT_EQ(root.path("/proc"), "/host/proc");
    EXPECT_EQ(root.path("/sys/block/sda"), "/host/sys/block/sda");
    EXPECT_EQ(root.path("/run/udev"), "/host/run/udev");
    EXPECT_EQ(root.path("/etc/hostname"), "/host/etc/hostname");
    EXPECT_EQ(root.path("/processes"), "/processes");
    EXPECT_EQ(root.path("/home"), "/home");
    EXPECT_EQ(root.path("proc"), "proc");
    EXPECT_EQ(root.path(""), "");
}

TEST(MadeClocks, GoTogetherUnlessAStepSaysOtherwise) {
    const Made machine(
        "clock 1000.000\nmono 50.000001\nboot 60\nstep 1\nstep 2\nclock 1005.500\nstep 3\nclockstep -2000\n"
        "step 4\nasleep 10000\nstep 5\nclock 900.000\n");
    Signals signals;
    const auto times = [] { return std::vector{getMonotonic(), getBoottime(), getRealtime()}; };
    EXPECT_EQ(times(), (std::vector<int64_t>{50000001, 60000000, 1000000}));
    EXPECT_EQ(waitUntil(getMonotonic() + 1000000, signals), Woken::Time);
    EXPECT_EQ(times(), (std::vector<int64_t>{51000001, 61000000, 1001000}));
    waitUntil(getMonotonic() + 1000000, signals);
    EXPECT_EQ(times(), (std::vector<int64_t>{55500001, 65500000, 1005500}));
    waitUntil(getMonotonic() + 1000000, signals);
    EXPECT_EQ(times(), (std::vector<int64_t>{56500001, 66500000, 1004500}));
    waitUntil(getMonotonic() + 1000000, signals);
    EXPECT_EQ(times(), (std::vector<int64_t>{57500001, 77500000, 1015500}));
    waitUntil(getMonotonic() + 1000000, signals);
    EXPECT_EQ(times(), (std::vector<int64_t>{58500001, 78500000, 900000}));
    EXPECT_THROW(waitUntil(getMonotonic() + 5, signals), TKilled);
    EXPECT_EQ(machine.log(), "wait 1000000\nwait 1000000\nwait 1000000\nwait 1000000\nwait 1000000\nwait 5\n");
}

TEST(MadeClocks, OfProcesses) {
    Made machine("cpuclock 7 1500\nowncpu 99\npid 31\nkernel 4.18.0-el8\nhost box\nstep 1\ncpuclock 7 gone\n");
    EXPECT_EQ(getCpuClock(7), 1500U);
    EXPECT_FALSE(getCpuClock(8));
    EXPECT_EQ(getOwnCpu(), 99U);
    EXPECT_EQ(getOwnPid(), 31);
    EXPECT_TRUE(cpuClocksMatchProc());
    EXPECT_EQ(getHost().release, "4.18.0-el8");
    EXPECT_EQ(getHost().name, "box");
    machine.step();
    EXPECT_FALSE(getCpuClock(7));
}

TEST(MadeWaits, EndEarlyAndLate) {
    const Made machine("terminal\nsize 80 24\nstep 1\nlate 30\nstep 2\nearly 200\nsignal WINCH\nsize 120 40\n"
                       "step 3\nearly 100\nfile /x <<E\nE\nstep 4\nearly 300\nkeys q\\s\nstep 5\nsignal TERM\n");
    Signals signals;
    const Keys keys;
    const int64_t start = getMonotonic();
    EXPECT_EQ(waitUntil(start + 1000000, signals), Woken::Time);
    EXPECT_EQ(getMonotonic(), start + 1030000);
    EXPECT_EQ(waitUntil(start + 2000000, signals), Woken::Signal);
    EXPECT_EQ(getMonotonic(), start + 1230000);
    EXPECT_TRUE(signals.takeResized());
    EXPECT_EQ(getTerminalSize()->columns, 120);
    Watched watched[] = {{keys.handle(), false}};
    EXPECT_EQ(waitUntil(start + 2000000, signals, watched), Woken::Ready); // step 3 brings nothing that wakes
    EXPECT_EQ(getMonotonic(), start + 1530000);
    Keys again;
    EXPECT_EQ(again.take(), 'q');
    EXPECT_EQ(again.take(), ' ');
    EXPECT_FALSE(again.take());
    EXPECT_EQ(waitUntil(start + 2000000, signals, watched), Woken::Signal);
    EXPECT_EQ(getMonotonic(), start + 2000000);
    EXPECT_EQ(signals.end(), SIGTERM);
}

TEST(MadeFiles, AreHeld) {
    Made machine("file /proc/stat <<E\none\nE\nfile /sys/a/b <<E\nold\nE\nstep 1\nfile /proc/stat <<E\ntwo\nE\n"
                 "gone /sys/a\nstep 2\nfile /sys/a/b <<E\nnew\nE\nfail read /proc/stat EIO\n");
    HeldFile stat(Root(), "/proc/stat"), byPath(Root(), "/sys/a/b"), inPlace;
    HeldDirectory place;
    Contents text;
    ASSERT_TRUE(place.open("/sys/a"));
    ASSERT_TRUE(inPlace.open(place, "b"));
    ASSERT_TRUE(stat.read(text));
    EXPECT_EQ(text.view(), "one\n");
    EXPECT_FALSE(stat.changed());
    ASSERT_TRUE(byPath.read(text));
    machine.step();
    EXPECT_TRUE(stat.changed());
    EXPECT_FALSE(stat.changed());
    ASSERT_TRUE(stat.read(text));
    EXPECT_EQ(text.view(), "two\n");
    EXPECT_FALSE(byPath.read(text));
    EXPECT_EQ(errno, ENOENT);
    machine.step();
    ASSERT_TRUE(byPath.read(text)); // opened again
    EXPECT_EQ(text.view(), "new\n");
    EXPECT_FALSE(inPlace.read(text)); // another file of the same name
    EXPECT_EQ(errno, ENODEV);
    EXPECT_FALSE(stat.read(text));
    EXPECT_EQ(errno, EIO);
}

TEST(MadeFiles, DirectoriesAreListedAgain) {
    Made machine(
        "file /g/one <<E\nE\ndir /g/two\nlink /g/three /x\ninode /g/two 77\nstep 1\ngone /g/one\nstep 2\ngone /g\n");
    HeldDirectory held;
    Listing listing;
    ASSERT_TRUE(held.open("/g"));
    const auto names = [&] {
        std::string all;
        listing.start(held);
        for (Listing::Entry entry; listing.next(entry);)
            all += std::string(entry.name) + (entry.kind == Listing::Kind::Directory ? "/" : "") + " ";
        return all;
    };
    EXPECT_EQ(names(), "one two/ three ");
    machine.step();
    EXPECT_EQ(names(), "two/ three ");
    machine.step();
    EXPECT_EQ(names(), "");
    EXPECT_FALSE(held.open("/g"));
}

TEST(MadeFiles, AreWrittenAndReadAgain) {
    const Made machine(
        "file /data <<E\n12345\nE\nstatx /data mtime=100.5 dev=253:7\ndir /var\nfail write /full ENOSPC\n");
    OutFile file;
    Contents text;
    ASSERT_TRUE(file.open("/var/log", OutFile::How::New));
    EXPECT_TRUE(file.write("abc"));
    EXPECT_TRUE(file.truncate(2));
    EXPECT_TRUE(file.open("/var/log", OutFile::How::Append));
    EXPECT_TRUE(file.write("d"));
    ASSERT_TRUE(readFile("/var/log", text));
    EXPECT_EQ(text.view(), "abd");
    uint64_t size = 0;
    EXPECT_TRUE(file.size(size));
    EXPECT_EQ(size, 3U);
    FileStatus status;
    ASSERT_TRUE(getFileStatus("/data", status));
    EXPECT_EQ(status.size, 6U);
    EXPECT_EQ(status.modified_ns, 100500000000);
    EXPECT_EQ(status.major, 253U);
    EXPECT_EQ(status.minor, 7U);
    EXPECT_FALSE(getFileStatus("/none", status));
    EXPECT_FALSE(file.open("/full", OutFile::How::New) && file.write("x"));
    EXPECT_EQ(errno, ENOSPC);
}
