// A text as one gzip file.
#pragma once

#include <string>
#include <string_view>

class Gzip {
    struct State;
    State* state = nullptr; // kept: it is larger than most batches

public:
    Gzip();
    Gzip(const Gzip&) = delete;
    Gzip& operator=(const Gzip&) = delete;
    ~Gzip();
    // False: there is no memory for it.
    bool pack(std::string_view text, std::string& packed);
};
