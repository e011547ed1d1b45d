#include "base/door.h"
#include "classic/collect/messages.h"
#include "classic/collect/proc.h"
#include "classic/collect/proclines.h"
#include "classic/collect/settings.h"
#include "classic/collect/slots.h"

#include <cerrno>

namespace {
// The directory of a process's threads and the file that is being read.
struct TTasks {
    Directory folder;
    std::string path; // "/proc/12/task"
    std::string name; // "13/stat", from the folder
    Contents text;
    std::string full() const { return path + "/" + name; }
};
} // namespace

static bool readBelow(TTasks& tasks, const char* thread, const char* below) {
    tasks.name.assign(thread).append(below);
    return readFile(tasks.folder, tasks.name.c_str(), tasks.text, Reading::Single);
}

// False: the thread gives no row.
static bool readStat(TTasks& tasks, const char* thread, TThreadInfo& t) {
    // Quirk: the message comes even when the thread has just ended; a process that has ended gives none. Seen by
    // tests/worlds/proc-threads-odd.
    if (readBelow(tasks, thread, "/stat")) return getThreadStat(TStatLine(tasks.text.view()), t);
    const int error = errno;
    sayError("[ERROR] Failed to open " + tasks.full(), error);
    return false;
}

static void readIO(TTasks& tasks, const char* thread, TThreadInfo& t) {
    if (proc_io_file != 1) return;
    if (readBelow(tasks, thread, "/io")) return getIO(tasks.text.view(), t);
    if (const int error = errno; error != ENOENT) sayOpenFailed(tasks.full(), error);
}

static void readThread(TTasks& tasks, const char* thread, TThreadInfo t, std::vector<TThreadInfo>& threads) {
    if (!readStat(tasks, thread, t)) return;
    if (!makeRoom(threads, threads.size() + 1)) {
        const int error = errno;
        return sayError("[ERROR] Failed to get memory for ThreadBuffer of " + tasks.full() + "\n", error);
    }
    readIO(tasks, thread, t);
    threads.push_back(t);
}

int getthreadlist(int32_t pid, TProcTable& table, int& AllocatedThreadBuf) {
    static TTasks tasks;
    const size_t start = table.threads.size();
    tasks.path.assign("/proc/").append(std::to_string(pid)).append("/task");
    if (!tasks.folder.open(tasks.path.c_str())) {
        sayError("[ERROR] Failed to opendir " + tasks.path, errno);
        return 0;
    }
    TThreadInfo t;
    t.pid = pid;
    for (Directory::Entry entry; tasks.folder.next(entry);)
        if (isNumbered(entry)) readThread(tasks, entry.name, t, table.threads);
    tasks.folder.close();
    const auto count = static_cast<int>(table.threads.size() - start);
    if (count > 0) AllocatedThreadBuf++;
    return count;
}
