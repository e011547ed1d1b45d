#include "base/refusal.h"

#include "base/door.h"
#include "base/nearest.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sys/mman.h>
#include <unistd.h>

std::string whyUnknown(std::string_view option, std::string_view word, std::span<const std::string_view> known) {
    if (std::find(known.begin(), known.end(), word) != known.end()) return {};
    std::string why(option);
    if (known.empty()) return why + " has no word for these areas, not even " + inQuotes(word);
    return why + " has no word " + inQuotes(word) + " for these areas; the nearest is " +
           std::string(nearest(word, known));
}

int failed(const std::string& why) {
    putErr("wyrt: " + oneLine(why) + "\n");
    return Failed;
}

int refused(const std::string& why, std::string_view help) {
    putErr("wyrt: " + oneLine(why) + " (see " + std::string(help) + ")\n");
    return WrongUsage;
}

// Before the program's own variables are made: where there is no memory for them, not even an exception could say so.
[[gnu::constructor(101)]] static void needMemory() {
    constexpr size_t Least = 256 << 10; // bytes
    constexpr std::string_view Line = "wyrt: there is not enough memory\n";
    void* const memory = mmap(nullptr, Least, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        [[maybe_unused]] const auto written = write(STDERR_FILENO, Line.data(), Line.size());
        _exit(Failed);
    }
    munmap(memory, Least);
}

int wrote(OutFile& out, std::string_view text) {
    if (out.write(text) || errno == EPIPE) return Done;
    return failed(std::string("the output takes no more: ") + strerror(errno));
}

int wrote(std::string_view text) {
    OutFile out;
    out.openStandard();
    return wrote(out, text);
}
