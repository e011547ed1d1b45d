// Tests the real door on real files. The other tests use a made-up door in its place.
#include "base/door.h"

#include "base/output.h"
#include "classic/collect/flushed.h"
#include "tests/unit/child.h"
#include "tests/unit/nomemory.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <set>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

// Whoever is given a place cannot close it.
template <typename P> static constexpr bool Closable = requires(P& place) { place.close(); };
static_assert(Closable<HeldPlace> && Closable<Directory> && !Closable<Place>);

namespace {
class System : public testing::Test {
protected:
    std::string folder = (fs::temp_directory_path() / "wyrt-door.XXXXXX").string();
    Contents text;

    void SetUp() override { ASSERT_NE(mkdtemp(folder.data()), nullptr); }
    void TearDown() override { fs::remove_all(folder); }
    std::string path(const std::string& name) const { return folder + "/" + name; }
    std::string made(const std::string& name, const std::string& content) const {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }
};
} // namespace

static std::string pattern(size_t size) {
    std::string text(size, '\0');
    for (size_t i = 0; i < size; i++) text[i] = static_cast<char>(i * 7 + i / 251);
    return text;
}

// --- Files

// Sizes around the buffer's first size and those that it grows to.
TEST_F(System, ReadsFilesOfEverySize) {
    for (size_t size : {0U, 1U, 16383U, 16384U, 16385U, 32767U, 32768U, 32769U, 200000U, 10U}) {
        const auto content = pattern(size);
        const auto name = made("file", content);
        for (auto how : {Reading::Whole, Reading::Single}) {
            Contents fresh;
            ASSERT_TRUE(readFile(name.c_str(), fresh, how));
            EXPECT_EQ(fresh.view(), content) << size;
            EXPECT_EQ(fresh.error, 0);
            ASSERT_TRUE(readFile(name.c_str(), text, how)); // reuses the buffer of the previous file
            EXPECT_EQ(text.view(), content) << size;
        }
    }
    EXPECT_GE(text.capacity, 200000U); // kept from file to file
}

TEST_F(System, ReadsAtMostWhatIsAsked) {
    const auto content = pattern(40000);
    const auto name = made("file", content);
    for (size_t most : {0U, 1U, 16383U, 16384U, 16385U, 39999U, 40000U, 40001U}) {
        ASSERT_TRUE(readFile(name.c_str(), text, Reading::Whole, most));
        EXPECT_EQ(text.view(), std::string_view(content).substr(0, most)) << most;
    }
}

TEST_F(System, TellsWhyAFileCannotBeRead) {
    errno = 0;
    EXPECT_FALSE(readFile(path("missing").c_str(), text));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(readFile((made("file", "x") + "/below").c_str(), text));
    EXPECT_EQ(errno, ENOTDIR);
    ASSERT_EQ(symlink("loop", path("loop").c_str()), 0);
    EXPECT_FALSE(readFile(path("loop").c_str(), text));
    EXPECT_EQ(errno, ELOOP);
    EXPECT_FALSE(canOpen(path("missing").c_str()));
    EXPECT_TRUE(canOpen(path("file").c_str()));
}

TEST_F(System, ADirectoryOpensAndHasNoText) {
    made("file", "left from before");
    ASSERT_TRUE(readFile(path("file").c_str(), text));
    ASSERT_TRUE(readFile(folder.c_str(), text));
    EXPECT_EQ(text.view(), "");
    EXPECT_EQ(text.error, EISDIR);
}

// Nobody writes to the FIFO: an ordinary open would wait for ever.
TEST_F(System, AFifoDoesNotHoldTheRun) {
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    alarm(20);
    EXPECT_TRUE(readFile(path("fifo").c_str(), text));
    EXPECT_EQ(text.view(), "");
    EXPECT_TRUE(canOpen(path("fifo").c_str()));
    const int writer = open(path("fifo").c_str(), O_RDWR);
    ASSERT_GE(writer, 0);
    EXPECT_TRUE(readFile(path("fifo").c_str(), text)); // held open by a writer that writes nothing
    EXPECT_EQ(text.view(), "");
    EXPECT_EQ(text.error, EAGAIN);
    close(writer);
    TSpace space;
    EXPECT_EQ(getSpace(path("fifo").c_str(), space), SpaceAnswer::Ok);
    alarm(0);
}

// The name leads to a socket, which cannot be opened, and to a device, which never ends.
TEST_F(System, SocketsAndDevicesDoNotHoldTheRun) {
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto name = path("socket");
    ASSERT_LT(name.size(), sizeof address.sun_path);
    std::copy_n(name.c_str(), name.size() + 1, address.sun_path);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_FALSE(readFile(name.c_str(), text));
    EXPECT_EQ(errno, ENXIO);
    close(listener);
    fs::create_symlink("/dev/zero", path("endless"));
    EXPECT_TRUE(readFile(path("endless").c_str(), text, Reading::Whole, 100000));
    EXPECT_EQ(text.view(), std::string(100000, '\0'));
}

TEST_F(System, KernelFiles) {
    ASSERT_TRUE(readFile("/proc/stat", text, Reading::Single));
    const std::string stat(text.view());
    EXPECT_EQ(stat.substr(0, 4), "cpu ");
    EXPECT_EQ(stat.back(), '\n');
    EXPECT_NE(stat.find("\nprocs_blocked "), stat.npos);
    ASSERT_TRUE(readFile("/proc/vmstat", text));
    const std::string vmstat(text.view());
    size_t lines = 0, expected = 0;
    for (char c : vmstat) lines += c == '\n' ? 1 : 0;
    std::ifstream file("/proc/vmstat");
    for (std::string line; std::getline(file, line);) expected++;
    EXPECT_EQ(lines, expected);
}

// --- Places and directories

TEST_F(System, NamesBelowAPlace) {
    fs::create_directory(path("dir"));
    made("dir/file", "inside");
    HeldPlace top, dir;
    ASSERT_TRUE(top.open(folder.c_str()));
    ASSERT_TRUE(dir.open(top, "dir"));
    ASSERT_TRUE(readFile(dir, "file", text));
    EXPECT_EQ(text.view(), "inside");
    EXPECT_FALSE(readFile(top, "file", text));
    EXPECT_EQ(errno, ENOENT);
    HeldPlace none;
    EXPECT_FALSE(none.open(top, "missing"));
    EXPECT_FALSE(none.open((path("dir") + "/file").c_str())); // not a directory
    EXPECT_EQ(errno, ENOTDIR);
    fs::rename(path("dir"), path("renamed"));
    EXPECT_TRUE(readFile(dir, "file", text)); // the place is the directory, not its name
}

TEST_F(System, ListsADirectory) {
    std::set<std::string> expected{".", ".."};
    for (int i = 0; i < 500; i++) expected.insert("entry" + std::to_string(i)), made("entry" + std::to_string(i), "");
    HeldPlace place;
    ASSERT_TRUE(place.open(folder.c_str()));
    for (bool relative : {false, true}) {
        Directory directory;
        ASSERT_TRUE(relative ? directory.open(place, ".") : directory.open(folder.c_str()));
        std::set<std::string> names;
        for (Directory::Entry entry; directory.next(entry);) {
            EXPECT_TRUE(names.insert(entry.name).second);
            uint64_t inode = 0;
            EXPECT_TRUE(entry.name[0] == '.' || inodeOf(path(entry.name).c_str(), inode));
            EXPECT_TRUE(entry.name[0] == '.' || inode == entry.inode);
        }
        EXPECT_EQ(names, expected);
    }
    Directory none;
    EXPECT_FALSE(none.open(path("missing").c_str()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(none.open(path("entry1").c_str()));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(none.open(place, "missing"));
}

TEST_F(System, NothingStaysOpen) {
    const auto handles = [] {
        size_t count = 0;
        for ([[maybe_unused]] auto& entry : fs::directory_iterator("/proc/self/fd")) count++;
        return count;
    };
    const auto name = made("file", "x");
    const auto before = handles();
    for (int i = 0; i < 50; i++) {
        HeldPlace place, again;
        Directory directory;
        Contents contents;
        MountTable table;
        TSpace space;
        place.open(folder.c_str()), place.open(folder.c_str());
        directory.open(place, "."), directory.open(folder.c_str());
        again.open(place, "missing"), directory.open(place, "missing");
        readFile(name.c_str(), contents), readFile(folder.c_str(), contents), canOpen(name.c_str());
        table.open("/proc/self/mounts"), table.open(path("missing").c_str());
        getSpace(folder.c_str(), space);
        runCommand("true", contents);
    }
    EXPECT_EQ(handles(), before);
}

TEST_F(System, Links) {
    HeldPlace place;
    ASSERT_TRUE(place.open(folder.c_str()));
    const std::string target(300, 't');
    ASSERT_EQ(symlink(target.c_str(), path("link").c_str()), 0);
    char buffer[400];
    for (size_t size : {1U, 299U, 300U, 301U}) {
        std::fill(std::begin(buffer), std::end(buffer), '#');
        const auto length = readLink(place, "link", buffer, size);
        ASSERT_EQ(length, static_cast<ptrdiff_t>(std::min<size_t>(size, 300)));
        EXPECT_EQ(std::string(buffer, static_cast<size_t>(length)), target.substr(0, size));
        EXPECT_EQ(buffer[length], '#'); // no terminator, and nothing is written beyond the end
    }
    EXPECT_EQ(readLink(place, "missing", buffer, sizeof buffer), -1);
    EXPECT_EQ(errno, ENOENT);
    made("file", "");
    EXPECT_EQ(readLink(place, "file", buffer, sizeof buffer), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(System, InodesAndRemoval) {
    const auto name = made("file", "x");
    ASSERT_EQ(symlink("file", path("link").c_str()), 0);
    struct stat status{};
    ASSERT_EQ(stat(name.c_str(), &status), 0);
    uint64_t inode = 0;
    ASSERT_TRUE(inodeOf(path("link").c_str(), inode)); // that of the link's target
    EXPECT_EQ(inode, status.st_ino);
    EXPECT_TRUE(removeFile(path("link").c_str()));
    EXPECT_TRUE(fs::exists(name));
    EXPECT_FALSE(removeFile(folder.c_str()));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_TRUE(removeFile(name.c_str()));
    EXPECT_FALSE(removeFile(name.c_str()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(inodeOf(name.c_str(), inode));
    EXPECT_EQ(errno, ENOENT);
}

// --- Mounts

TEST_F(System, MountTables) {
    const auto name = made("mtab", "# a comment\n\n/dev/sda1 /a\\040b ext4 rw,relatime 0 1\n"
                                   "server:/x\t/mnt/y\\011z nfs rw 0 0\nshort\n");
    MountTable table;
    ASSERT_TRUE(table.open(name.c_str()));
    const mntent* entry = table.next();
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->mnt_fsname, "/dev/sda1");
    EXPECT_STREQ(entry->mnt_dir, "/a b");
    EXPECT_STREQ(entry->mnt_type, "ext4");
    entry = table.next();
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->mnt_dir, "/mnt/y\tz");
    ASSERT_NE(table.next(), nullptr); // for a line with one word the other fields are empty
    EXPECT_EQ(table.next(), nullptr);
    EXPECT_FALSE(table.open(path("missing").c_str()));
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(System, SpaceOfAFilesystem) {
    TSpace space;
    ASSERT_EQ(getSpace(folder.c_str(), space), SpaceAnswer::Ok);
    EXPECT_GE(space.bsize, 512);
    EXPECT_GE(space.blocks, space.bfree);
    EXPECT_EQ(getSpace(path("missing").c_str(), space), SpaceAnswer::StatFailed);
    EXPECT_EQ(errno, ENOENT);
}

// --- Commands

TEST_F(System, CommandsAreRunInAShell) {
    ASSERT_TRUE(runCommand("printf 'a b\\n'; exit 3", text));
    EXPECT_EQ(text.view().substr(0, 4), "a b\n");
    ASSERT_TRUE(runCommand("true", text));
    EXPECT_EQ(text.view(), "");
    ASSERT_TRUE(runCommand("no-such-command-here 2>/dev/null", text));
    EXPECT_EQ(text.view(), "");
    ASSERT_TRUE(runCommand("head -c 100000 /dev/zero | tr '\\0' x", text)); // more than the buffer, more than a pipe
    EXPECT_EQ(text.size, 100000U);
    EXPECT_EQ(text.view().find_first_not_of('x'), std::string_view::npos);
}

// The output is read as it comes, and the end of the command is awaited.
TEST_F(System, CommandsAreReadAsTheyPrint) {
    while (wait(nullptr) > 0) {
    } // what earlier tests have killed
    using Clock = std::chrono::steady_clock;
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    const int fifo = open(path("fifo").c_str(), O_RDWR | O_CLOEXEC);
    ShellCommand command;
    ASSERT_TRUE(command.start(("echo first; read go <" + path("fifo") + "; echo second").c_str()));
    text.size = 0;
    ASSERT_TRUE(command.read(text));
    EXPECT_EQ(text.view(), "first\n");
    ASSERT_EQ(write(fifo, "go\n", 3), 3);
    ASSERT_TRUE(command.read(text));
    EXPECT_EQ(text.view(), "first\nsecond\n");
    EXPECT_FALSE(command.read(text));
    EXPECT_EQ(text.view(), "first\nsecond\n");
    close(fifo);
    const auto again = Clock::now();
    ASSERT_TRUE(command.start("exec >&-; sleep 0.2"));
    EXPECT_FALSE(command.read(text));
    command.close();
    EXPECT_GE(Clock::now() - again, std::chrono::milliseconds(200));
    EXPECT_EQ(wait(nullptr), -1); // no zombie is left
}

TEST_F(System, CommandsInheritNothing) {
    HeldPlace place;
    ASSERT_TRUE(place.open(folder.c_str()));
    ASSERT_TRUE(runCommand("ls -l /proc/self/fd/ 2>&1", text));
    EXPECT_EQ(text.view().find("wyrt-door"), std::string_view::npos);
}

// --- The machine

TEST_F(System, Constants) {
    EXPECT_EQ(getPageSize(), sysconf(_SC_PAGESIZE));
    EXPECT_EQ(getClockTicks(), sysconf(_SC_CLK_TCK));
    char name[64] = {}, expected[64] = {};
    ASSERT_EQ(gethostname(expected, sizeof expected), 0);
    EXPECT_TRUE(getHostName(name, sizeof name));
    EXPECT_STREQ(name, expected);
    char small[1] = {'#'};
    EXPECT_FALSE(getHostName(small, sizeof small)); // no room
}

TEST_F(System, Accounts) {
    std::string name = "kept";
    EXPECT_FALSE(getUserName(4123456789U, name));
    EXPECT_EQ(name, "kept");
    ASSERT_TRUE(getUserName(0, name));
    EXPECT_EQ(name, "root");
}

TEST_F(System, ClockAndPause) {
    const auto before = std::chrono::system_clock::now();
    const auto stamp = getClock();
    const auto after = std::chrono::system_clock::now();
    const auto seconds = [](auto time) { return std::chrono::duration<double>(time.time_since_epoch()).count(); };
    EXPECT_GE(stamp.value(), seconds(before) - 0.001);
    EXPECT_LE(stamp.value(), seconds(after));
    EXPECT_GE(stamp.millis, 0);
    EXPECT_LE(stamp.millis, 999);
    const auto start = std::chrono::steady_clock::now();
    pauseFor(30000);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

// --- Output: in child processes, because the tests change the standard streams

// Runs `act` in a child and returns its exit status; when a signal ended it, 256 + the signal's number.
template <typename Act> static int inChild(const Act& act) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(20); // ends a child that is busy or blocked
        act();
        endChild(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? 256 + WTERMSIG(status) : WEXITSTATUS(status);
}

static std::string readAll(int fd) {
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<size_t>(n));
    return text;
}

// In KiB.
static long peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// SIGPIPE ends a command that never stops printing, also when this program runs with the signal ignored.
TEST_F(System, CommandsThatNeverStopPrinting) {
    for (const char* tool : {"yes", "while :; do echo y; done", "while :; do echo y; done | cat", "cat /dev/zero"})
        for (auto disposition : {SIG_DFL, SIG_IGN})
            EXPECT_EQ(inChild([&] {
                          signal(SIGPIPE, disposition);
                          constexpr size_t Limit = 100;
                          const long before = peakMemory();
                          CommandLines lines(tool, Limit);
                          std::string_view line;
                          if (!lines.next(line)) endChild(1);
                          if (line != (*tool == 'c' ? "" : "y\n")) endChild(2); // a NUL ends a line's text
                          if (peakMemory() > before + 4096) endChild(3);
                      }),
                      0)
                << tool;
}

// Where the whole output is wanted, there is a bound.
TEST_F(System, TheWholeOutputIsBounded) {
    EXPECT_EQ(inChild([] {
                  Contents report;
                  if (!runCommand("yes", report)) endChild(1);
                  if (report.size != MostOutput) endChild(2);
                  if (peakMemory() > 200000) endChild(3);
              }),
              0);
}

TEST_F(System, AFullDiskIsPassedOver) {
    EXPECT_EQ(inChild([] {
                  const int full = open("/dev/full", O_WRONLY);
                  dup2(full, STDOUT_FILENO);
                  for (int i = 0; i < 1000; i++) sayText("text\n"), flushOutput();
              }),
              0);
}

TEST_F(System, AClosedStreamIsPassedOver) {
    EXPECT_EQ(inChild([] {
                  close(STDOUT_FILENO);
                  close(STDERR_FILENO);
                  sayText("text\n"), flushOutput();
                  putErr("error\n");
              }),
              0);
}

TEST_F(System, AClosedPipeEndsTheRun) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const auto act = [&](auto disposition) {
        return inChild([&] {
            signal(SIGPIPE, disposition);
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]), close(ends[1]);
            sayText("text\n"), flushOutput();
        });
    };
    close(ends[0]);
    EXPECT_EQ(act(SIG_DFL), 256 + SIGPIPE);
    EXPECT_EQ(act(SIG_IGN), 0); // the parent asked for this by ignoring SIGPIPE
    close(ends[1]);
}

// The pipe is non-blocking and its reader slow: everything arrives, in order.
TEST_F(System, ASlowReaderGetsEverything) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    const auto content = pattern(300000); // more than a pipe holds
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]), close(ends[1]);
        sayText(content), flushOutput();
        endChild(0);
    }
    close(ends[1]);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(readAll(ends[0]), content);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

// Pending output is written before a command runs and before a pause.
TEST_F(System, FlushedBeforeCommandsAndPauses) {
    const auto name = path("out");
    EXPECT_EQ(inChild([&] {
                  const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
                  dup2(file, STDOUT_FILENO);
                  sayText("first\n");
                  Contents output;
                  runCommand(("echo second >> " + name).c_str(), output);
                  sayText("third\n");
                  pauseFlushed(1);
                  if (fs::file_size(name) != 19) endChild(1);
                  sayText("never flushed\n");
                  endChild(0);
              }),
              0);
    ASSERT_TRUE(readFile(name.c_str(), text));
    EXPECT_EQ(text.view(), "first\nsecond\nthird\n");
}

// Control characters are shown as '?' on a terminal, and only there.
TEST_F(System, OnATerminal) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) GTEST_SKIP() << "no pseudo-terminals here";
    const std::string slave = ptsname(master);
    const auto say = [&](const std::string& file) {
        return inChild([&] {
            const int fd = open(file.c_str(), O_RDWR | O_NOCTTY | O_CREAT, 0600);
            if (fd < 0 || dup2(fd, STDOUT_FILENO) < 0) endChild(1);
            sayText("name \x1b[2J\x9b tail\n");
            if (isTerminal() != (file == slave)) endChild(2);
            flushOutput();
        });
    };
    const int held = open(slave.c_str(), O_RDWR | O_NOCTTY); // keeps the written text until it is read
    ASSERT_GE(held, 0);
    ASSERT_EQ(say(slave), 0);
    char buffer[64];
    const auto n = read(master, buffer, sizeof buffer);
    ASSERT_GT(n, 0);
    EXPECT_EQ(std::string(buffer, static_cast<size_t>(n)), "name ?[2J? tail\r\n"); // the terminal turns \n into \r\n
    close(held), close(master);
    ASSERT_EQ(say(path("out")), 0);
    ASSERT_TRUE(readFile(path("out").c_str(), text));
    EXPECT_EQ(text.view(), "name \x1b[2J\x9b tail\n");
}

// When there is no memory for a file's text, no descriptor stays open.
TEST(SystemMemory, ReadWithoutMemory) {
    NEEDS_ITS_HEAP();
    EXPECT_TRUE(withoutMemory(16384, [] {
        const int before = dup(STDERR_FILENO);
        close(before);
        try {
            Contents text;
            readFile("/proc/self/stat", text);
            return false;
        } catch (const std::bad_alloc&) {
            return dup(STDERR_FILENO) == before;
        }
    }));
}
