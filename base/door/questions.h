// Answers a question in a worker. This runs in a forked process, so it uses no heap memory and no locks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/worker.h"

constexpr size_t MostOfQuestion = 4096, MostOfFile = 65536;

// A question and an answer, as sent through the socket; their length depends on the text.
struct QuestionMessage {
    uint64_t number = 0;
    Question::Kind kind = Question::Kind::Space;
    uint64_t from = 0;
    uint32_t size = 0;         // bytes of the text
    char text[MostOfQuestion]; // NOLINT: filled before it is read
};

struct AnswerHead {
    uint64_t number = 0;
    int32_t error = 0;
    uint32_t size = 0; // bytes of the text
    int64_t mbit = -1;
    Space space;
    bool cut = false, more = false;
    uint64_t netns = 0;
};

struct AnswerMessage {
    AnswerHead head;
    char text[MostOfFile]; // NOLINT: filled before it is read
};

// A netlink socket in another network namespace, which it keeps alive: for one question only.
class SocketsThere {
    int own = -1, fd = -1;
    size_t expected = 0;  // answers that have not come
    bool listing = false; // the last request was for all sockets of a kind

public:
    SocketsThere() = default;
    SocketsThere(const SocketsThere&) = delete;
    SocketsThere& operator=(const SocketsThere&) = delete;
    ~SocketsThere(); // back to the namespace of before
    // errno; ENOENT: the file leads to another namespace than the one with this inode number.
    int enter(const char* path, uint64_t inode);
    uint64_t cookie() const; // of the namespace; 0: the kernel does not tell
    // Sends the next request, or the next several that are for one socket each, and takes them off. False: there is
    // none.
    bool ask(std::string_view& requests, int& error);
    // The next messages of the answer, at most MostOfFile bytes. False: there are no more. `cut`: the kernel says that
    // some may be missing.
    bool receive(char* text, uint32_t& size, int& error, bool& cut);
};

// The question's text ends in NUL. The text of a file goes to `text`, which has room for MostOfFile bytes.
void answerQuestion(const QuestionMessage& question, AnswerHead& answer, char* text);

// Answers a question for sockets, whose text is the namespace's file, a NUL, and the requests. send() takes each piece
// of the answer but the last; false: nobody takes it any more.
template <typename Send>
void answerSockets(const QuestionMessage& question, AnswerHead& answer, char* text, Send&& send) {
    SocketsThere there;
    answer.error = there.enter(question.text, question.from);
    answer.netns = there.cookie();
    const size_t name = strnlen(question.text, question.size) + 1;
    std::string_view left(question.text, question.size);
    left.remove_prefix(std::min(name, left.size()));
    while (answer.error == 0 && there.ask(left, answer.error))
        while (there.receive(text, answer.size, answer.error, answer.cut)) {
            answer.more = true;
            if (!send()) return;
        }
    answer.more = false, answer.size = 0;
}
