#include "wyrt/check.h"

#include "base/door.h"
#include "base/refusal.h"
#include "base/root.h"
#include "sample/reports.h"
#include "view/areas.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <vector>

namespace {
// What makes a source that is missing appear.
struct Unlock {
    std::string_view source; // it and everything below it
    const char* how;
};
} // namespace

static constexpr Unlock Unlocks[] = {
    {"/proc/pressure",  "needs Linux 4.20 with PSI, and the kernel parameter psi=1 where it is off"},
    {"/sys/fs/cgroup",  "mount the control groups: mount -t cgroup2 none /sys/fs/cgroup"           },
    {"/run/udev/data",  "udev does not run here; names come from /sys alone"                       },
    {"/proc/1/",        "needs root where /proc is mounted with hidepid"                           },
    {"/proc/net/snmp6", "IPv6 is off: the kernel parameter ipv6.disable"                           },
};

static bool isForbidden(int error) { return error == EACCES || error == EPERM; }

static std::string howTo(std::string_view source, int error) {
    if (isForbidden(error))
        return source.starts_with("/proc/1/") ? "run it as root (CAP_SYS_PTRACE)" : "run it as root";
    for (const auto& unlock : Unlocks)
        if (source.starts_with(unlock.source)) return unlock.how;
    return {};
}

static std::vector<std::string> filesOf(std::string_view sources) {
    std::vector<std::string> files;
    std::istringstream words{std::string(sources)};
    for (std::string word; words >> word;) {
        if (word.ends_with(',')) word.pop_back();
        if (word.starts_with('/')) files.push_back(word);
    }
    return files;
}

// The error number that keeps a source from being read; 0: nothing does. Anybody may open some files of a process, and
// only reading tells that the right is lacking.
static int whyUnreadable(const std::string& path) {
    Contents text;
    if (!readFile(path.c_str(), text, Reading::Whole, 1)) return errno;
    return isForbidden(text.error) ? text.error : 0;
}

// Why ends of processes are not reported, and what helps; empty: they are.
static const char* churnGap(const std::string& root) {
    switch (tryReports(Root(root))) {
    case NoReports::Unknown:
        return "; no reports of what ends; needs Linux 5.19 with CONFIG_TASKSTATS";
    case NoReports::Refused:
        return "; no reports of what ends: Operation not permitted; run it as root (CAP_NET_ADMIN)";
    case NoReports::OtherNamespace:
        return "; no reports of what ends; they come in the host's own network, pid and user namespace only";
    case NoReports::None:
    case NoReports::OtherRoot:
        break;
    }
    return "";
}

static std::string lineOf(const Area& area, const std::string& root) {
    std::string missing, how;
    size_t seen = 0;
    const auto files = filesOf(area.sources);
    for (const auto& file : files) {
        const int error = whyUnreadable(root + file);
        if (!error) {
            seen++;
            continue;
        }
        missing += "; no " + file + ": " + strerror(error);
        if (const auto unlock = howTo(file, error); !unlock.empty() && how.empty()) how = "; " + unlock;
    }
    const std::string gap = area.word == "churn" ? churnGap(root) : "";
    std::string line(area.word);
    line.resize(std::max<size_t>(line.size() + 1, 11), ' ');
    line += seen == files.size() && gap.empty() ? "yes   " : seen ? "part  " : "no    ";
    return line.append(area.sources).append(missing).append(how).append(gap).append("\n");
}

std::string checkText(const Settings& settings) {
    std::string text = "area       here  sources\n";
    std::istringstream words(settings.view.areas);
    for (std::string word; words >> word;) text += lineOf(*findArea(word), settings.root);
    if (!settings.root.empty())
        text += "Below " + oneLine(settings.root) +
                " there are only files: no clocks, no answers of the kernel by netlink, no filesystem sizes, no "
                "accounts.\n";
    return text;
}

int runCheck(const Settings& settings) {
    OutFile out;
    if (settings.output.empty()) out.openStandard();
    else if (!out.open(settings.output, OutFile::How::New))
        return failed(inQuotes(settings.output) + " cannot be written: " + strerror(errno));
    return wrote(out, checkText(settings));
}
