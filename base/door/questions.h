// Answers a question in a worker. This runs in a forked process, so it uses no heap memory and no locks.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/worker.h"

constexpr size_t MostOfQuestion = 4096, MostOfFile = 65536;

// A question and an answer, as sent through the socket; their length depends on the text.
struct QuestionMessage {
    uint64_t number = 0;
    Question::Kind kind = Question::Kind::Space;
    uint64_t from = 0;
    char text[MostOfQuestion]; // NOLINT: filled before it is read
};

struct AnswerHead {
    uint64_t number = 0;
    int32_t error = 0;
    uint32_t size = 0; // bytes of the text
    int64_t mbit = -1;
    Space space;
    bool cut = false;
};

struct AnswerMessage {
    AnswerHead head;
    char text[MostOfFile]; // NOLINT: filled before it is read
};

// The question's text ends in NUL. The text of a file goes to `text`, which has room for MostOfFile bytes.
void answerQuestion(const QuestionMessage& question, AnswerHead& answer, char* text);
