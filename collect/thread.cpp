#include "collect/output.h"
#include "collect/proc.h"
#include "collect/proclines.h"
#include "collect/settings.h"
#include "collect/slots.h"
#include "collect/system.h"

#include <cerrno>

// Reads "stat" of one thread into `t`; false when it gives no row. `path` ends with the thread's directory and a slash.
static bool readStat(std::string& path, size_t base, Contents& text, TThreadInfo& t) {
    path.append("stat");
    // Quirk: told on standard error even when the thread has just ended, unlike a process. Seen by
    // tests/worlds/proc-threads-odd.
    const bool opened = readFile(path.c_str(), text, Reading::Single);
    if (!opened) sayError("[ERROR] Failed to open " + path, errno);
    path.resize(base);
    return opened && getThreadStat(TStatLine(text.view()), t);
}

static void readIO(std::string& path, size_t base, Contents& text, TThreadInfo& t) {
    path.append("io");
    if (readFile(path.c_str(), text, Reading::Single)) getIO(text.view(), t);
    else if (errno != ENOENT) sayOpenFailed(path, errno);
    path.resize(base);
}

static bool isThread(const Directory::Entry& entry) {
    return entry.inode != 0 && entry.name[0] >= '0' && entry.name[0] <= '9';
}

int getthreadlist(int32_t pid, TProcTable& table, int& AllocatedThreadBuf) {
    static Contents text;
    static std::string path;
    const size_t start = table.threads.size();
    path.assign("/proc/").append(std::to_string(pid)).append("/task");
    Directory tasks;
    if (!tasks.open(path.c_str())) {
        sayError("[ERROR] Failed to opendir " + path, errno);
        return 0;
    }
    path.push_back('/');
    const size_t base = path.size();
    for (Directory::Entry entry; tasks.next(entry);) {
        if (!isThread(entry)) continue;
        path.resize(base);
        path.append(entry.name).push_back('/');
        const size_t below = path.size();
        TThreadInfo t;
        if (!readStat(path, below, text, t)) continue;
        t.pid = pid;
        if (!makeRoom(table.threads, table.threads.size() + 1)) {
            sayError("[ERROR] Failed to get memory for ThreadBuffer of " + path + "stat\n", errno);
            continue;
        }
        if (proc_io_file == 1) readIO(path, below, text, t);
        table.threads.push_back(t);
    }
    const auto count = static_cast<int>(table.threads.size() - start);
    if (count > 0) AllocatedThreadBuf++;
    return count;
}
