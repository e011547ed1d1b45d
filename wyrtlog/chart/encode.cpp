#include "wyrtlog/chart/encode.h"

#include "view/format.h"
#include "wyrtlog/jsonl.h"

#include <algorithm>
#include <cmath>

static constexpr std::string_view Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

// --- Numbers. page/data.js reads them.

static constexpr int LeastPower = -12, LargestPower = 48;        // 0.0002 to 5e14
static constexpr size_t Zero = 61, NotKnown = 62, Repeated = 63; // instead of a power
static constexpr uint32_t MostRepeated = 4096;

static void appendTwelve(std::string& out, uint32_t bits) {
    out += Alphabet[bits >> 6 & 63], out += Alphabet[bits & 63];
}

static void appendFigure(std::string& out, float value) {
    if (std::isnan(value)) return void(out += Alphabet[NotKnown]);
    int power = 0;
    const double mantissa = std::frexp(static_cast<double>(value), &power) * 2; // 1 to 2
    power--;
    if (value <= 0 || power < LeastPower) return void(out += Alphabet[Zero]);
    auto bits = static_cast<uint32_t>(std::lround(std::min(mantissa - 1, 1.0) * 4096));
    if (power > LargestPower || std::isinf(value)) power = LargestPower, bits = 4095;
    if (bits == 4096) { // rounded up to the next power
        if (power < LargestPower) power++, bits = 0;
        else bits = 4095;
    }
    out += Alphabet[static_cast<size_t>(power - LeastPower)];
    appendTwelve(out, bits);
}

std::string encodedFigures(std::span<const float> values) {
    std::string out, last, figure;
    uint32_t repeated = 0;
    const auto endRun = [&] {
        // Two characters and a half of a run are less than the values only from here on.
        if (repeated * last.size() <= 3) {
            for (; repeated > 0; repeated--) out += last;
        } else {
            out += Alphabet[Repeated], appendTwelve(out, repeated - 1);
        }
        repeated = 0;
    };
    for (const float value : values) {
        figure.clear();
        appendFigure(figure, value);
        if (figure == last) {
            if (++repeated == MostRepeated) endRun();
            continue;
        }
        endRun();
        out += figure;
        last = figure;
    }
    endRun();
    return out;
}

std::string encodedTimes(std::span<const int64_t> times_ms) {
    std::string out;
    int64_t before = 0;
    for (const int64_t time : times_ms) {
        auto step = static_cast<uint64_t>(std::max<int64_t>(time - before, 0));
        before = std::max(time, before);
        for (; step >= 32; step >>= 5) out += Alphabet[32 + (step & 31)];
        out += Alphabet[step];
    }
    return out;
}

// --- Texts

void appendPageJson(std::string& out, std::string_view text) {
    std::string quoted;
    appendJson(safeText(text), quoted); // without control characters, and UTF-8
    for (const char c : quoted) {
        if (c == '<') out += "\\u003c";
        else if (c == '>') out += "\\u003e";
        else if (c == '&') out += "\\u0026";
        else out += c;
    }
}

void appendHtml(std::string& out, std::string_view text) {
    for (size_t at = 0; at <= text.size();) {
        const auto end = std::min(text.find('\n', at), text.size());
        for (const char c : safeText(text.substr(at, end - at))) {
            if (c == '<') out += "&lt;";
            else if (c == '>') out += "&gt;";
            else if (c == '&') out += "&amp;";
            else if (c == '"') out += "&quot;";
            else if (c == '\'') out += "&#39;";
            else out += c;
        }
        if (end < text.size()) out += '\n';
        at = end + 1;
    }
}

std::string html(std::string_view text) {
    std::string out;
    appendHtml(out, text);
    return out;
}
