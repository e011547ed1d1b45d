// The way of one batch to the receiver: it ends when all of it is taken, or when what is not taken never will be.
#pragma once

#include "wyrtlog/push/backoff.h"
#include "wyrtlog/push/gzip.h"
#include "wyrtlog/push/receiver.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

class Delivery {
public:
    struct World { // what is not in the batch
        // Waits so many microseconds. False: the program is to end.
        std::function<bool(int64_t microseconds)> pause;
        std::function<void(const std::string& line)> say;
        std::function<uint32_t()> random;
    };
    enum class Result {
        Complete, // all is taken, or left out after a line about it
        Ended,    // pause() said so
        GivenUp,  // so often was nothing taken
    };

private:
    Receiver& receiver;
    World world;
    unsigned patience; // attempts in a row that may fail; 0: any number
    Backoff backoff;
    Gzip gzip;
    std::string packed;
    std::string trouble; // what was said last; empty: all is well
    static constexpr size_t All = static_cast<size_t>(-1);
    size_t most = All;                         // bytes that the receiver takes at once
    std::vector<std::string_view> pieces, bad; // of the batch: what is still to be sent, what was refused

    Reply attempt(std::string_view piece);
    void complain(const std::string& what);
    void recover();
    bool split(std::string_view piece);
    Result waitAfter(const Reply& reply, bool hopeless);
    Result round(std::string_view batch, Reply& refusal, bool& anyTaken);

public:
    Delivery(Receiver& to, World hooks, unsigned attempts = 0)
        : receiver(to), world(std::move(hooks)), patience(attempts) {}
    // Lines of text; each is a point. May be called again with the same batch after any result.
    Result deliver(std::string_view batch);
};
