// Open files: which of them moved, or were written, since they were last looked at.
//
// A process that did not run has moved nothing. So only the descriptors of those that ran are read again. The exception
// is a descriptor that was inherited or handed over and is moved by a process that is gone when the sample is taken:
// descriptors of idle processes are read in turn.
#pragma once

#include "base/filestatus.h"
#include "base/held.h"
#include "base/root.h"
#include "parse/openfile.h"
#include "parse/process.h"
#include "sample/mountids.h"
#include "sample/openfiles.h"
#include "sample/ran.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// A process whose descriptors were looked at. What it read and wrote is counted from before its last look to after this
// one, so that it is never less than what it moved in between; none where that is not known.
struct FileReader {
    uint32_t pid = 0;
    uint64_t start = 0;
    std::optional<uint64_t> read, written; // bytes, through read and write calls
    std::string name;                      // of one that did not run; otherwise empty
};

// A process that ran and has the descriptor.
struct FileHolder {
    uint32_t reader = 0; // its position in FileSample::readers
    uint32_t descriptor = 0;
    uint32_t next = 0; // position of the next holder of the same file plus 1; 0: none
};

// What happened to one open file.
struct FileChange {
    enum class How : uint8_t {
        Moved,
        Opened, // in this interval: its position began at 0, as far as one can tell
        Passed, // seen in turn: it moved at some time since it was last looked at, and no process that ran has it
        Written // its size or time changed, and its position did not
    } how = How::Moved;
    uint32_t holders = 0;     // position of the first in FileSample::holders plus 1
    uint32_t descriptors = 0; // that share it, as far as they are known
    uint32_t flags = 0, mount = 0;
    uint64_t inode = 0; // 0: this kernel does not tell
    uint64_t before = 0, position = 0;
    std::optional<int64_t> growth;
    std::optional<uint64_t> size;

    std::string path;
    bool deleted = false;
    std::string point, type, source;      // of its mount; of a device file empty
    std::optional<uint32_t> major, minor; // of the device that it is on; of a device file, of that device
};

struct FileSample {
    int64_t at_us = 0, before_us = 0; // monotonic, of this sample and of the last one
    bool paired = false;              // this was not the first sample
    uint64_t processes = 0, descriptors = 0, notAllowed = 0, known = 0;
    uint64_t moved = 0, written = 0;
    std::vector<FileChange> changes;            // the largest
    uint64_t restForward = 0, restBackward = 0; // of all others
    int64_t restGrowth = 0;
    uint64_t rest = 0; // how many these are
    std::vector<FileReader> readers;
    std::vector<FileHolder> holders;
};

class FileSampler {
    static constexpr uint32_t None = OpenFile::None;
    static constexpr size_t MostText = 4096; // of fdinfo; what matters is in its first lines
    using Type = OpenFile::Type;
    struct Name { // of a descriptor
        char text[12];
        explicit Name(uint32_t number);
    };
    struct Descriptor {
        uint32_t number = 0;
        uint32_t open = None; // None: no file, and `digest` is that of its link
        uint32_t digest = 0;
    };
    struct Process {
        uint32_t pid = 0; // 0: a free place
        uint32_t pass = 0;
        uint64_t start = 0;
        std::vector<Descriptor> descriptors; // by number
        bool wrote = false, opened = false;  // as in Look, in that pass
        uint32_t reader = 0;                 // the same
        bool group = false;                  // `io` has its ended threads and children, too
        std::optional<ProcessIo> io;         // before its descriptors were read
    };
    // A new descriptor. Whether it shares an open file is asked when all processes have been read, because then it is
    // known which processes have that.
    struct Waiting {
        uint32_t place = 0; // of the process
        size_t at = 0;      // in its descriptors
        OpenFile made;
    };
    // The process that is being looked at.
    struct Look {
        uint32_t place = 0;
        uint32_t pid;
        uint64_t start;
        bool ran = false, wrote = false;
        bool opened = false;  // what was not there at the last look was opened since
        bool refused = false; // it may not be read
        bool moved = false;   // one of its files
        uint32_t reader = 0;  // its position in FileSample::readers
        bool linksOpen = false;
        HeldDirectory infos;
        HeldPlace links;
        Look(uint32_t ofPid, uint64_t since) : pid(ofPid), start(since) {}
    };
    enum class Seen : uint8_t { Gone, Here };

    Root root;
    bool compares; // kcmp has the same pids as /proc
    HeldPlace proc;
    Contents text;
    Listing listing;
    MountIds mounts;
    OpenFiles opens;
    std::vector<Process> processes;
    std::vector<uint32_t> freeProcesses;
    std::unordered_map<uint32_t, uint32_t> places; // of processes by pid
    std::vector<uint32_t> changed;                 // open files
    std::vector<uint32_t> numbers;                 // what a listing gave
    std::vector<Descriptor> found;
    std::vector<Waiting> waiting;
    std::vector<char> target; // of a link
    uint32_t pass = 0;
    size_t cursor = 0, cursorAt = 0; // the next process, and its next descriptor, to be read in turn
    uint64_t known = 0;              // descriptors of all processes
    uint64_t forbidden = 0;          // folders of descriptors that a right forbade to read, so far
    int64_t before_ns = 0;           // realtime, of the sample before

    std::string procPath(uint32_t pid, const char* name) const;
    std::optional<std::string_view> linkOf(Look& look, const char* name);
    bool statusOf(Look& look, const char* name, FileStatus& status);
    bool list(const HeldDirectory& infos);
    void look(const Ran& ran, FileSample& now);
    std::optional<ProcessIo> readIo(const Process& process);
    void merge(Look& look, Process& process, FileSample& now);
    void refresh(FileSample& now, size_t most);
    bool refreshProcess(Process& process, FileSample& now, size_t& most);
    uint32_t placeOf(uint32_t pid, uint64_t start);
    void remove(uint32_t place);

    Seen read(Look& look, const Descriptor* before, Descriptor& result, FileSample& now);
    Seen readOther(Look& look, const char* name, Descriptor& result);
    bool isSame(const OpenFile& open, const OpenFileInfo& info, Look& look, const char* name);
    uint64_t digestOf(Look& look, const char* name);
    bool classify(Look& look, const char* name, const OpenFileInfo& info, OpenFile& made);
    bool classifyUnknown(Look& look, const char* name, const OpenFileInfo& info, OpenFile& made);
    void attachWaiting(FileSample& now);
    uint32_t attach(Look& look, uint32_t number, const OpenFile& made, FileSample& now);
    bool shares(OpenFile& open, const Look& look, uint32_t number, const OpenFile& made);
    std::optional<uint64_t> positionOf(const OpenFile& open);
    bool isOther(const OpenFile& open, const Look& look, uint32_t number, uint64_t position);
    uint32_t advance(Look& look, uint32_t number, uint32_t at, uint64_t position, FileSample& now);
    void begin(OpenFile& open);
    void note(Look& look, uint32_t number, uint32_t at, FileSample& now);
    void askSize(Look& look, uint32_t number, OpenFile& open);

    void close(const Look& look, const Descriptor& descriptor);

    FileChange describe(const OpenFile& open, FileSample& now);
    void gather(FileSample& now);

public:
    static constexpr size_t Most = 500;        // changes of one sample that are described
    static constexpr size_t Turn = 1024;       // samples in which all descriptors of idle processes are read again
    static constexpr size_t MostCompared = 32; // open files of the same inode that a new descriptor is compared with
    explicit FileSampler(const Root& where);
    // `ran`: the processes that ran since the sample before; in the first sample all of them.
    void sample(std::span<const Ran> ran, FileSample& now);
    // How many files and folders a right has forbidden to read so far.
    uint64_t notAllowed() const { return text.denied + forbidden; }
};
