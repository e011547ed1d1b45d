#include "base/worker.h"

#include "base/door/processes.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

// --- In the tool's process, before it runs the tool

[[noreturn]] static void beTool(char* const* words, int output, unsigned seconds) {
    const int nothing = open("/dev/null", O_RDWR);
    if (nothing < 0 || dup2(nothing, STDIN_FILENO) < 0 || dup2(output, STDOUT_FILENO) < 0 ||
        dup2(nothing, STDERR_FILENO) < 0)
        _exit(126);
    closeFrom(STDERR_FILENO + 1);
    setsid();
    signal(SIGPIPE, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    alarm(seconds); // in case this program ends and cannot kill it
    char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin", locale[] = "LC_ALL=C";
    char* environment[] = {path, locale, nullptr};
    if (words[0][0] == '/') execve(words[0], words, environment);
    for (const char* folder : {"/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/"}) {
        char program[256];
        size_t size = 0;
        for (const char* part : {folder, static_cast<const char*>(words[0])})
            for (; *part && size < sizeof program - 1; part++) program[size++] = *part;
        program[size] = '\0';
        execve(program, words, environment);
    }
    _exit(127);
}

// --- In the program

bool Tool::start(const Question& question) {
    if (question.words.empty()) return errno = EINVAL, false;
    const auto words = argumentsOf(question.words);
    const auto seconds = static_cast<unsigned>(question.patience_us / 1000000 + 2);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    const pid_t child = forkWith(ends, [&] { beTool(words.data(), ends[1], seconds); });
    if (child < 0) return false;
    *this = Tool();
    fd = ends[0];
    pid = child;
    most = question.most;
    return fcntl(fd, F_SETFL, O_NONBLOCK) == 0;
}

Tool::~Tool() {
    kill();
    int status;
    if (pid > 0) hasEnded(pid, status);
}

void Tool::kill() {
    if (fd >= 0) ::close(fd);
    fd = -1;
    killed = true;
    if (pid <= 0) return;
    ::kill(-pid, SIGKILL); // also kills its children; fails while it is not a group leader yet
    ::kill(pid, SIGKILL);
}

// True when the output has ended, or has more than the tool may print.
static bool readOutput(int fd, Answer& answer, size_t most) {
    for (;;) {
        char part[16384];
        const ssize_t n = read(fd, part, sizeof part);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) return false;
        if (n <= 0) return true;
        const size_t taken = std::min(static_cast<size_t>(n), most - answer.text.size());
        answer.text.append(part, taken);
        if (taken < static_cast<size_t>(n)) return answer.cut = true;
    }
}

Came Tool::receive(Answer& to) {
    if (pid <= 0) return Came::End;
    if (fd >= 0) {
        if (!readOutput(fd, answer, most)) return Came::Nothing;
        ::close(fd); // a tool that still prints ends by SIGPIPE
        fd = -1;
    }
    int status = 0;
    if (!hasEnded(pid, status)) return Came::Nothing;
    pid = -1;
    if (killed) return Came::End;
    answer.status = shellStatus(status);
    to = std::move(answer);
    return Came::Answer;
}
