// What is asked of `wyrt serve`, taken apart. Pure.
#pragma once

#include "wyrtlog/serve/scrape.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Where to listen: "127.0.0.1:9177", "[::1]:9177". None: the text is something else.
struct ListenAddress {
    std::string host; // a number, not a name
    bool six = false; // IPv6
    uint16_t port = 0;
};
std::optional<ListenAddress> parseListen(std::string_view text);

// What Accept wants most of what there is.
Exposition negotiated(std::string_view accept);

enum class Resource { Index, Metrics, Health, Report, None };
struct Request {
    Resource resource = Resource::None;
    std::string since, until; // of a report; empty: not given
    std::string wrong;        // why it cannot be answered; empty: it can
};
// `target`: as the request line has it, "/report?since=-1h". Nothing of it becomes the name of a file.
Request parseRequest(std::string_view target);
