// Makes hostile logs, whose lengths and checksums are right, for tests/live/new-hostile.sh.
//
//     live-spoiler HOW SEED <LOG      bytes, numbers, texts, times, lines: some of the log are others now; words: texts
//                                     in the place of words, so that all fields still fit
//     live-spoiler HOW COUNT          columns, kinds, rows, ticks (tiny intervals), runs, hosts, names (a process with
//                                     another name in each interval), leaps (of a thousand years): so many of them
#include "record/escape.h"
#include "record/moment.h"
#include "tests/mended.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <random>
#include <vector>

namespace {
using Random = std::mt19937_64;

size_t upTo(Random& random, size_t most) { return most ? random() % (most + 1) : 0; }

template <typename All> auto oneOf(Random& random, const All& all) { return all[upTo(random, std::size(all) - 1)]; }

constexpr std::string_view Numbers[] = {"18446744073709551615",
                                        "18446744073709551616",
                                        "9223372036854775807",
                                        "-9223372036854775808",
                                        "-1",
                                        "0",
                                        "1e308",
                                        "1e400",
                                        "-0",
                                        "0.1e-999",
                                        "-1e308",
                                        "5e-324",
                                        "nan",
                                        "inf",
                                        "",
                                        "4294967296",
                                        "0x10",
                                        "1e",
                                        "999999999999999999999999999999999999999999"};
constexpr std::string_view Seconds[] = {"0.000000", "-1.000000", "999999999999.999999", "0.000001", "-0.000001",
                                        "1",        ""};
constexpr std::string_view Moments[] = {"0000-01-01T00:00:00.000+00:00", "9999-12-31T23:59:59.999-99:59",
                                        "1969-12-31T23:59:59.999+00:00", "2026-02-31T00:00:00.000+00:00",
                                        "2026-11-21T14:05:10.000-99:59", "2038-01-19T03:14:08.000+00:00"};
// Every control byte, NUL first.
constexpr std::array<char, 33> Controls = [] {
    std::array<char, 33> all{};
    for (size_t i = 0; i < 32; i++) all[i] = static_cast<char>(i);
    all[32] = '\x7F';
    return all;
}();
constexpr std::string_view Texts[] = {{Controls.data(), Controls.size()},
                                      "two\nlines",
                                      "\x1B[2J\x1B]0;title\a",
                                      "\"quoted\"",
                                      "a,b",
                                      "\\",
                                      "\xFF\xFE\x80",
                                      "%n%s%x",
                                      "</script><script>alert(1)</script>",
                                      "",
                                      " ",
                                      "=cmd|'/c calc'!A1",
                                      "{\"a\":[",
                                      "\xC2\x85\xC2\x9B\xE2\x80\xAE",
                                      "\xED\xA0\x80\xF4\x90\x80\x80",
                                      "'; DROP TABLE cpu; --"};
} // namespace

static std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const auto size = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.push_back(text.substr(0, size));
        text.remove_prefix(size);
    }
    return lines;
}

// The line with another cell in the place of one of them, from the `first` on.
static std::string changed(Random& random, std::string_view line, size_t first, size_t last, std::string_view cell) {
    std::vector<size_t> commas;
    for (size_t at = 0; (at = line.find(',', at)) != line.npos; at++) commas.push_back(at);
    if (commas.size() <= first) return std::string(line);
    const size_t which = first + upTo(random, std::min(last, commas.size() - 1) - first);
    const size_t from = commas[which] + 1, to = which + 1 < commas.size() ? commas[which + 1] : line.size() - 1;
    return std::string(line.substr(0, from)).append(cell).append(line.substr(to));
}

// A text for any field.
static std::string hostileCell(Random& random) {
    std::string cell;
    if (upTo(random, 9) == 0) cell.assign(upTo(random, 200000), 'x');
    else escape(oneOf(random, Texts), cell);
    return cell;
}

// The line with a hostile text instead of one of its words. What has no letters is a number or the like, what has a
// single one may stand for something.
static std::string reworded(Random& random, std::string_view line) {
    constexpr size_t FirstField = 3;
    std::vector<size_t> words;
    size_t at = 0;
    for (size_t from = 0, to = 0; from < line.size(); from = to + 1, at++) {
        to = std::min(line.find_first_of(",\n", from), line.size());
        const auto cell = line.substr(from, to - from);
        if (at >= FirstField && cell.size() > 1 && cell.find_first_not_of("0123456789.:+-e") != cell.npos)
            words.push_back(at);
    }
    if (words.empty()) return std::string(line);
    const size_t comma = oneOf(random, words) - 1; // before the cell
    return changed(random, line, comma, comma, hostileCell(random));
}

static bool isHead(std::string_view line) { return line.starts_with('#') || line.starts_with("VIEW,"); }

static std::string spoiled(std::string_view how, Random& random, std::string log) {
    if (how == "bytes") {
        for (size_t n = 1 + upTo(random, 40); n > 0 && !log.empty(); n--)
            log[upTo(random, log.size() - 1)] = static_cast<char>(random());
        return log;
    }
    const size_t rate = 1 + upTo(random, 60); // every which line is another one
    std::string out;
    std::string_view before;
    for (const auto line : linesOf(log)) {
        constexpr size_t FirstField = 2, All = 1000;
        const bool named = how == "words" && line.starts_with("#wyrt,"); // the host
        if (upTo(random, rate) > 0 || (isHead(line) && how != "lines" && !named)) {
            out.append(line);
        } else if (how == "numbers") {
            out.append(changed(random, line, FirstField, All, oneOf(random, Numbers)));
        } else if (how == "texts") {
            out.append(changed(random, line, FirstField, FirstField + 3, hostileCell(random)));
        } else if (how == "words") {
            out.append(reworded(random, line));
        } else if (how == "times") {
            const bool time = upTo(random, 1) == 0;
            out.append(time ? changed(random, line, 0, 0, oneOf(random, Moments))
                            : changed(random, line, 1, 1, oneOf(random, Seconds)));
        } else if (how == "lines") {
            for (size_t n = upTo(random, 3); n > 0; n--) out.append(upTo(random, 1) ? line : before);
        }
        before = line;
    }
    return out;
}

// --- Of nothing

static constexpr int64_t Start = 1795215600000; // 2026-11-21 00:00 +01:00

static std::string timeOf(int64_t ms) {
    std::string text;
    appendMoment(text, {ms, 60});
    return text;
}
static void end(std::string& log, int64_t ms, size_t number) {
    log.append("END,").append(timeOf(ms)).append(",1.000000,").append(std::to_string(number)).append(",0,0,0\n");
}
static void head(std::string& log, const std::string& host, const std::string& run) {
    log.append("#wyrt,2,1.2.0,").append(host).append(",boot,").append(run).append("\n");
    log.append("#CPU,time,secs,user,idle\n#CPU:role,time,elapsed:s,amount:us,amount:us\n");
    log.append("#PROC,time,secs,pid,start,name,cpu,rss,unit,user,command\n"
               "#PROC:role,time,elapsed:s,id,id,text,amount:us,level:B,text,text,text\n");
    log.append("#DISK,time,secs,name,dev,reads,read_bytes\n#DISK:role,time,elapsed:s,id,id,amount,amount:B\n");
}
static void cpu(std::string& log, int64_t ms) { log.append("CPU,").append(timeOf(ms)).append(",1.000000,5,7\n"); }
static void things(std::string& log, int64_t ms, const std::string& name, size_t number) {
    const auto n = std::to_string(number);
    log.append("PROC,").append(timeOf(ms)).append(",1.000000,").append(n).append(",").append(n);
    log.append(",").append(name).append(",900000,1000000,").append(name).append(",").append(name).append(",");
    log.append(name).append("\nDISK,").append(timeOf(ms)).append(",1.000000,").append(name).append(",8:");
    log.append(n).append(",5,4096\n");
}

static std::string made(std::string_view how, size_t count) {
    std::string log;
    head(log, "db7", "run");
    if (how == "columns") {
        log.append("#WIDE,time,secs");
        for (size_t i = 0; i < count; i++) log.append(",c").append(std::to_string(i));
        log.append("\n#WIDE:role,time,elapsed:s");
        for (size_t i = 0; i < count; i++) log.append(",amount");
        log.append("\n");
    } else if (how == "kinds") {
        for (size_t i = 0; i < count; i++) {
            const auto name = "K" + std::to_string(i);
            log.append("#").append(name).append(",time,secs,c\n#").append(name).append(":role,time,elapsed:s,amount\n");
        }
    }
    end(log, Start, 0);
    for (size_t i = 1; i <= count; i++) {
        const bool many = how == "columns" || how == "kinds" || how == "rows";
        const int64_t ms =
            Start + static_cast<int64_t>(many ? 1 : i) * (how == "leaps" ? int64_t{31556952} * 1000 : 1000);
        if (how == "rows") things(log, ms, "x" + std::to_string(i), i);
        else if (how == "names") things(log, ms, "x" + std::to_string(i), i), end(log, ms, i);
        else if (how == "ticks" || how == "leaps") cpu(log, ms), end(log, ms, i);
        else if (how == "runs" || how == "hosts") {
            const auto name = "x" + std::to_string(i);
            head(log, how == "hosts" ? name : "db7", name), end(log, ms, 0), cpu(log, ms), end(log, ms, 1);
        } else if (i < 4) {
            cpu(log, ms);
            if (how == "columns") {
                log.append("WIDE,").append(timeOf(ms)).append(",1.000000");
                for (size_t c = 0; c < count; c++) log.append(",7");
                log.append("\n");
            } else
                for (size_t c = 0; c < count; c++)
                    log.append("K").append(std::to_string(c)).append(",").append(timeOf(ms)).append(",1.000000,7\n");
            end(log, ms, i);
        }
    }
    if (how == "rows") end(log, Start + 1000, 1);
    return log;
}

int main(int argc, char** argv) {
    if (argc != 3) return fputs("live-spoiler HOW SEED|COUNT\n", stderr), 2;
    const std::string_view how = argv[1];
    const auto number = strtoull(argv[2], nullptr, 10);
    std::string log;
    if (how == "bytes" || how == "numbers" || how == "texts" || how == "times" || how == "lines" || how == "words") {
        char piece[65536];
        while (const size_t size = fread(piece, 1, sizeof piece, stdin)) log.append(piece, size);
        Random random(number);
        log = spoiled(how, random, std::move(log));
    } else {
        log = made(how, number);
    }
    log = mended(log);
    return fwrite(log.data(), 1, log.size(), stdout) == log.size() && fflush(stdout) == 0 ? 0 : 1;
}
