// The open files that moved and the sockets of a process.
#include "classic/monitor/options.h"
#include "classic/monitor/port.h"
#include "classic/monitor/proc.h"
#include "classic/monitor/report.h"
#include "record/classic/proc.h"

#include "base/output.h"
#include "base/words.h"

#include <utility>

// --- Files

namespace {
struct TFileRow {
    const TProc& proc;
    const TFDInfo& fd;
    std::string_view dest;
    double rate; // bytes per second that the position moved
};
} // namespace

// Whether the k-th descriptor is a file to show, compared with the k-th of the previous sample.
// Quirk: descriptors are paired by their position in the list, not by their number. The paths must be equal, so most
// wrong pairs are not shown. Seen by tests/worlds/fd-positions-shift.
static bool isMoved(const TTop& top, const TProcView& view, size_t k) {
    const auto before = std::as_const(view.pre).fdinfo(*top.pre);
    if (k >= before.size()) return false;
    const auto& fd = view.cur.fdinfo(*top.cur)[k];
    return (AllFDList == 1 || fd.pos > before[k].pos) && view.cur.dest(fd) == view.pre.dest(before[k]);
}

static TFileRow getFileRow(const TTop& top, const TProcView& view, size_t k) {
    const auto& fd = view.cur.fdinfo(*top.cur)[k];
    const auto now = static_cast<uint64_t>(fd.pos);
    const auto before = static_cast<uint64_t>(view.pre.fdinfo(*top.pre)[k].pos);
    const auto moved = static_cast<double>(static_cast<int64_t>(now - before));
    return {*top.cur, fd, view.cur.dest(fd), timediff != 0 ? moved / timediff : 0};
}

static void dispFile(const TFileRow& row) {
    // Quirk: the rate loses its fraction here, but not in the record. Seen by tests/worlds/fd-positions.
    const auto rate = GetValueStrTrim(static_cast<double>(toLong(row.rate)));
    say("%8s   File : fd %8lld(Delta Rate : %s / Flags : %07X) owned by %s[%d/%d]  ", "-->",
        static_cast<long long>(row.fd.fd), rate.c_str(), static_cast<unsigned>(row.fd.flags), row.proc.cmd.c_str(),
        row.proc.pid, row.proc.ppid);
    sayText(row.dest), sayText("\n");
}

static const TProc& process(const auto& row) { return row.proc; }
static const TFDInfo& descriptor(const auto& row) { return row.fd; }

static constexpr auto FileRecord =
    recordOf<classic::FileKind, TFileRow, in<process<TFileRow>, &TProc::pid>, in<process<TFileRow>, &TProc::cmd>,
             in<descriptor<TFileRow>, &TFDInfo::fd>, &TFileRow::rate, in<descriptor<TFileRow>, &TFDInfo::flags>,
             &TFileRow::dest>;

void dispDescriptorHeader() { dispHeader(classic::FileKind); }

// --- Sockets

std::string_view getPortText(const TFDInfo& fd, const char* queues, std::string_view none, Text<160>& text) {
    constexpr int Listening = 10;
    const auto& rows = currentPorts().rows;
    if (fd.portinfo < 0 || static_cast<size_t>(fd.portinfo) >= rows.size()) return none;
    const auto& port = rows[static_cast<size_t>(fd.portinfo)];
    const auto state = getportstatus(port.status, port.protocol, port.st);
    // Quirk: a connection from a high local port to a lower remote one counts as outgoing. Seen by
    // tests/worlds/fd-sockets.
    const bool connected = port.status != Listening && port.protocol == 'T';
    const char* mark = !connected ? "" : port.loc_port > port.rem_port ? "->" : "<-";
    text.clear();
    text.addf(queues, port.rxq, port.txq);
    text.addf(" %s:%d %s %s:%d %s", port.loc.c_str(), port.loc_port, mark, port.rem.c_str(), port.rem_port,
              state.c_str());
    return text;
}

static void dispSocket(const TProc& p, const TFDInfo& fd) {
    Text<160> text;
    const auto port = getPortText(fd, "Port [RxQ:%d/TxQ:%d]", "NoPortFound", text);
    say("%8s Socket : inode %lld owned by %s[%d/%d]  ", "-->", static_cast<long long>(fd.inode), p.cmd.c_str(), p.pid,
        p.ppid);
    sayText(port), sayText("\n");
}

namespace {
struct TSocketRow {
    const TProc& proc;
    const TFDInfo& fd;
};
} // namespace

static constexpr auto SocketRecord =
    recordOf<classic::SocketKind, TSocketRow, in<process<TSocketRow>, &TProc::pid>,
             in<process<TSocketRow>, &TProc::cmd>, in<descriptor<TSocketRow>, &TFDInfo::inode>>;

// --- Both

void dispDescriptors(const TTop& top, const TProcView& view, int& lines) {
    const auto fds = view.cur.fdinfo(*top.cur);
    for (size_t k = 0; k < fds.size() && lines < procrowcount; k++) {
        if (fds[k].fdtype == 0 && isMoved(top, view, k)) dispFile(getFileRow(top, view, k)), lines++;
        else if (fds[k].fdtype == 1 && AllSocketList == 1) dispSocket(*top.cur, fds[k]), lines++;
    }
}

void dispDescriptorRecords(const TTop& top, const TProcView& view) {
    const auto fds = view.cur.fdinfo(*top.cur);
    for (size_t k = 0; k < fds.size(); k++) {
        if (fds[k].fdtype == 0 && isMoved(top, view, k)) dispRecord(FileRecord, getFileRow(top, view, k));
        else if (fds[k].fdtype == 1 && AllSocketList == 1) dispRecord(SocketRecord, {*top.cur, fds[k]});
    }
}
