// Processes that were created or terminated between two samples.
#include "classic/monitor/options.h"
#include "classic/monitor/proc.h"
#include "classic/monitor/report.h"
#include "record/classic/proc.h"

namespace {
struct TLifeRow {
    const TProc& proc;
    Text<64> command;
};
} // namespace

static const TProc& process(const TLifeRow& r) { return r.proc; }

template <const Kind& kind>
static constexpr auto lifeRecord = recordOf<kind, TLifeRow, &TLifeRow::command, in<process, &TProc::user>,
                                            in<process, &TProc::pid>, in<process, &TProc::ppid>>;
static constexpr auto CreatedRecord = lifeRecord<classic::CreatedKind>;
static constexpr auto TerminatedRecord = lifeRecord<classic::TerminatedKind>;

const TProc* ExtraProcInfo(const TProcTable& table, const TProc* p, char CreatedOrTerminated) {
    constexpr int Most = 60; // characters of the command line
    const auto command = getCommand(table, *p, Most);
    const TLifeRow row{*p, Text<64>(command.text).add(command.dots)};
    const bool created = CreatedOrTerminated == 'C';
    if (shooting) dispRecord(created ? CreatedRecord : TerminatedRecord, row);
    else
        say("        %s \"%s\" [%s / PID %d / PPID %d]\n", created ? "++++ Created" : "---- Terminated",
            row.command.c_str(), p->user.c_str(), p->pid, p->ppid);
    return p;
}
