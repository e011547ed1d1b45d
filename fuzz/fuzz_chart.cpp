// A log given to `wyrt chart`: whatever its names are, the page has the elements that it has by itself and its data is
// JSON with a value for each point of time. With an odd first byte, lengths and checksums are mended first, so that
// more of the log is whole.
#include "wyrtlog/chart.h"

#include "fuzz/givenlog.h"

#include <algorithm>
#include <cstdint>

// The text up to `end`, which is taken off the front with it.
static std::string_view takeTo(std::string_view& text, std::string_view end) {
    const auto at = text.find(end);
    check(at != text.npos);
    const auto part = text.substr(0, at);
    text.remove_prefix(at + end.size());
    return part;
}

static bool has(std::string_view text, std::string_view part) { return text.find(part) != text.npos; }

// --- What is not data

static void checkTag(std::string_view tag) {
    static constexpr std::string_view Names[] = {
        "!DOCTYPE", "a",      "bdi", "body", "button", "dd",      "details", "div",     "dl",   "dt",    "footer",
        "h1",       "h2",     "h3",  "head", "header", "html",    "li",      "main",    "meta", "nav",   "noscript",
        "ol",       "output", "p",   "pre",  "rect",   "section", "span",    "summary", "svg",  "title", "ul"};
    if (tag.starts_with('/')) tag.remove_prefix(1);
    check(std::find(std::begin(Names), std::end(Names), tag.substr(0, tag.find_first_of(" \n/"))) != std::end(Names));
    check(std::count(tag.begin(), tag.end(), '"') % 2 == 0 && !has(tag, "javascript") && !has(tag, " on"));
}

static void checkHtml(std::string_view html) {
    for (const char c : html) check(static_cast<unsigned char>(c) >= 0x20 || c == '\n');
    while (has(html, "<")) {
        const auto words = takeTo(html, "<");
        check(!has(words, ">"));
        checkTag(takeTo(html, ">"));
    }
}

// --- Data

// Numbers of five bits each, the last one of a number below 32.
static size_t countTimes(std::string_view text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(),
                                             [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'f'); }));
}

// As page/data.js reads them: 9 is 0, - is no value, _ repeats.
static size_t countFigures(std::string_view text) {
    static constexpr std::string_view Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    size_t count = 0;
    for (size_t at = 0; at < text.size(); count++) {
        const auto power = Alphabet.find(text[at++]);
        check(power != Alphabet.npos && (power != 63 || count > 0));
        if (power == 61 || power == 62) continue;
        check(at + 2 <= text.size());
        const auto high = Alphabet.find(text[at++]), low = Alphabet.find(text[at++]);
        check(high != Alphabet.npos && low != Alphabet.npos);
        if (power == 63) count += high * 64 + low;
    }
    return count;
}

// A string of the JSON, without its quotes; what is before it has no character that is a string's.
static std::string_view takeString(std::string_view& json) {
    const auto start = json;
    while (json.front() != '"') {
        if (json.front() == '\\') {
            const auto kind = json.substr(1, 1);
            check(kind == "u" || kind == "\"" || kind == "\\" || kind == "b" || kind == "f" || kind == "n" ||
                  kind == "r" || kind == "t");
            json.remove_prefix(1);
        }
        json.remove_prefix(1);
        check(!json.empty());
    }
    const auto text = start.substr(0, start.size() - json.size());
    json.remove_prefix(1);
    return text;
}

static void checkData(std::string_view json) {
    for (const char c : json) check(static_cast<unsigned char>(c) >= 0x20 || c == '\n');
    for (const char c : {'<', '>', '&'}) check(!has(json, std::string_view(&c, 1)));
    size_t times = 0, common = 0, series = 0;
    std::string_view key;
    std::string open; // brackets that are not closed
    while (!json.empty()) {
        const char c = json.front();
        json.remove_prefix(1);
        if (c == '[' || c == '{') open += c;
        if (c == ']' || c == '}') check(!open.empty() && open.back() == (c == ']' ? '[' : '{')), open.pop_back();
        if (c == '{' && open == "{[{") times = common; // of a chart
        if (c != '"') {
            check(has("[]{},:-0123456789.truefals\n", std::string_view(&c, 1)));
            continue;
        }
        const auto text = takeString(json);
        if (json.starts_with(':')) key = text;
        else if (key == "times") (open == "{" ? common : times) = countTimes(text);
        else if (key == "data") check(countFigures(text) == times), series++;
    }
    check(open.empty() && (series == 0 || common > 0));
}

static void checkPage(std::string_view page) {
    checkHtml(takeTo(page, "<style>"));
    takeTo(page, "</style>");
    checkHtml(takeTo(page, "<script type=\"application/json\" id=\"data\">"));
    checkData(takeTo(page, "</script>"));
    for (int fixed = 0; fixed < 2; fixed++) {
        checkHtml(takeTo(page, "<script>"));
        takeTo(page, "</script>");
    }
    checkHtml(page);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Made machine("");
    if (size == 0) return 0;
    giveLog(data, size);
    Asked asked;
    asked.task = LogTask::Chart;
    asked.logs = {"/log.wyrt"};
    asked.output = "/page.html";
    asked.damaged = data[0] % 4 >= 2;
    const int status = chart(asked);
    check(status >= 0 && status <= 2);
    if (const auto* page = World::current->find("/page.html")) checkPage(page->text);
    return 0;
}
