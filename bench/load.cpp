// Makes a load to measure on: idle processes with threads, open files and loopback connections.
//
//     bench-load [--processes N] [--threads N] [--fds N] [--sockets N] [--active MS] [--busy N] [--seconds N]
//
// --processes  number of processes (0)
// --threads    threads of each process, including the first (1)
// --fds        open files of each process (0)
// --sockets    ends of loopback TCP connections in each process, which holds both ends of a connection and a listening
//              socket (0)
// --active     each process reads a byte of each of its files and sleeps for so many milliseconds, again and again
// --busy       processes of these that run a little, three times a second (0)
// --seconds    the load ends by itself after this time (600)
//
// Writes "ready" and a newline to standard output when the load is complete, then waits. It ends with all its processes
// when it is killed or when the process that started it ends. Without options it does nothing.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {
struct TLoad {
    long processes = 0, threads = 1, fds = 0, sockets = 0, active = 0, busy = 0, seconds = 600;
};
} // namespace

static constexpr struct {
    const char* name;
    long TLoad::* value;
} Options[] = {
    {"--processes", &TLoad::processes}, {"--threads", &TLoad::threads}, {"--fds", &TLoad::fds},
    {"--sockets", &TLoad::sockets},     {"--active", &TLoad::active},   {"--busy", &TLoad::busy},
    {"--seconds", &TLoad::seconds},
};

[[noreturn]] static void fail(const char* what) {
    perror(what);
    _exit(1);
}

// Makes this process end with its parent, and after the given time in any case.
static void endWith(pid_t parent, long seconds) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(0);
    alarm(static_cast<unsigned>(seconds));
}

static void* idle(void*) {
    for (;;) pause();
}

static void makeThreads(long count) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 65536);
    for (long i = 1; i < count; i++) {
        pthread_t thread;
        if (pthread_create(&thread, &attributes, idle, nullptr) != 0) fail("pthread_create");
    }
}

static std::vector<int> openFiles(long count) {
    std::vector<int> files;
    for (long i = 0; i < count; i++) {
        files.push_back(open("/proc/self/exe", O_RDONLY));
        if (files.back() < 0) fail("open");
    }
    return files;
}

static void readFiles(const std::vector<int>& files, long pause) {
    char byte = 0;
    for (const int file : files)
        if (read(file, &byte, 1) < 0) fail("read");
    usleep(static_cast<unsigned>(pause) * 1000);
}

// Makes a socket whose connection disappears from the kernel's tables as soon as it is closed, not minutes later. The
// sockets that a listening socket accepts inherit this option.
static int makeSocket() {
    const linger none{1, 0};
    const int end = socket(AF_INET, SOCK_STREAM, 0);
    if (end < 0 || setsockopt(end, SOL_SOCKET, SO_LINGER, &none, sizeof none) != 0) fail("socket");
    return end;
}

static void connectSockets(long count) {
    if (count < 1) return;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* at = reinterpret_cast<sockaddr*>(&address);
    const int listener = makeSocket();
    if (bind(listener, at, size) != 0 || listen(listener, 16) != 0 || getsockname(listener, at, &size) != 0)
        fail("listen");
    for (long i = 0; i < count; i += 2) {
        if (connect(makeSocket(), at, size) != 0 || accept(listener, nullptr, nullptr) < 0) fail("connect");
    }
}

[[noreturn]] static void runNowAndThen() {
    for (;;) usleep(333333);
}

// One process of the load; writes a byte to `ready` when it is complete.
[[noreturn]] static void beProcess(const TLoad& load, bool busy, pid_t parent, int ready) {
    endWith(parent, load.seconds);
    makeThreads(load.threads);
    const auto files = openFiles(load.fds);
    connectSockets(load.sockets);
    if (write(ready, "r", 1) != 1) _exit(1);
    close(ready);
    while (load.active > 0) readFiles(files, load.active);
    if (busy) runNowAndThen();
    idle(nullptr);
    _exit(0);
}

static void allowDescriptors() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

// Waits until each of `count` processes has reported that it is complete.
static void awaitAll(int ready, long count) {
    char told[256];
    while (count > 0) {
        const ssize_t n = read(ready, told, static_cast<size_t>(std::min<long>(count, sizeof told)));
        if (n <= 0) fail("a process of the load ended");
        count -= n;
    }
}

static TLoad getLoad(int argc, char** argv) {
    TLoad load;
    for (int i = 1; i + 1 < argc; i += 2)
        for (auto& option : Options)
            if (strcmp(argv[i], option.name) == 0) load.*option.value = atol(argv[i + 1]);
    return load;
}

int main(int argc, char** argv) {
    const TLoad load = getLoad(argc, argv);
    if (load.processes < 1) {
        puts("bench-load: no options given; bench/load.cpp lists them at its top");
        return 0;
    }
    endWith(getppid(), load.seconds);
    allowDescriptors();
    int ready[2];
    if (pipe(ready) != 0) fail("pipe");
    const pid_t self = getpid();
    signal(SIGCHLD, SIG_IGN);
    for (long i = 0; i < load.processes; i++) {
        const pid_t child = fork();
        if (child < 0) fail("fork");
        if (child == 0) {
            close(ready[0]);
            beProcess(load, i < load.busy, self, ready[1]);
        }
    }
    close(ready[1]);
    awaitAll(ready[0], load.processes);
    puts("ready");
    fflush(stdout);
    idle(nullptr);
    return 0;
}
