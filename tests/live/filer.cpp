// Processes that move files by known amounts, for the live run that compares them with what wyrt and lsof say.
//
//     live-filer FOLDER
//
// Prints a line "ROLE PID DESCRIPTOR BYTES PATH" for each of its processes and then "ready". For each line of its
// standard input all of them do their work once, in turn; then it prints "done". BYTES is what each time moves: none
// for the database, which writes at places, and of the parent, which sleeps while another process writes to a file of
// both.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
struct Role {
    std::string name;
    long bytes;
    int flags;
    std::function<void(int file, long round)> work;
    pid_t pid = -1;
    int go = -1, done = -1; // pipes
};
} // namespace

[[noreturn]] static void fail(const char* what) {
    perror(what);
    _exit(1);
}

static void writeAll(int file, long bytes) {
    const std::string text(static_cast<size_t>(bytes), 'x');
    if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) fail("write");
}

[[noreturn]] static void beRole(const Role& role, int file, int go, int done) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_NAME, ("f-" + role.name).c_str());
    char byte = 0;
    for (long round = 0; read(go, &byte, 1) == 1; round++) {
        role.work(file, round);
        if (write(done, "d", 1) != 1) _exit(1);
    }
    _exit(0);
}

static void start(Role& role, int file) {
    int go[2], done[2];
    if (pipe2(go, O_CLOEXEC) != 0 || pipe2(done, O_CLOEXEC) != 0) fail("pipe");
    role.pid = fork();
    if (role.pid < 0) fail("fork");
    if (role.pid == 0) {
        close(go[1]);
        close(done[0]);
        beRole(role, file, go[0], done[1]);
    }
    close(go[0]);
    close(done[1]);
    role.go = go[1], role.done = done[0];
}

// A process that has what this one has open, and sleeps.
static pid_t sleeper() {
    const pid_t pid = fork();
    if (pid < 0) fail("fork");
    if (pid > 0) return pid;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) pause();
}

int main(int argc, char** argv) {
    if (argc != 2) return fputs("live-filer FOLDER\n", stderr), 2;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string folder = std::string(argv[1]) + "/";
    constexpr long Block = 8192;
    const auto sequential = [](long bytes) { return [bytes](int file, long) { writeAll(file, bytes); }; };
    std::vector<Role> roles = {
        {"writer", 65536, O_WRONLY, sequential(65536)},
        {"appender", 1234, O_WRONLY | O_APPEND, sequential(1234)},
        {"reader", 100000, O_RDONLY,
         [](int file, long) {
             std::string room(100000, '\0');
             if (read(file, room.data(), room.size()) != static_cast<ssize_t>(room.size())) fail("read");
         }},
        {"database", 0, O_RDWR,
         [](int file, long round) {
             const std::string page(Block, 'p');
             if (pwrite(file, page.data(), page.size(), round * 2 * Block) < 0 || fsync(file) != 0) fail("pwrite");
         }},
        {"deleted", 50000, O_RDWR, sequential(50000)},
        {"sharer", 70000, O_WRONLY, sequential(70000)},
    };
    for (auto& role : roles) {
        const std::string path = folder + role.name;
        const int made = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (made < 0) fail(path.c_str());
        if (role.name == "reader") writeAll(made, 10000000);
        close(made);
        const int file = open(path.c_str(), role.flags);
        if (file < 0) fail(path.c_str());
        if (role.name == "deleted" && unlink(path.c_str()) != 0) fail("unlink");
        start(role, file);
        printf("%s %d %d %ld %s\n", role.name.c_str(), static_cast<int>(role.pid), file, role.bytes, path.c_str());
        if (role.name == "sharer") printf("parent %d %d 0 %s\n", static_cast<int>(sleeper()), file, path.c_str());
        close(file);
    }
    puts("ready");
    fflush(stdout);
    char line[16];
    while (fgets(line, sizeof line, stdin)) {
        char byte = 0;
        for (auto& role : roles)
            if (write(role.go, "g", 1) != 1 || read(role.done, &byte, 1) != 1) fail("a role ended");
        puts("done");
        fflush(stdout);
    }
    for (auto& role : roles) close(role.go);
    for (auto& role : roles) waitpid(role.pid, nullptr, 0);
    return 0; // which ends the sleeper, too
}
