#include "classic/collect/info.h"

#include "base/door.h"
#include "base/words.h"
#include "classic/collect/flushed.h"

#include <cerrno>

static constexpr const char* NoDistribution = "lsb_release not found";
static constexpr size_t NumberLimit = 1024; // longest line that a number is read from

// The first line of a command's output, at most limit-1 bytes, without its last character. Empty when there is none.
// Valid until the next call.
// Quirk: the last character is dropped even when it is no newline, as of a line that fills the limit. Seen by
// tests/worlds/environment-long-lines.
static std::string_view getpopen(const char* command, size_t limit) {
    static Text<NumberLimit> kept;
    CommandLines lines(command, limit);
    std::string_view line;
    lines.next(line);
    kept = dropLast(line);
    return kept;
}

static int getCommandInt(const char* command, size_t limit = NumberLimit) { return toInt(getpopen(command, limit)); }
static int64_t getCommandLong(const char* command) { return toLong(getpopen(command, NumberLimit)); }

static void getHost(TSystemInfo& info) {
    char name[64] = {};
    errno = 0;
    getHostName(name, sizeof name);
    const int error = errno;
    name[sizeof name - 1] = '\0';
    info.hostname = name;
    if (info.hostname.empty()) info.hostname.addf("failed_to_get_hostname_err_%d", error);
}

static void getDistribution(TSystemInfo& info) {
    if (getCommandInt("which lsb_release >/dev/null 2>&1 ; echo $?", 64) != 0) {
        info.lx_distributor = info.lx_release = info.lx_code = NoDistribution;
        info.lx_description =
            getpopen("find /etc -maxdepth 1 -type f -name \"*release\" |egrep -v \"/os-release|/lsb-release\" "
                     "|awk '{print \"cat \"$1\" |head -1\"}' |sh",
                     63);
        if (info.lx_description.size() < 8) info.lx_description = NoDistribution;
        return;
    }
    CommandLines lines("lsb_release -idrc |cut -d':' -f2-", 64);
    std::string_view line;
    for (auto field : {&info.lx_distributor, &info.lx_description, &info.lx_release, &info.lx_code})
        if (lines.next(line)) *field = skipWhite(dropLast(line));
}

// Serial number and product: from the hardware daemon of old distributions, else from the firmware tables.
static void getHardware(TSystemInfo& info) {
    info.sn = getpopen("lshal 2>/dev/null |grep \"system.hardware.serial\" |cut -f2 -d\"'\"", 64);
    if (info.sn.size() < 4)
        info.sn = getpopen("echo `dmidecode 2>/dev/null |grep -A 8 \"System Information\" |grep \"Serial Number\" "
                           "|egrep -v \"None|Not Spec\" |head -1 |cut -d\":\" -f2`",
                           64);
    info.model = getpopen("lshal 2>/dev/null |grep \"system.hardware.product\" |cut -f2 -d\"'\"", 64);
    if (info.model.size() < 4)
        info.model = getpopen("echo `dmidecode 2>/dev/null |grep \"Product Name\" |head -1 |cut -d\":\" -f2`", 64);
}

static void getProcessors(TSystemInfo& info) {
    info.lcpucount = getCommandInt("grep cpu /proc/stat |grep -v \"cpu \" |grep cpu |wc -l");
    info.cpumodel = getpopen("echo `grep \"^model name\" /proc/cpuinfo |head -1 |cut -d':' -f2-`", 63);
    info.clockMHz = static_cast<int32_t>(getCommandLong("grep MHz /proc/cpuinfo |head -1 |awk '{print $4}'"));
    info.corecount = getCommandInt("cat /proc/cpuinfo |grep \"cpu core\"|awk {'print $4'}|tail -1", 32);
    info.siblingcount = getCommandInt("cat /proc/cpuinfo |grep siblings|awk {'print $3'}|tail -1", 32);
    info.HTmode = info.corecount >= 1 ? info.siblingcount / info.corecount : 0;
}

void getsysteminfo(TSystemInfo& info) {
    info = {};
    getHost(info);
    info.os = getpopen("echo `uname -s` `uname -r` `uname -i`", 64);
    getDistribution(info);
    getHardware(info);
    getProcessors(info);
    info.memoryMB = getCommandLong("grep MemTotal /proc/meminfo |awk '{print $2}'") / 1024;
    info.swapMB = getCommandLong("grep SwapTotal /proc/meminfo |awk '{print $2}'") / 1024;
    info.pagesize = getPageSize();
    info.clocktick = getClockTicks();
    // Quirk: the boot time has 32 bits. Seen by tests/worlds/environment-boot-wraps.
    info.boottime = getCommandInt("grep btime /proc/stat |awk '{print $2}'", 64);
}
