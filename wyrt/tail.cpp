#include "wyrt/tail.h"

#include "base/door.h"
#include "base/filestatus.h"
#include "base/folder.h"
#include "base/infile.h"
#include "base/outfile.h"
#include "base/refusal.h"
#include "record/frames.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string_view>

#include <sys/stat.h>

static constexpr std::string_view Start = "#wyrt,";
static constexpr size_t Piece = 65536;
static constexpr uint64_t Near = 4 << 20; // bytes from the end in which an END is looked for first

// "END,2026-11-21T14:05:10.000+01:00,2.000137,31,212,48211,9f3a01c4"
static bool isEnd(std::string_view line) {
    constexpr size_t Sum = 8; // digits of the checksum
    if (!line.starts_with("END,") || std::count(line.begin(), line.end(), ',') != 6) return false;
    const auto sum = line.substr(line.rfind(',') + 1);
    return sum.size() == Sum && sum.find_first_not_of("0123456789abcdef") == sum.npos;
}

namespace {
struct LastEnd {
    uint64_t at = 0;      // where the last END ends; 0: there is none
    bool another = false; // an END of another form follows it: of another program, or with a carriage return
};
} // namespace

// The last END from `at` on. Unless `at` is 0, what comes before the first newline is no line.
static LastEnd lastEnd(InFile& file, uint64_t at) {
    constexpr size_t Longest = 200; // bytes of an END, and more
    LastEnd found;
    bool whole = at == 0;
    std::string line, buffer(Piece, '\0');
    while (const size_t size = file.read(buffer.data(), buffer.size())) {
        std::string_view text(buffer.data(), size);
        while (!text.empty()) {
            const auto newline = text.find('\n');
            const auto part = text.substr(0, newline);
            if (line.size() <= Longest) line += part.substr(0, Longest);
            const size_t used = std::min(part.size() + 1, text.size());
            at += used;
            text.remove_prefix(used);
            if (newline == text.npos) break;
            if (whole && isEnd(line)) found = {at, false};
            else if (whole && line.starts_with("END,")) found.another = true;
            whole = true;
            line.clear();
        }
    }
    return found;
}

static Tail failed(int error) { return errno = error, Tail::Error; }

static Tail setAside(const std::string& path) {
    constexpr int Most = 100; // of one name
    FileStatus status;
    std::string aside = path + ".torn";
    for (int i = 2; i <= Most && getFileStatus(aside.c_str(), status); i++) aside = path + ".torn." + std::to_string(i);
    if (getFileStatus(aside.c_str(), status)) return failed(EEXIST);
    if (!renameFile(path.c_str(), aside.c_str())) return Tail::Error;
    putErr("wyrt: " + inQuotes(path) + " does not end as a log does, and is now named " + inQuotes(aside) + "\n");
    return Tail::Aside;
}

Tail mendTail(const std::string& path) {
    FileStatus status;
    if (!getFileStatus(path.c_str(), status) || !S_ISREG(status.mode) || status.size == 0) return Tail::Whole;
    LastEnd whole;
    for (const uint64_t from : {status.size > Near ? status.size - Near : 0, uint64_t{0}}) {
        InFile file;
        if (!file.open(path)) return Tail::Error;
        char start[Start.size()];
        const std::string_view first(start, file.read(start, sizeof start));
        if (!Start.starts_with(first)) return Tail::NoLog;
        if (from > first.size() && !file.skip(from - first.size())) return Tail::Error;
        whole = lastEnd(file, from > first.size() ? from : first.size());
        if (file.failure()) return failed(file.failure());
        if (whole.at) break;
    }
    if (whole.at == status.size) return Tail::Whole;
    if (!whole.at || whole.another || status.size - whole.at > LogFrames::MostBytes) return setAside(path);
    OutFile file;
    if (!file.open(path, OutFile::How::Append) || !file.truncate(whole.at)) return Tail::Error;
    return Tail::Cut;
}
