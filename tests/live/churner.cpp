// Makes threads to watch, until it is killed.
//
//     live-churner          threads and loopback connections that start, work for a moment and end; each thread has a
//                           description in ./desc/PID-TID, as applications write them
//     live-churner THREADS  this many threads that stay and work a little
//     live-churner RATE US  processes that use so many microseconds of CPU time and end: so many a second, from three
//                           parents
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

// Writes the next second as the time, because the thread's start is only known to the second.
static std::string describe() {
    auto path = "./desc/" + std::to_string(getpid()) + "-" + std::to_string(syscall(SYS_gettid));
    if (FILE* file = fopen(path.c_str(), "w")) {
        fprintf(file, "%lld\na thread of the churn\n", static_cast<long long>(time(nullptr)) + 1);
        fclose(file);
    }
    return path;
}

static void burn(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
    }
}

// Makes a connection to itself with unread data. It is reset at its end, so that no TIME_WAIT stays for a minute.
static void connectForAWhile() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* at = reinterpret_cast<sockaddr*>(&address);
    const int listener = socket(AF_INET, SOCK_STREAM, 0), end = socket(AF_INET, SOCK_STREAM, 0);
    int other = -1;
    if (bind(listener, at, size) == 0 && listen(listener, 1) == 0 && getsockname(listener, at, &size) == 0 &&
        connect(end, at, size) == 0)
        other = accept(listener, nullptr, nullptr);
    const linger hard{1, 0};
    if (other >= 0 && send(other, "unread", 6, 0) == 6) setsockopt(other, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    burn(std::chrono::milliseconds(5));
    for (int fd : {other, end, listener})
        if (fd >= 0) close(fd);
}

// A thread that lives long enough to be in several samples.
static void live() {
    const auto path = describe();
    connectForAWhile();
    for (int i = 0; i < 3; i++) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        burn(std::chrono::milliseconds(5));
    }
    unlink(path.c_str());
}

[[noreturn]] static void stay() {
    for (;;) {
        burn(std::chrono::milliseconds(2));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

static double seconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

[[noreturn]] static void startShortOnes(double rate, double us) {
    constexpr int Parents = 3;
    signal(SIGCHLD, SIG_DFL); // children that nobody waits for would leave no trace
    for (int i = 1; i < Parents; i++) {
        if (fork() != 0) continue;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        break;
    }
    const double start = seconds(CLOCK_MONOTONIC);
    for (double made = 0;; made++) {
        const double wait = start + made * Parents / rate - seconds(CLOCK_MONOTONIC);
        if (wait > 0) usleep(static_cast<useconds_t>(wait * 1e6));
        if (fork() == 0) {
            while (seconds(CLOCK_PROCESS_CPUTIME_ID) * 1e6 < us) {
            }
            _exit(0);
        }
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
    }
}

int main(int argc, char** argv) {
    if (argc > 2) startShortOnes(atof(argv[1]), atof(argv[2]));
    if (argc > 1) {
        for (int i = atoi(argv[1]); i > 1; i--) std::thread(stay).detach();
        stay();
    }
    const auto live_on = [] {
        for (;;) std::thread(live).join();
    };
    std::thread one(live_on), two(live_on);
    live_on();
}
