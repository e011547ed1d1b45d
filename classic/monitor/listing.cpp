// All processes, their open files and sockets, once at start-up.
#include "classic/monitor/options.h"
#include "classic/monitor/proc.h"
#include "classic/monitor/report.h"
#include "classic/monitor/reports.h"

#include "base/output.h"

// --- Titles

// The start time and the memory columns, if they are on, each followed by a blank.
static Text<128> getPrefix(std::string_view time, std::string_view size, std::string_view rss, std::string_view swap) {
    Text<128> prefix;
    if (processTime) prefix.add(time);
    if (processMemory) {
        if (processTime) prefix.add(" ");
        const auto cell = [&](std::string_view text) { prefix.addf("%6s", Text<16>(text).c_str()); };
        cell(size), prefix.add(" "), cell(rss), prefix.add(" "), cell(swap);
    }
    if (!prefix.empty()) prefix.add(" ");
    return prefix;
}

static Text<256> getTitle() {
    Text<256> title;
    if (ShowProcess) title.add("[CommandLine]");
    const auto add = [&](const char* text) { title.add(title.empty() ? "" : " or ").add(text); };
    if (AllFDList) add("[FILE: fd / inode / name]");
    if (AllSocketList) add("[SOCK: fd / inode / Port info(RxQ/TxQ Details)]");
    return title;
}

// --- Rows

// The beginning of every line of a process.
static void sayLead(const TProc& p, std::string_view prefix) {
    say("%16s %8d %8d %10s %c %4d ", p.cmd.c_str(), p.pid, p.ppid, p.user.c_str(), p.status, p.threadcnt);
    sayText(prefix);
}

static void dispFile(std::string_view dest, const TFDInfo& fd) {
    const int64_t inode = getinode(std::string(dest).c_str());
    if (inode < 0) say("FILE:%4lld %10s ", static_cast<long long>(fd.fd), "N/A");
    else say("FILE:%4lld %10lld ", static_cast<long long>(fd.fd), static_cast<long long>(inode));
    sayText(dest), sayText("\n");
}

static void dispSocket(const TFDInfo& fd) {
    Text<160> text;
    const auto port = getPortText(fd, "Port %d/%d", "Not found in TCP/UDP", text);
    say("SOCK:%4lld %10lld ", static_cast<long long>(fd.fd), static_cast<long long>(fd.inode));
    sayText(port), sayText("\n");
}

static void dispProcess(TProcTable& table, const TProc& p, int CommandLength) {
    const auto memory = [](double KB) { return GetValueStr(KB * 1024.0); };
    const auto prefix = getPrefix(GetTimeString(p.STime), memory(p.VmSize), memory(p.VmRSS), memory(p.VmSwap));
    if (ShowProcess) {
        const auto command = getCommand(table, p, CommandLength);
        sayLead(p, prefix), sayText(command.text), sayText(command.dots), sayText("\n");
    }
    for (auto& fd : table.fdinfo(p)) {
        if (AllFDList && fd.fdtype == 0) sayLead(p, prefix), dispFile(table.dest(fd), fd);
        else if (AllSocketList && fd.fdtype == 1) sayLead(p, prefix), dispSocket(fd);
    }
}

void dispStartListing(int CommandLength, int PortRefLength) {
    constexpr int Unlimited = 1000000;
    // Quirk: threads stay off for the rest of the run. Seen by tests/worlds/listing-then-threads.
    ThreadMonitoring = 0;
    const int rows = portrowcount;
    portrowcount = Unlimited;
    dispproc(0, 0, 1, 0, 0, 0, CommandLength, 0);
    auto& table = *currentProcesses(0);
    if (AllSocketList) dispport(1, 0, 1, &table, PortRefLength);
    say("\n%16s %8s %8s %10s %c %4s %s%s\n", "Command", "PID", "PPID", "USER", 'S', "THRD",
        getPrefix("START_TIME-yymmdd", "Size", "RSS", "Swap").c_str(), getTitle().c_str());
    for (auto& p : table.procs) dispProcess(table, p, CommandLength);
    portrowcount = rows;
}
