// The processes of the machine, with what each did until the last two times it was read. Only those that ran are read:
// the CPU clock of a process that did not run stands still.
#pragma once

#include "base/held.h"
#include "base/root.h"
#include "parse/keyed.h"
#include "parse/process.h"
#include "parse/stat.h"
#include "sample/children.h"
#include "sample/procread.h"
#include "sample/ran.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <utility>
#include <vector>

// A process in the order of the pids. These few bytes are all that a pass touches of a process that did not run.
struct ProcEntry {
    int pid = 0;
    uint32_t slot = 0; // its place in ProcSample::slots
    uint64_t mark = 0; // its CPU clock, ns; without clocks a number that changes when it ran
    uint32_t threads = 0;
    char state = 0;
    bool tell = false; // something about it changed, or lasts (it waits, it is blocked)
};

// A process that is no more.
struct GoneProcess {
    int pid = 0, parent = 0;
    uint64_t start = 0;
    std::string name;
    uint64_t cpu_ns = 0;            // until the last pass, with that of its children
    std::optional<uint64_t> own_ns; // without it
    ProcessIo io;
};

struct ProcSample {
    int64_t at_us = 0, before_us = 0; // monotonic, of this pass and of the last one
    int64_t boot_us = 0;              // of this pass, since boot
    uint32_t pass = 0;                // over all processes
    bool known = false;               // /proc could be read
    bool paired = false;              // this was not the first sample
    uint64_t tick_us = 10000, page_size = 4096;
    bool blocksCounted = false;     // the kernel counts waits for block I/O
    std::vector<ProcEntry> entries; // by pid
    std::deque<Process> slots;      // some are free
    std::vector<uint32_t> born;     // slots of those that began since the last pass
    std::vector<GoneProcess> gone;  // since the last pass
    std::optional<CpuTicks> ticks, ticksBefore;
    std::optional<uint64_t> forks, forksBefore; // of processes and threads, since boot
    uint64_t cores = 0;

    // Null: there was no such process in this pass.
    const ProcEntry* find(int pid) const;
    ProcEntry* find(int pid) { return const_cast<ProcEntry*>(std::as_const(*this).find(pid)); }
};

class ProcSampler {
    Root root;
    ProcReader reader;
    Listing listing;
    HeldFile statFile, loadFile, vmstatFile;
    KeyPlan vmstatPlan;
    Contents text;
    SystemStat stat;
    std::optional<uint64_t> reclaimed; // the machine's counters of memory that was taken from processes
    bool clocks = false;               // of processes are those of /proc
    bool ascending = true;             // new processes have the highest pids
    bool moreRunnable = false;         // than are known, in the last pass
    // The last pid and the number of forks that the kernel had given out by the last two passes.
    struct Given {
        uint64_t pid = 0, forks = 0;
    } given[2];
    int64_t bootBefore_us = 0;
    std::vector<int> pids;                      // of the last listing
    std::vector<std::optional<uint64_t>> marks; // of `pids`: their clocks
    std::vector<ProcEntry> next;                // becomes ProcSample::entries
    std::vector<uint32_t> unused;               // free slots
    Children children;                          // of all slots
    std::vector<uint32_t> order;                // working space
    std::vector<Ran> active;
    std::vector<uint32_t> ranSlots, writers; // of `active`; of those that wrote in the last 35 s
    std::vector<uint32_t> holders;           // slots of processes whose files stay open
    size_t mostHolders;
    int turn = 0, restTurn = 0, stateTurn = 0; // the pids after which the next turn begins

    void readMachine(ProcSample& sample);
    bool list(const ProcSample& sample);
    bool listNew(const ProcSample& sample);
    void passOver(ProcSample& sample);
    void readClocks();
    void walk(ProcSample& sample);

    bool beganSince(const ProcSample& sample, const ProcessStat& own) const;
    void setCpu(ProcSample& sample, Process& process, const ProcessStat& own, std::optional<uint64_t> mark);
    uint32_t newSlot(ProcSample& sample);
    void visit(ProcSample& sample, int pid, std::optional<uint64_t> mark, const ProcEntry* old);
    void stay(ProcSample& sample, const ProcEntry& old);
    void end(ProcSample& sample, const ProcEntry& entry);

    void bequeath(ProcSample& sample);
    void adopt(ProcSample& sample);
    bool look(ProcSample& sample, ProcEntry& entry);
    void readMemory(ProcSample& sample, ProcEntry& entry);
    void refresh(ProcSample& sample);
    void refreshLargest(ProcSample& sample);
    void searchRunnable(ProcSample& sample);
    void rememberWrites(ProcSample& sample);
    void holdFiles(ProcSample& sample);

public:
    // A process that does not run is looked at again after so many passes: its memory, parent, state and priority; its
    // group, command and limits. On a small machine earlier: some in each pass.
    static constexpr size_t Turn = 256, RestTurn = 512, LeastInTurn = 4;
    static constexpr size_t Largest = 200;      // whose memory is read in each pass while the kernel takes memory away
    static constexpr size_t LeastStates = 64;   // read in a pass in search of those that wait for a CPU
    static constexpr size_t MostHolders = 1280; // processes whose files stay open, four each, where so many may be open
    ProcSampler(const Root& where, Helper& helper);
    // The same sample each time: it keeps the processes.
    void sample(ProcSample& now);
    // Those that ran since the last pass, by pid; after the first pass all of them.
    std::span<const Ran> ran() const { return active; }
    // How many files a right forbade to read so far.
    uint64_t notAllowed() const { return reader.notAllowed() + text.denied; }
};
