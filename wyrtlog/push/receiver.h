// Who takes batches of points, and what an answer means.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct Reply {
    int status = 0;                       // of HTTP; 0: there is no answer
    std::string text;                     // why there is none; or the beginning of what the receiver says
    std::optional<int64_t> retry_after_s; // it asks to be left alone that long
};

enum class Verdict {
    Taken,
    Later,    // it cannot take anything now: connection failures, time-outs, 408, 425, 429, 5xx
    Refused,  // it does not take these points: 400, 422
    TooLarge, // it does not take so many at once: 413
    Setup,    // it takes nothing that is sent in this way until somebody changes something: all others
};
Verdict verdictOf(int status);
// One line for people, without control characters: "the receiver answers 429 (too many requests): slow down".
std::string describe(const Reply& reply);

class Receiver {
public:
    Receiver() = default;
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    virtual ~Receiver() = default;
    // Sends a body, compressed by gzip, and waits for the answer, for a bounded time.
    virtual Reply send(std::string_view body) = 0;
};
