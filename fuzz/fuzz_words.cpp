// Lines, numbers and words, compared with fgets and strtoll.
#include "base/words.h"
#include "fuzz/check.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

static void checkLines(std::string text, size_t limit) {
    Lines lines(text, limit);
    FILE* file = text.empty() ? nullptr : fmemopen(text.data(), text.size(), "r");
    std::vector<char> expected(limit);
    for (std::string_view line; lines.next(line);) {
        check(file && fgets(expected.data(), static_cast<int>(limit), file));
        check(line == expected.data());
    }
    check(!file || !fgets(expected.data(), static_cast<int>(limit), file));
    if (file) fclose(file);
}

static void checkNumbers(const std::string& text) {
    size_t end = 0;
    char* stop = nullptr;
    const char* start = text.c_str(); // up to its first NUL, as for the C library
    check(toLong(std::string_view(start), &end) == strtoll(start, &stop, 10));
    check(end == static_cast<size_t>(stop - start));
    check(toInt(std::string_view(start)) == atoi(start));
}

static void checkWords(std::string_view text, size_t most) {
    std::vector<std::string_view> fields(most);
    fields.resize(static_cast<size_t>(splitFields(text, fields)));
    size_t at = 0;
    for (auto field : fields) { // one after the other, a space between
        check(field.data() == text.data() + at && field.find(' ') == field.npos);
        at += field.size() + 1;
    }
    check(fields.size() == most || at == text.size() + 1);
    std::vector<std::string_view> words(most);
    words.resize(static_cast<size_t>(splitWords(text, words, ':')));
    for (auto w : words) {
        check(!w.empty() && w[0] != ' ' && w.data() + w.size() == text.data() + text.size());
        check(w.size() == text.size() || w.data()[-1] == ' ' || w.data()[-1] == ':');
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    checkLines(text, 2 + data[0] % 70);
    checkNumbers(text);
    checkWords(text, data[0] % 20);
    skipBlanks(text), skipWhite(text), dropLast(text), word(text);
    numberAfter(text, ':');
    return 0;
}
