// The process report as records.
#include "classic/monitor/proc.h"
#include "classic/monitor/procrow.h"
#include "classic/monitor/records.h"
#include "classic/monitor/reports.h"

// --- The summary

namespace {
struct TProcSummary {
    int proccount;
    const TProcTotals& totals;
    double rsyscall, wsyscall; // calls per second of all ranked processes
};
} // namespace

template <auto Field> static TValue total(const TProcSummary& s) { return s.totals.*Field; }

static constexpr TField<TProcSummary> SummaryFields[] = {
    {{"processcount", Form::Int, ""}, whole<TProcSummary, &TProcSummary::proccount>},
    {{"threadcount", Form::Int, ""}, total<&TProcTotals::TotalThreadCount>},
    {{"socketcount", Form::Int, ""}, total<&TProcTotals::SocketCount>},
    {{"pipecount", Form::Int, ""}, total<&TProcTotals::PipeCount>},
    {{"anoncount", Form::Int, ""}, total<&TProcTotals::ANONCount>},
    {{"filecount", Form::Int, ""}, total<&TProcTotals::FileCount>},
    // Quirk: three fields more than the header names: system calls per second, all, reading and writing. Seen by
    // tests/worlds/proc-table-records.
    {{"sysc", Form::Real2, "/s"}, [](const TProcSummary& s) -> TValue { return s.rsyscall + s.wsyscall; }},
    {{"rsysc", Form::Real2, "/s"}, real<TProcSummary, &TProcSummary::rsyscall>},
    {{"wsysc", Form::Real2, "/s"}, real<TProcSummary, &TProcSummary::wsyscall>},
};
static constexpr TRecord<TProcSummary> SummaryRecord = {"PROCINFO", SummaryFields, std::size(SummaryFields) - 3};

// --- A process

namespace {
struct TPIDRow {
    const TTop& top;
    Text<256> arg;
};
} // namespace

template <auto Field> static TValue rate(const TPIDRow& r) { return r.top.rates.*Field; }
template <auto Field> static TValue fact(const TPIDRow& r) { return r.top.cur->*Field; }
template <auto Field> static TValue name(const TPIDRow& r) { return (r.top.cur->*Field).view(); }

static constexpr TField<TPIDRow> PIDFields[] = {
    {{"pid", Form::Int, ""},              fact<&TProc::pid>                                                           },
    {{"ppid", Form::Int, ""},             fact<&TProc::ppid>                                                          },
    {{"user", Form::Text, ""},            name<&TProc::user>                                                          },
    {{"status", Form::Letter, ""},        fact<&TProc::status>                                                        },
    {{"usersys", Form::Real2, "ticks/s"}, [](const TPIDRow& r) -> TValue { return r.top.rates.usr + r.top.rates.sys; }},
    {{"user", Form::Real2, "ticks/s"},    rate<&TCounters::usr>                                                       },
    {{"sys", Form::Real2, "ticks/s"},     rate<&TCounters::sys>                                                       },
    {{"rchar", Form::Real2, "bytes/s"},   rate<&TCounters::rchar>                                                     },
    {{"wchar", Form::Real2, "bytes/s"},   rate<&TCounters::wchar>                                                     },
    {{"rsysc", Form::Real2, "/s"},        rate<&TCounters::syscr>                                                     },
    {{"wsysc", Form::Real2, "/s"},        rate<&TCounters::syscw>                                                     },
    {{"rbytes", Form::Real2, "bytes/s"},  rate<&TCounters::rbytes>                                                    },
    {{"wbytes", Form::Real2, "bytes/s"},  rate<&TCounters::wbytes>                                                    },
    {{"majfault", Form::Real2, "/s"},     rate<&TCounters::majfault>                                                  },
    {{"minfault", Form::Real2, "/s"},     rate<&TCounters::minfault>                                                  },
    {{"starttime", Form::Int, "s"},       fact<&TProc::STime>                                                         },
    {{"vmsize", Form::Real0, "KB"},       fact<&TProc::VmSize>                                                        },
    {{"vmpin", Form::Real0, "KB"},        fact<&TProc::VmPin>                                                         },
    {{"vmrss", Form::Real0, "KB"},        fact<&TProc::VmRSS>                                                         },
    {{"vmdata", Form::Real0, "KB"},       fact<&TProc::VmData>                                                        },
    {{"vmstack", Form::Real0, "KB"},      fact<&TProc::VmStack>                                                       },
    {{"vmlib", Form::Real0, "KB"},        fact<&TProc::VmLib>                                                         },
    {{"vmswap", Form::Real0, "KB"},       fact<&TProc::VmSwap>                                                        },
    {{"threadcount", Form::Int, ""},      fact<&TProc::threadcnt>                                                     },
    {{"command", Form::Text, ""},         name<&TProc::cmd>                                                           },
    {{"arg", Form::Text, ""},             [](const TPIDRow& r) -> TValue { return r.arg.view(); }                     },
};
static constexpr TRecord<TPIDRow> PIDRecord = {"PID", PIDFields, std::size(PIDFields)};

static void dispProcess(const TTop& top, const TProcTable& table) {
    constexpr size_t Most = 255, Cut = 252; // characters; a longer command line ends with three dots
    TPIDRow row{top, {}};
    const auto arg = table.arg(*top.cur);
    if (arg.size() < Most) row.arg = arg;
    else row.arg.add(arg.substr(0, Cut)).add("...");
    dispRecord(PIDRecord, row);
}

void dispProcHeaders() {
    dispHeader(SummaryRecord);
    dispHeader(PIDRecord);
    dispDescriptorHeader();
}

void tellProcRecords(TRecordList& list) {
    tellRecord(SummaryRecord, list);
    tellRecord(PIDRecord, list);
}

void dispProcRecords(const TProcReport& report, const TProcView& view) {
    if (view.CallingIndex > 0)
        dispRecord(SummaryRecord, {view.cur.proccount, report.totals, report.totalrsyscall, report.totalwsyscall});
    for (auto* top : report.ranked) {
        if (isSelected(*top, view)) dispProcess(*top, view.cur);
        dispDescriptorRecords(*top, view);
    }
}
