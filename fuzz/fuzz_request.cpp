// What is asked of `wyrt serve`: where to listen, what is accepted, which page. Nothing of it becomes an option of the
// program that makes a report, or comes back in an answer. The first line is the target, the rest is Accept.
#include "fuzz/check.h"
#include "wyrtlog/options.h"
#include "wyrtlog/serve/answers.h"

#include <algorithm>
#include <cstdint>

static bool isPrintable(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

static void checkListen(std::string_view text) {
    const auto address = parseListen(text);
    if (!address) return;
    check(!address->host.empty() && isFrom(text, address->host) && address->port > 0);
    const auto host = address->six ? "[" + address->host + "]" : address->host;
    const auto again = parseListen(host + ":" + std::to_string(address->port));
    check(again && again->host == address->host && again->six == address->six && again->port == address->port);
}

static void checkAccept(std::string_view accept) {
    if (negotiated(accept) == Exposition::OpenMetrics)
        check(accept.size() >= sizeof "application/openmetrics-text" - 1);
    check(negotiated(std::string(accept) + ",Application/OpenMetrics-Text") == Exposition::OpenMetrics);
}

static std::string encoded(std::string_view text) {
    constexpr char Digits[] = "0123456789abcdef";
    std::string all;
    for (const char c : text)
        all += '%', all += Digits[static_cast<unsigned char>(c) >> 4U],
            all += Digits[static_cast<unsigned char>(c) & 15U];
    return all;
}

// The same report, asked for with nothing as it is.
static void checkAgain(const Request& request) {
    std::string target = "/report?";
    if (!request.since.empty()) target += "since=" + encoded(request.since) + "&";
    if (!request.until.empty()) target += "until=" + encoded(request.until);
    const auto again = parseRequest(target);
    check(again.wrong.empty() && again.since == request.since && again.until == request.until);
}

// The program that makes the report is told a span, and nothing else.
static void checkWords(const Request& request) {
    const auto words = reportWords("program", request, {"/log"});
    check(words.size() >= 3 && words[0] == "program" && words.back() == "/log");
    const auto line =
        parseCommandLine({words.begin() + 1, words.end()}, [](const std::string& name) { return name == "/log"; });
    check(line.why.empty() && line.help.empty() && line.asked.task == LogTask::Chart && line.asked.output.empty());
    check(line.asked.logs == std::vector<std::string>{"/log"} && line.asked.until == request.until);
    check(line.asked.since == (request.since.empty() && request.until.empty() ? "-1h" : request.since));
}

static void checkTarget(std::string_view target) {
    const auto request = parseRequest(target);
    const auto path = target.substr(0, target.find('?'));
    const bool page = path == "/" || path == "/metrics" || path == "/health" || path == "/report";
    check(page == (request.resource != Resource::None));
    if (!request.wrong.empty()) {
        check(request.resource == Resource::Report && isPrintable(request.wrong));
        return;
    }
    for (auto* text : {&request.since, &request.until}) check(isPrintable(*text) && text->size() <= 64);
    if (request.resource != Resource::Report) return check(request.since.empty() && request.until.empty());
    checkAgain(request);
    checkWords(request);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto line = std::min(text.find('\n'), size);
    checkTarget(text.substr(0, line));
    checkAccept(text.substr(std::min(line + 1, size)));
    checkListen(text);
    return 0;
}
