// Starts and ends processes at a steady pace.
//
//     live-forker PER_SECOND SECONDS   prints how many it has started; all have ended then. Every tenth ends with code
//     3,
//                                      every hundredth by signal 9
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

[[noreturn]] static void live(long number) {
    prctl(PR_SET_NAME, "short");
    if (number % 100 == 0) kill(getpid(), SIGKILL);
    _exit(number % 10 == 0 ? 3 : 0);
}

int main(int argc, char** argv) {
    const long pace = argc > 1 ? atol(argv[1]) : 0, seconds = argc > 2 ? atol(argv[2]) : 0;
    if (pace <= 0 || seconds <= 0) return 2;
    timespec next{};
    clock_gettime(CLOCK_MONOTONIC, &next);
    long started = 0;
    for (; started < pace * seconds; started++) {
        const pid_t child = fork();
        if (child == 0) live(started);
        if (child < 0 || waitpid(child, nullptr, 0) != child) break;
        next.tv_nsec += 1000000000L / pace;
        if (next.tv_nsec >= 1000000000L) next.tv_nsec -= 1000000000L, next.tv_sec++;
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
    }
    printf("%ld\n", started);
}
