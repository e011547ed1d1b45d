#include "wyrt/logfile.h"

#include <cerrno>
#include <string_view>

bool LogFile::open(const std::string& path, OutFile::How how) {
    errno = 0;
    if (path == "-") file.openStandard();
    else if (!file.open(path, how)) return failure = errno, false;
    // A pipe, a terminal or a device has no size, or none that grows.
    regular = path != "-" && file.size(whole);
    return true;
}

// What had room is not written twice: the position after it is where the next bytes go.
Wrote LogFile::write(const Piece& piece) {
    const std::string_view text = piece.text;
    failure = 0;
    if (file.write(text.substr(begun))) {
        whole += text.size();
        begun = 0;
        return Wrote::All;
    }
    failure = errno;
    if (failure == EPIPE) return Wrote::NoReader;
    uint64_t now = 0;
    if (!regular || !file.size(now) || now < whole || now - whole > text.size()) return Wrote::Lost;
    begun = now - whole;
    return Wrote::Later;
}

void LogFile::cut() {
    if (begun && regular && file.truncate(whole)) begun = 0;
}

void LogFile::end() {
    cut();
    begun = 0;
    file.close();
}
