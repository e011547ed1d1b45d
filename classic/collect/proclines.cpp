#include "classic/collect/proclines.h"

#include "base/words.h"
#include "classic/collect/hexadecimal.h"
#include "classic/collect/settings.h"
#include "parse/fdinfo.h"
#include "parse/fdlink.h"
#include "parse/io.h"
#include "parse/status.h"

#include <algorithm>

// --- stat

// The first line of a text; empty when there is none.
static std::string_view firstLine(std::string_view text, size_t limit) {
    std::string_view line;
    Lines(text, limit).next(line);
    return line;
}

TStatLine::TStatLine(std::string_view fileText) : found(splitFields(firstLine(fileText, ProcLineLimit), fields)) {}

int64_t TStatLine::number(int n) const { return toLong(text(n)); }

std::string_view TStatLine::command() const {
    constexpr ptrdiff_t Brackets = 3; // "(", ")" and the blank after them
    const auto length = fields[2].data() - fields[1].data() - Brackets;
    return length > 0 ? std::string_view(fields[1].data() + 1, static_cast<size_t>(length)) : std::string_view{};
}

int64_t TStatLine::startTime() const {
    const int64_t ticks = number(22);
    const int64_t seconds = clocktick > 0 ? ticks / clocktick : 0;
    return static_cast<int64_t>(static_cast<uint64_t>(seconds) + static_cast<uint64_t>(g_boottime));
}

void TStatLine::getCounters(TCounters& counters) const {
    const auto value = [this](int n) { return static_cast<double>(number(n)); };
    counters.minfault = value(10);
    counters.majfault = value(12);
    counters.usr = value(14);
    counters.sys = value(15);
}

bool getStat(const TStatLine& line, TProc& p) {
    if (line.count() < 22) return false;
    p.pid = toInt(line.text(1));
    p.cmd = line.command();
    p.status = line.letter(3);
    p.ppid = toInt(line.text(4));
    line.getCounters(p);
    p.threadcnt = static_cast<int32_t>(line.number(20));
    p.STime = line.startTime();
    constexpr int LeastPage = 4096; // bytes; a smaller value means that the page size is not known
    if (line.count() > 22) p.VmSize = static_cast<double>(line.number(23)) / 1024.0;
    if (line.count() >= 24 && pagesize >= LeastPage) p.VmRSS = pagesize / 1024.0 * static_cast<double>(line.number(24));
    return true;
}

bool getThreadStat(const TStatLine& line, TThreadInfo& t) {
    // Quirk: a line of exactly 22 fields is enough for a process but not for a thread. Seen by
    // tests/worlds/proc-threads-odd.
    if (line.count() <= 22) return false;
    t.threadid = toInt(line.text(1));
    t.status = line.letter(3);
    line.getCounters(t);
    t.STime = line.startTime();
    return true;
}

// --- status

void getStatus(std::string_view fileText, TProc& p) {
    const Status status = parseStatus(fileText);
    // What the file does not have stays as stat gave it.
    const auto set = [&](double TProc::* field, const std::optional<int64_t>& value) {
        if (value) p.*field = static_cast<double>(*value);
    };
    set(&TProc::VmSize, status.vm_size_kb);
    set(&TProc::VmPin, status.vm_pin_kb);
    set(&TProc::VmRSS, status.vm_rss_kb);
    set(&TProc::VmData, status.vm_data_kb);
    set(&TProc::VmStack, status.vm_stk_kb);
    set(&TProc::VmLib, status.vm_lib_kb);
    set(&TProc::VmSwap, status.vm_swap_kb);
    if (status.threads) p.threadcnt = static_cast<int32_t>(*status.threads);
    if (status.uid) p.uid = static_cast<int32_t>(*status.uid), p.user = getuser(p.uid);
}

// --- io

void getIO(std::string_view fileText, TCounters& counters) {
    const IO io = parseIO(fileText);
    counters.rchar = static_cast<double>(io.rchar);
    counters.wchar = static_cast<double>(io.wchar);
    counters.syscr = static_cast<double>(io.syscr);
    counters.syscw = static_cast<double>(io.syscw);
    counters.rbytes = static_cast<double>(io.read_bytes);
    counters.wbytes = static_cast<double>(io.write_bytes);
}

// --- cmdline

TRange getCommandLine(std::string_view fileText, std::string& texts) {
    // Quirk: only the first line is read, so a newline inside an argument ends the command line, and stays at its end.
    // Seen by tests/worlds/proc-command-lines.
    auto line = fileText.substr(0, CommandLineLimit - 1);
    if (auto end = line.find('\n'); end != line.npos) line = line.substr(0, end + 1);
    const auto first = texts.size();
    // A NUL ends an argument; two of them, or one at the end, the command line.
    for (size_t at = 0; at < line.size();) {
        const auto argument = line.substr(at, line.find('\0', at) - at);
        texts.append(argument);
        at += argument.size();
        if (at + 1 >= line.size() || line[at + 1] == '\0') break;
        texts.push_back(' ');
        at++;
    }
    return {static_cast<uint32_t>(first), static_cast<uint32_t>(texts.size() - first)};
}

// --- fdinfo

// Quirk: the octal digits are read as hexadecimal ones, so that %X shows the kernel's own digits. The line's last
// character, commonly the newline, must follow them: without it the flags are 0. Seen by tests/worlds/proc-fdinfo.
static int32_t getFlags(std::string_view digits) {
    const auto at = digits.find_first_not_of(' '); // a tab, which is skipped
    return at == digits.npos ? 0 : static_cast<int32_t>(ToUINT(digits.substr(at + 1)));
}

void getFDInfo(std::string_view fileText, TFDInfo& fd) {
    const FDInfo info = parseFDInfo(fileText);
    fd.pos = info.pos;
    fd.flags = getFlags(info.flags);
}

void getFDType(std::string_view dest, TFDInfo& fd) {
    const FDLink link = parseFDLink(dest);
    fd.fdtype = static_cast<int32_t>(link.kind);
    fd.inode = link.inode;
}
