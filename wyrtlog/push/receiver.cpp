#include "wyrtlog/push/receiver.h"

#include "base/masking.h"

Verdict verdictOf(int status) {
    if (status >= 200 && status < 300) return Verdict::Taken;
    if (status == 0 || status == 408 || status == 425 || status == 429 || status >= 500) return Verdict::Later;
    if (status == 400 || status == 422) return Verdict::Refused;
    return status == 413 ? Verdict::TooLarge : Verdict::Setup;
}

static std::string_view nameOf(int status) {
    switch (status) {
    case 400:
        return " (bad request)";
    case 401:
        return " (unauthorized)";
    case 403:
        return " (forbidden)";
    case 404:
        return " (not found)";
    case 413:
        return " (too large)";
    case 429:
        return " (too many requests)";
    case 500:
        return " (internal error)";
    case 503:
        return " (unavailable)";
    default:
        return status >= 300 && status < 400 ? " (it is elsewhere, and --url has to say where)" : "";
    }
}

std::string describe(const Reply& reply) {
    constexpr size_t Longest = 300;
    std::string_view text = reply.text;
    while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ') text.remove_suffix(1);
    const auto said = oneLine(text.substr(0, Longest));
    if (reply.status == 0) return "no answer from the receiver: " + said;
    return "the receiver answers " + std::to_string(reply.status) + std::string(nameOf(reply.status)) +
           (said.empty() ? "" : ": " + said);
}
