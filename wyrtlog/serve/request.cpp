#include "wyrtlog/serve/request.h"

#include "wyrtlog/cells.h"

#include <algorithm>
#include <utility>

// --- Where to listen

std::optional<ListenAddress> parseListen(std::string_view text) {
    const size_t colon = text.rfind(':');
    if (colon == text.npos) return {};
    auto host = text.substr(0, colon);
    const auto port = text.substr(colon + 1);
    const bool six = host.starts_with('[') && host.ends_with(']');
    if (six) host = host.substr(1, host.size() - 2);
    const char* letters = six ? "0123456789abcdefABCDEF:.%" : "0123456789.";
    if (host.empty() || (!six && host.find_first_not_of(letters) != host.npos)) return {};
    constexpr uint64_t Highest = 65535;
    const auto number = port.find_first_not_of("0123456789") == port.npos ? wholeOf(port) : std::nullopt;
    if (!number || *number == 0 || *number > Highest) return {};
    return ListenAddress{std::string(host), six, static_cast<uint16_t>(*number)};
}

// --- Accept

// Takes the text up to a separator off the front of a list, without blanks around it.
static std::string_view takePart(std::string_view& list, char separator) {
    const size_t end = std::min(list.find(separator), list.size());
    auto part = list.substr(0, end);
    list.remove_prefix(std::min(end + 1, list.size()));
    while (!part.empty() && (part.front() == ' ' || part.front() == '\t')) part.remove_prefix(1);
    while (!part.empty() && (part.back() == ' ' || part.back() == '\t')) part.remove_suffix(1);
    return part;
}

static bool isSame(std::string_view a, std::string_view b) {
    const auto small = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return small(x) == small(y); });
}

// Versions that are not known are not what is asked for.
static bool isVersion(std::string_view value, Exposition exposition) {
    if (value.size() > 1 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
    return exposition == Exposition::Text ? value == "0.0.4" : value == "1.0.0" || value == "0.0.1";
}

Exposition negotiated(std::string_view accept) {
    double open = 0, text = 0;
    while (!accept.empty()) {
        auto range = takePart(accept, ',');
        const auto type = takePart(range, ';');
        const bool isOpen = isSame(type, "application/openmetrics-text");
        const bool isText = isSame(type, "text/plain") || type == "text/*" || type == "*/*";
        double quality = 1;
        while (!range.empty()) {
            auto parameter = takePart(range, ';');
            const auto name = takePart(parameter, '=');
            if (isSame(name, "q")) quality = std::clamp(realOf(parameter).value_or(0), 0.0, 1.0);
            const auto exposition = isOpen ? Exposition::OpenMetrics : Exposition::Text;
            if (isSame(name, "version") && !isVersion(parameter, exposition)) quality = 0;
        }
        if (isOpen) open = std::max(open, quality);
        if (isText) text = std::max(text, quality);
    }
    return open > 0 && open >= text ? Exposition::OpenMetrics : Exposition::Text;
}

// --- Targets

static int digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// None: a % without two digits, or what no time has. A plus is a blank, but not in 2026-11-21T14:05:10+01:00.
static std::optional<std::string> decoded(std::string_view text) {
    const bool offset = text.find('T') != text.npos;
    std::string all;
    for (size_t i = 0; i < text.size(); i++) {
        char c = text[i] == '+' && !offset ? ' ' : text[i];
        if (text[i] == '%') {
            const int high = i + 2 < text.size() ? digitOf(text[i + 1]) : -1;
            const int low = high >= 0 ? digitOf(text[i + 2]) : -1;
            if (low < 0) return {};
            c = static_cast<char>(high * 16 + low), i += 2;
        }
        if (c < ' ' || c > '~') return {};
        all += c;
    }
    return all;
}

static void takeArguments(std::string_view query, Request& request) {
    constexpr size_t Longest = 64;
    while (!query.empty()) {
        auto value = takePart(query, '&');
        const auto name = takePart(value, '=');
        auto* to = name == "since" ? &request.since : name == "until" ? &request.until : nullptr;
        const auto text = decoded(value);
        if (!to) request.wrong = "a report takes since and until, and nothing else";
        else if (!text || text->empty() || text->size() > Longest) request.wrong = "this is no time";
        else *to = *text;
        if (!request.wrong.empty()) return;
    }
}

Request parseRequest(std::string_view target) {
    static constexpr std::pair<std::string_view, Resource> Pages[] = {
        {"/",        Resource::Index  },
        {"/metrics", Resource::Metrics},
        {"/health",  Resource::Health },
        {"/report",  Resource::Report }
    };
    Request request;
    const size_t question = std::min(target.find('?'), target.size());
    for (auto& [path, resource] : Pages)
        if (target.substr(0, question) == path) request.resource = resource;
    if (request.resource == Resource::Report)
        takeArguments(target.substr(std::min(question + 1, target.size())), request);
    return request;
}
