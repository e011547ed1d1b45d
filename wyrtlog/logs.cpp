#include "wyrtlog/logs.h"

#include "base/infile.h"
#include "base/refusal.h"
#include "wyrtlog/unpack.h"

#include <cerrno>
#include <cstring>

// False: the caller has had enough.
static bool readLog(InFile& file, const std::string& name, Interval& interval, const OnFound& onFound, int& status) {
    Unpacker unpacker([&](char* to, size_t size) { return file.read(to, size); });
    LogReader reader([&](char* to, size_t size) { return unpacker.read(to, size); });
    for (;;) {
        const auto found = reader.next(interval);
        const bool over = found == LogReader::Found::Torn || found == LogReader::Found::End;
        if (!onFound(reader, found, interval)) return false;
        if (!over) continue;
        if (file.failure()) status = failed(inQuotes(name) + ": " + strerror(file.failure()));
        else if (!unpacker.failure().empty()) status = failed(inQuotes(name) + ": " + unpacker.failure());
        return true;
    }
}

int eachFound(const Asked& asked, const OnFound& onFound) {
    int status = Done;
    Interval interval;
    for (auto& log : asked.logs) {
        InFile file;
        if (log == "-") file.openStandard();
        else if (!file.open(log)) {
            status = failed(inQuotes(log) + ": " + strerror(errno));
            continue;
        }
        if (!readLog(file, log, interval, onFound, status)) break;
    }
    return status;
}
