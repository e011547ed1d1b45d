// wyrt-log FILE COMMAND [ARGUMENT...]: runs the command with its standard output going to the end of FILE.
//
// wyrt writes to its standard output and never reopens it, so it cannot notice that the log was renamed. This program
// checks the name after each interval. When the name leads to another file or to none, it goes on in a new FILE. So a
// rotation only renames the log, loses nothing and cuts no interval.
//
// This process becomes the command, which gets the signals and returns the status. A child writes the log. It ends when
// the last byte of the command is in the file, in whatever order the two are stopped.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static void complain(const char* what) { fprintf(stderr, "wyrt-log: %s: %s\n", what, strerror(errno)); }

namespace {
// The log. It always consists of whole intervals and the one that is being written.
class TLog {
    const char* path;
    int fd = -1;
    struct stat held = {};       // the file when its last interval ended
    bool dropping = false;       // the present interval does not fit
    bool stuck = false;          // the file was renamed and no new one can be opened
    unsigned long long lost = 0; // consecutive intervals dropped
    void finishLine();
    void drop();

public:
    explicit TLog(const char* name) : path(name) {}
    bool open();
    void write(std::string_view text);
    void endInterval();
    void tellLost();
};
} // namespace

bool TLog::open() {
    const int opened = ::open(path, O_RDWR | O_CREAT | O_APPEND | O_NOCTTY | O_CLOEXEC, 0640);
    if (opened < 0) return false;
    if (fd >= 0) close(fd);
    fd = opened;
    finishLine();
    fstat(fd, &held);
    return true;
}

// After a crash of the machine the log may end in half a line. Ends this line, so that the next one does not join it.
void TLog::finishLine() {
    char last = '\n';
    if (fstat(fd, &held) == 0 && S_ISREG(held.st_mode) && held.st_size > 0 &&
        pread(fd, &last, 1, held.st_size - 1) == 1 && last != '\n')
        write("\n");
}

void TLog::write(std::string_view text) {
    while (!text.empty() && !dropping) {
        const ssize_t n = ::write(fd, text.data(), text.size());
        if (n > 0) text.remove_prefix(static_cast<size_t>(n));
        else if (n == 0 || errno != EINTR) drop();
    }
}

// Drops the whole interval when it does not fit, so that readers never find half of one. The next one may fit again.
void TLog::drop() {
    dropping = true;
    if (lost++ == 0) complain(path);
    struct stat now;
    if (fstat(fd, &now) == 0 && now.st_size > held.st_size && ftruncate(fd, held.st_size) != 0) complain(path);
}

void TLog::endInterval() {
    if (!dropping) tellLost();
    dropping = false;
    struct stat named;
    fstat(fd, &held);
    const bool renamed = stat(path, &named) != 0 || named.st_ino != held.st_ino || named.st_dev != held.st_dev;
    const bool failed = renamed && !open();
    if (failed && !stuck) complain(path); // goes on in the renamed file until a new one can be made
    stuck = failed;
}

void TLog::tellLost() {
    if (lost) fprintf(stderr, "wyrt-log: %s: lost intervals: %llu\n", path, lost);
    lost = 0;
}

// The size of these lines up to the first end of an interval; 0: no interval ends here.
static size_t getIntervalSize(std::string_view lines) {
    constexpr std::string_view End = "^END_OF_INTERVAL$\n";
    for (size_t at = 0; (at = lines.find(End, at)) != lines.npos; at++)
        if (at == 0 || lines[at - 1] == '\n') return at + End.size();
    return 0;
}

static void save(TLog& log, std::string_view lines) {
    while (const size_t size = getIntervalSize(lines)) {
        log.write(lines.substr(0, size));
        log.endInterval();
        lines.remove_prefix(size);
    }
    log.write(lines);
}

// Saves the input up to its end and ignores signals to the process group meanwhile.
static int saveAll(TLog& log, int input) {
    static char buffer[65536]; // the size of a pipe; the longest line has a tenth of this
    size_t size = 0;
    for (int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_IGN);
    for (ssize_t n; (n = read(input, buffer + size, sizeof buffer - size)) != 0;) {
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) break;
        size += static_cast<size_t>(n);
        const std::string_view all(buffer, size);
        const size_t newline = all.rfind('\n');
        const size_t lines = newline != all.npos ? newline + 1 : size == sizeof buffer ? size : 0;
        save(log, all.substr(0, lines));
        size -= lines;
        memmove(buffer, buffer + lines, size);
    }
    save(log, {buffer, size});
    log.tellLost();
    return 0;
}

int main(int argc, char** argv) {
    if (argc < 3) {
        fputs("Usage: wyrt-log FILE COMMAND [ARGUMENT...]\n", stderr);
        return 2;
    }
    TLog log(argv[1]);
    int ends[2] = {-1, -1};
    const bool ready = log.open() && pipe2(ends, O_CLOEXEC) == 0;
    const pid_t writer = ready ? fork() : -1;
    if (writer < 0) {
        complain(argv[1]);
        return 1;
    }
    if (writer == 0) {
        close(ends[1]);
        return saveAll(log, ends[0]);
    }
    if (dup2(ends[1], STDOUT_FILENO) >= 0) execvp(argv[2], argv + 2);
    complain(argv[2]);
    return 127;
}
