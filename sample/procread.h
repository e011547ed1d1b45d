// One process, and how its files are read.
#pragma once

#include "base/door.h"
#include "base/held.h"
#include "base/helper.h"
#include "base/root.h"
#include "parse/process.h"
#include "sample/groupnames.h"
#include "sample/usernames.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Since the process began.
struct ProcCounters {
    uint64_t cpu_ns = 0; // of all its threads, ended ones included
    uint64_t user_ticks = 0, system_ticks = 0, children_ticks = 0, children_faults = 0, block_ticks = 0;
    uint64_t minor_faults = 0, major_faults = 0;
    uint64_t wait_ns = 0; // of its threads, as far as the kernel has booked it
    uint64_t voluntary = 0, involuntary = 0;
    ProcessIo io;
    bool hasCpu = false, hasStat = false, hasWait = false, hasSwitches = false, hasIo = false;
};

struct ThreadWait {
    int tid = 0;
    uint64_t wait_ns = 0;
};

// The control group of processes.
struct ProcGroup {
    std::string path, unit;
    GroupName container; // or pod, whose name is asked for; without an id: it is none, or its name is known
    uint8_t tries = 0;   // how often it was asked for
};

struct WrittenThen {
    int64_t at_us = 0; // monotonic
    uint64_t bytes = 0;
};

// What children of a process that ended had shown as theirs.
struct Reaped {
    uint32_t pass = 0;   // the last one in which some ended
    uint64_t cpu_ns = 0; // in that pass
    ProcessIo io, ever;  // in that pass; in all passes
};

// Files of a process that runs all the time. They stay open: opening and closing a file costs more than reading it.
struct ProcHeld {
    HeldFile stat, schedstat, io, status;
    bool ioOfThread = false; // `io` is that of its only thread
};

struct Process {
    // --- what it is
    int pid = 0, parent = 0;
    uint64_t start = 0; // clock ticks since boot; 0: its files may not be read
    std::string name, command;
    char state = 0;
    bool kernel = false;
    std::optional<uint64_t> uid;
    std::shared_ptr<const std::string> user;
    std::shared_ptr<const ProcGroup> group;
    std::string wait_channel; // of its first thread, while that is blocked; empty: the kernel does not tell

    // --- what it did
    uint32_t pass = 0;    // the last one in which it had run
    bool born = false;    // since the pass before that one: its counters began at 0
    bool fresh = false;   // it began or executed another program
    bool ioGroup = false; // its I/O figures are those of /proc/PID/io, which has its reaped children's
    ProcCounters before, now;
    uint64_t booked_ns = 0; // of its present wait for a CPU, not yet booked by the kernel
    uint64_t waited_ns = 0; // wait of the last pass, if known
    bool waitKnown = false;
    std::unique_ptr<Reaped> reaped;
    std::vector<WrittenThen> written;

    // --- its levels
    std::optional<uint64_t> rss, anonymous, swap; // bytes
    std::optional<int64_t> growth;                // of anonymous and swap in the pass `growthPass`
    uint32_t growthPass = 0;
    int64_t memory_us = 0; // when they were read
    uint64_t threads = 0;
    std::optional<uint64_t> descriptors, descriptor_limit;
    std::optional<int64_t> oom_adjust, oom_score;
    int64_t nice = 0;

    // --- the sampler's own
    uint8_t passes = 0; // in which it had run, as far as they matter
    uint8_t steady = 0; // passes in a row in which it had run
    std::unique_ptr<ProcHeld> held;
    bool mayReadIo = true;
    bool cpuTicks = false;                        // its CPU time comes from ticks
    uint64_t stack = 0, arguments = 0, flags = 0; // of stat, to notice an exec
    uint64_t statRss = 0, readRss = 0;            // of the last stat; when the memory was read; pages
    uint32_t restPass = 0;                        // `pass` when it had its last turn in readRest
    uint8_t memoryTurns = 0, restTurns = 0;       // that it has had
    bool asked = false;                           // the helper reads its command line
    std::vector<ThreadWait> waits;                // by tid, of several threads
};

// What its children that ended in this pass had shown as theirs; null: none did.
inline const Reaped* reapedIn(const Process& process, uint32_t pass) {
    return process.reaped && process.reaped->pass == pass ? process.reaped.get() : nullptr;
}
// Storage bytes that it wrote in this pass, without those that its children had shown as theirs.
uint64_t wroteIn(const Process& process, uint32_t pass);

enum class ProcAnswer { Good, Ended, Refused };

class ProcReader {
    Root root;
    Helper& helper;
    HeldDirectory directory, tasks;
    Listing listing;
    Contents text;
    char place[64] = {}; // a file, below /proc
    uint64_t page_size, tick_ns;
    bool countsDescriptors = false, countsBlocks = false;
    std::vector<ThreadWait> waits; // working space
    struct Asked {
        Helper::Ticket ticket = 0;
        int pid = 0;
        uint64_t start = 0;
    };
    std::vector<Asked> asked; // for command lines
    UserNames users;
    std::map<std::string, std::shared_ptr<ProcGroup>, std::less<>> groups;
    GroupNames names;

    ProcAnswer read(int pid, const char* file, Reading how = Reading::Single, size_t most = SIZE_MAX);
    ProcAnswer read(int pid, const char* file, ProcHeld* held, HeldFile ProcHeld::* one);
    void readCounters(Process& process, const ProcessStat& stat);
    void readIo(Process& process);
    void readGroup(Process& process);
    void readCommand(Process& process);
    void askForCommand(Process& process);
    void readLimits(Process& process);
    void readDescriptors(Process& process);
    void readWait(Process& process);
    void readWaits(Process& process);
    void readWaitChannel(Process& process);
    std::shared_ptr<const ProcGroup> groupOf(std::string_view group);
    void askForName(ProcGroup& group);
    void takeNames();

public:
    static constexpr size_t MostCommand = 1024;  // bytes that are kept
    static constexpr uint8_t FullTurns = 4;      // turns of an idle process until what hardly changes is read, too
    static constexpr uint64_t MostThreads = 512; // of a process whose waits are read
    static constexpr uint8_t Settling = 3;       // passes of a new process in which what it is may still change
    static constexpr size_t MostAsked = 256;     // command lines that the helper is asked for at a time
    ProcReader(const Root& where, Helper& helper);
    bool open() { return directory.isOpen() || directory.open(root.path("/proc").c_str()); }
    const HeldDirectory& processes() const { return directory; }
    bool blocksCounted() const { return countsBlocks; }
    // Looks again at the kernel's settings and drops groups without processes.
    void renew();

    // The answers of helpers. `find` gives the process of a pid; null: there is none.
    void takeAnswers(const std::function<Process*(int pid)>& find);
    uint64_t notAllowed() const { return text.denied + names.notAllowed(); }

    // `held`: of the process that had the pid in the last pass; null: it has none.
    ProcAnswer readStat(int pid, ProcessStat& stat, ProcHeld* held);
    // The time on a CPU of the thread named, or of all threads of a process with several; ns.
    std::optional<uint64_t> runTime(int pid, bool several);
    // The counters of a process that ran, and those of its levels that may have changed with them. Its identity and
    // `before` are set; `fresh` says whether it is new.
    void readRan(Process& process, const ProcessStat& stat, uint32_t pass, int64_t now_us);
    // What can change without running.
    void setLevels(Process& process, const ProcessStat& stat);
    void readMemory(Process& process, uint32_t pass, int64_t now_us);
    void readRest(Process& process);
};
