// A log given to the commands that read logs: each ends with a status, and what it prints for people has no control
// character. Exports give texts to programs as they are. The first byte says which command. With an odd one, lengths
// and checksums are mended first, so that more of the log is whole.
#include "wyrtlog/run.h"

#include "fuzz/givenlog.h"

#include <cstdint>
#include <iterator>
#include <vector>

static constexpr std::initializer_list<const char*> Commands[] = {
    {"show"},
    {"show", "all", "--damaged"},
    {"show", "--every", "1m", "--tree"},
    {"show", "proc", "file", "sock", "--sort", "write", "--since", "yesterday"},
    {"why"},
    {"why", "--damaged"},
    {"stats"},
    {"stats", "--by", "user"},
    {"info", "--check"},
    {"chart"},
    {"export", "--format", "csv"},
    {"export", "--format", "tsv", "--rates"},
    {"export", "--format", "jsonl"},
    {"export", "--format", "openmetrics"},
    {"export", "--format", "influx"},
};

static int run(std::vector<std::string> words) {
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    return wyrtlogMain(static_cast<int>(words.size()), argv.data());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Made machine("");
    if (size == 0) return 0;
    giveLog(data, size);
    std::vector<std::string> words{"wyrtlog"};
    const auto& command = Commands[data[0] / 2 % std::size(Commands)];
    words.insert(words.end(), command.begin(), command.end());
    words.insert(words.end(), {"-o", "/out", "/log.wyrt"});
    const int status = run(words);
    check(status >= 0 && status <= 2);
    if (const auto* out = World::current->find("/out"); out && words[1] != "export")
        for (const char c : out->text) check(static_cast<unsigned char>(c) >= 0x20 || c == '\n' || c == '\t');
    return 0;
}
