#include "base/worker.h"

#include "base/door/processes.h"
#include "base/door/questions.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string_view>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

// --- In the worker

// Answers until the program has closed its end.
static void serve(int fd) {
    QuestionMessage question;
    AnswerMessage answer;
    constexpr size_t Before = offsetof(QuestionMessage, text);
    for (;;) {
        const ssize_t n = recv(fd, &question, Before + MostOfQuestion - 1, 0); // the last byte is for the NUL
        if (n < 0 && errno == EINTR) continue;
        if (n < static_cast<ssize_t>(Before)) return;
        question.text[static_cast<size_t>(n) - Before] = '\0';
        answer.head = AnswerHead();
        answer.head.number = question.number;
        const auto give = [&] {
            return ::send(fd, &answer, offsetof(AnswerMessage, text) + answer.head.size, MSG_NOSIGNAL) >= 0;
        };
        question.size = std::min(question.size, static_cast<uint32_t>(static_cast<size_t>(n) - Before));
        if (question.kind == Question::Kind::Sockets) answerSockets(question, answer.head, answer.text, give);
        else answerQuestion(question, answer.head, answer.text);
        if (!give()) return;
    }
}

// The worker gets a session of its own, so that signals of the terminal reach only the program. It keeps no standard
// streams, so that a reader of the program's output sees its end even when a worker hangs.
[[noreturn]] static void beWorker(int fd, pid_t parent) {
    constexpr int Place = 3;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(0);
    prctl(PR_SET_NAME, "wyrt-helper");
    setsid();
    if (fd != Place && dup2(fd, Place) < 0) _exit(1);
    for (int stream = 0; stream < Place; stream++) close(stream);
    closeFrom(Place + 1);
    if (chdir("/") != 0) _exit(1);
    serve(Place);
    _exit(0);
}

// --- In the program

bool Worker::start() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return false;
    const pid_t parent = getpid();
    const pid_t child = forkWith(ends, [&] { beWorker(ends[1], parent); });
    if (child < 0) return false;
    *this = Worker();
    fd = ends[0];
    pid = child;
    return fcntl(fd, F_SETFL, O_NONBLOCK) == 0;
}

Worker::~Worker() {
    kill();
    isGone();
}

void Worker::kill() {
    if (fd >= 0) ::close(fd);
    fd = -1;
    if (pid > 0) ::kill(pid, SIGKILL);
}

bool Worker::isGone() {
    int status;
    if (pid > 0 && hasEnded(pid, status)) pid = -1;
    return pid <= 0;
}

bool Worker::send(const Question& question, uint64_t number) {
    QuestionMessage message;
    message.number = number;
    message.kind = question.kind;
    message.from = question.from;
    // The words stand one after the other, with a NUL between them.
    size_t size = 0;
    for (const auto& word : question.words) {
        if (&word != question.words.data() && size < MostOfQuestion - 1) message.text[size++] = '\0';
        size += word.copy(message.text + size, MostOfQuestion - 1 - size);
    }
    message.size = static_cast<uint32_t>(size);
    return ::send(fd, &message, offsetof(QuestionMessage, text) + size, MSG_NOSIGNAL) > 0;
}

Came Worker::receive(Answer& answer, uint64_t& number) {
    AnswerMessage message;
    ssize_t n;
    do n = recv(fd, &message, sizeof message, 0);
    while (n < 0 && errno == EINTR);
    if (n < 0 && errno == EAGAIN) return Came::Nothing;
    const AnswerHead& head = message.head;
    constexpr size_t Before = offsetof(AnswerMessage, text);
    if (n < static_cast<ssize_t>(Before) || static_cast<size_t>(n) != Before + head.size) return Came::End;
    number = head.number;
    answer.error = head.error;
    answer.mbit = head.mbit;
    answer.space = head.space;
    answer.cut = head.cut;
    answer.more = head.more;
    answer.netns = head.netns;
    answer.text.assign(message.text, head.size);
    return Came::Answer;
}
