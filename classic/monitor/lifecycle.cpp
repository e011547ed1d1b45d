// Processes that came or ended between two samples.
#include "classic/monitor/options.h"
#include "classic/monitor/proc.h"
#include "classic/monitor/records.h"

namespace {
struct TLifeRow {
    const TProc& proc;
    Text<64> command;
};
} // namespace

static constexpr TField<TLifeRow> LifeFields[] = {
    {{"command", Form::Text, ""}, words<TLifeRow, &TLifeRow::command>},
    {{"user", Form::Text, ""}, [](const TLifeRow& r) -> TValue { return r.proc.user.view(); }},
    {{"pid", Form::Int, ""}, [](const TLifeRow& r) -> TValue { return r.proc.pid; }},
    {{"ppid", Form::Int, ""}, [](const TLifeRow& r) -> TValue { return r.proc.ppid; }},
};
static constexpr TRecord<TLifeRow> CreatedRecord = {"CPROC", LifeFields};
static constexpr TRecord<TLifeRow> TerminatedRecord = {"TPROC", LifeFields};

void tellLifeRecords(TRecordList& list) {
    tellRecord(CreatedRecord, list);
    tellRecord(TerminatedRecord, list);
}

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
