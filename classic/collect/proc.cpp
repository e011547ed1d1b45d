#include "classic/collect/proc.h"

#include "base/door.h"
#include "base/order.h"
#include "base/words.h"
#include "classic/collect/messages.h"
#include "classic/collect/proclines.h"
#include "classic/collect/settings.h"
#include "classic/collect/slots.h"
#include "parse/fdinfo.h"

#include <cerrno>
#include <cstring>

namespace {
// The buffers of a scan; they are kept from scan to scan, so that it allocates nothing.
struct TScan {
    Directory proc;              // /proc, held open: files are named from it
    std::string path;            // the file at hand: "/proc/12/stat"
    size_t base = 0;             // where the part below the process's own directory starts
    Contents text;               // of the file at hand
    char dest[DestinationLimit]; // link target at hand
    // Names a file of the process; the name starts at /proc.
    const char* name(const char* below) {
        path.resize(base);
        path.append(below);
        return path.c_str() + std::size(Root) - 1;
    }
    static constexpr char Root[] = "/proc/";
};
} // namespace

// Counters and totals wrap instead of overflowing.
static int sum(int a, int b) { return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b)); }

// --- The files of one process

// Reads a file that belongs to a process; false after a message, or without one when the file is gone.
static bool readBelow(TScan& scan, const char* below, size_t most = SIZE_MAX) {
    if (readFile(scan.proc, scan.name(below), scan.text, Reading::Single, most)) return true;
    if (errno != ENOENT) sayOpenFailed(scan.path, errno);
    return false;
}

// False: the process is left out. One that ended after its directory entry was read is no error.
static bool readStat(TScan& scan, const char* entry, TProc& p) {
    if (!readFile(scan.proc, scan.name("stat"), scan.text, Reading::Single)) return false;
    if (scan.text.error == ESRCH) return false;
    const TStatLine line(scan.text.view());
    if (getStat(line, p)) return true;
    // Quirk: an empty line follows, because the message has a newline of its own. Seen by tests/worlds/proc-stat-short.
    sayMessage("[ERROR] Failed to open stat file of PID %s(Read field count : %d)\n", entry, line.count());
    return false;
}

static void readThreads(TProcTable& table, TProcTotals& totals, TProc& p) {
    if (ThreadMonitoring != 1 || p.threadcnt <= 1) return;
    p.curthrdbuf.first = static_cast<uint32_t>(table.threads.size());
    p.curthrdbuf.count = static_cast<uint32_t>(getthreadlist(p.pid, table, totals.AllocatedThreadBuf));
}

// --- The descriptors of one process

static void countType(const TFDInfo& fd, TProcTotals& totals) {
    constexpr int TProcTotals::* Counts[] = {&TProcTotals::FileCount, &TProcTotals::SocketCount,
                                             &TProcTotals::PipeCount, &TProcTotals::ANONCount};
    (totals.*Counts[fd.fdtype])++;
}

// False after a message, or without one when the descriptor is closed already.
static bool readDestination(TScan& scan, const Directory& fds, const char* entry, std::string_view& dest) {
    const auto size = readLink(fds, entry, scan.dest, DestinationLimit - 1);
    if (size < 0) {
        if (const int error = errno; error != ENOENT)
            sayMessage("[ERROR] Failed to read link (%s%s) [ENO(%d):%s]", scan.path.c_str(), entry, error,
                       strerror(error));
        return false;
    }
    dest = std::string_view(scan.dest, static_cast<size_t>(size));
    dest = dest.substr(0, dest.find('\0'));
    return true;
}

static bool addDescriptor(TProcTable& table, TFDInfo& fd, std::string_view dest) {
    if (!makeRoom(table.fds, table.fds.size() + 1) || !makeRoom(table.texts, table.texts.size() + dest.size()))
        return false;
    fd.dest = {static_cast<uint32_t>(table.texts.size()), static_cast<uint32_t>(dest.size())};
    table.texts.append(dest);
    table.fds.push_back(fd);
    return true;
}

// `info` is the place of fdinfo, which may be missing.
static void readDescriptor(TScan& scan, const Directory& fds, const Place& info, const char* entry, TProcTable& table,
                           TProcTotals& totals) {
    constexpr size_t Most = 2 * (FDInfoLineLimit - 1); // only two lines are used
    std::string_view dest;
    if (!readDestination(scan, fds, entry, dest)) return;
    TFDInfo fd;
    fd.fd = toLong(std::string_view(entry));
    getFDType(dest, fd);
    if (!addDescriptor(table, fd, dest))
        return sayMessage("[ERROR] Failed to get memory of fdinfo(path:%s%s) [ENO(%d):%s]", scan.path.c_str(), entry,
                          errno, strerror(errno));
    if (info.handle() >= 0 && readFile(info, entry, scan.text, Reading::Single, Most))
        getFDInfo(scan.text.view(), table.fds.back());
    countType(fd, totals);
}

// The links are read from the open directory fd, the rest from the open directory fdinfo. With such short names the
// kernel need not look up the process and its directory again for each descriptor.
static void readDescriptors(TScan& scan, TProcTable& table, TProcTotals& totals, TProc& p) {
    HeldPlace info;
    info.open(scan.proc, scan.name("fdinfo"));
    Directory fds;
    if (!fds.open(scan.proc, scan.name("fd/"))) {
        if (errno != ENOENT) sayOpenFailed(scan.path, errno);
        return;
    }
    p.fdinfo.first = static_cast<uint32_t>(table.fds.size());
    for (Directory::Entry entry; fds.next(entry);)
        if (strcmp(entry.name, ".") != 0 && strcmp(entry.name, "..") != 0)
            readDescriptor(scan, fds, info, entry.name, table, totals);
    p.fdinfo.count = static_cast<uint32_t>(table.fds.size()) - p.fdinfo.first;
}

// --- All processes

static bool readProcess(TScan& scan, const char* entry, TProcTable& table, TProcTotals& totals, TProc& p) {
    scan.path.assign(TScan::Root).append(entry).push_back('/');
    scan.base = scan.path.size();
    if (!readStat(scan, entry, p)) return false;
    // Quirk: the total takes the number of threads from stat, before status corrects it. Seen by
    // tests/worlds/proc-status-overrides.
    totals.TotalThreadCount = sum(totals.TotalThreadCount, p.threadcnt);
    if (readBelow(scan, "status")) getStatus(scan.text.view(), p);
    if (proc_io_file == 1 && readBelow(scan, "io")) getIO(scan.text.view(), p);
    if (readBelow(scan, "cmdline", CommandLineLimit - 1)) p.arg = getCommandLine(scan.text.view(), table.texts);
    readThreads(table, totals, p);
    if (FDMonitoring == 1) readDescriptors(scan, table, totals, p);
    return true;
}

static void clear(TProcTable& table) {
    table.procs.clear();
    table.fds.clear();
    table.threads.clear();
    table.texts.clear();
}

int getproclist(TProcTable& table, TProcTotals& totals) {
    static TScan scan;
    static std::vector<TProc> spare;
    totals = {};
    clear(table);
    if (!scan.proc.open("/proc")) {
        sayError("[ERROR] Failed to open /proc", errno);
        return 0;
    }
    int found = 0;
    for (Directory::Entry entry; scan.proc.next(entry);) {
        if (!isNumbered(entry)) continue;
        // A process without room is only counted, so that the caller learns how much room is needed.
        if (found < table.capacity) {
            auto& p = table.procs.emplace_back();
            if (!readProcess(scan, entry.name, table, totals, p)) {
                table.procs.pop_back();
                continue;
            }
        }
        found++;
    }
    scan.proc.close();
    sortByNumber(table.procs.data(), table.procs.size(), spare, &TProc::pid);
    return found;
}

// --- Between two samples

void getProcRates(const TCounters& now, const TCounters& before, double seconds, TCounters& rates) {
    for (auto field : {&TCounters::usr, &TCounters::sys, &TCounters::majfault, &TCounters::minfault, &TCounters::rchar,
                       &TCounters::wchar, &TCounters::syscr, &TCounters::syscw, &TCounters::rbytes, &TCounters::wbytes})
        rates.*field = seconds > 0 ? (now.*field - before.*field) / seconds : 0;
}

int64_t getinode(const char* filename) {
    uint64_t inode = 0;
    return inodeOf(filename, inode) ? static_cast<int64_t>(inode) : -errno;
}
