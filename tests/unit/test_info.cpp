#include "classic/collect/info.h"

#include "classic/monitor/reports.h"
#include "tests/unit/made.h"

#include <limits>
#include <string>

#include <gtest/gtest.h>

// The commands in the order in which they are run.
static constexpr const char* OS = "echo `uname -s` `uname -r` `uname -i`";
static constexpr const char* Which = "which lsb_release >/dev/null 2>&1 ; echo $?";
static constexpr const char* Release =
    "find /etc -maxdepth 1 -type f -name \"*release\" |egrep -v \"/os-release|/lsb-release\" |awk '{print \"cat \"$1\" "
    "|head -1\"}' |sh";
static constexpr const char* LsbRelease = "lsb_release -idrc |cut -d':' -f2-";
static constexpr const char* Serial = "lshal 2>/dev/null |grep \"system.hardware.serial\" |cut -f2 -d\"'\"";
static constexpr const char* FirmwareSerial =
    "echo `dmidecode 2>/dev/null |grep -A 8 \"System Information\" |grep \"Serial Number\" |egrep -v \"None|Not Spec\" "
    "|head -1 |cut -d\":\" -f2`";
static constexpr const char* Model = "lshal 2>/dev/null |grep \"system.hardware.product\" |cut -f2 -d\"'\"";
static constexpr const char* FirmwareModel =
    "echo `dmidecode 2>/dev/null |grep \"Product Name\" |head -1 |cut -d\":\" -f2`";
static constexpr const char* Logical = "grep cpu /proc/stat |grep -v \"cpu \" |grep cpu |wc -l";
static constexpr const char* CPUModel = "echo `grep \"^model name\" /proc/cpuinfo |head -1 |cut -d':' -f2-`";
static constexpr const char* Clock = "grep MHz /proc/cpuinfo |head -1 |awk '{print $4}'";
static constexpr const char* Cores = "cat /proc/cpuinfo |grep \"cpu core\"|awk {'print $4'}|tail -1";
static constexpr const char* Siblings = "cat /proc/cpuinfo |grep siblings|awk {'print $3'}|tail -1";
static constexpr const char* Memory = "grep MemTotal /proc/meminfo |awk '{print $2}'";
static constexpr const char* Swap = "grep SwapTotal /proc/meminfo |awk '{print $2}'";
static constexpr const char* Boot = "grep btime /proc/stat |awk '{print $2}'";

static std::string command(const char* name, const std::string& output) {
    return std::string("command ") + name + " <<END\n" + output + "\nEND\n";
}

static TSystemInfo infoOf(const std::string& lines) {
    const Made machine(lines);
    TSystemInfo info;
    getsysteminfo(info);
    return info;
}

TEST(Info, CommandsAsTheyAlwaysWere) {
    const auto logOf = [](const std::string& lines) {
        Made machine(lines);
        TSystemInfo info;
        getsysteminfo(info);
        return machine.world.log;
    };
    const auto runs = [](std::initializer_list<const char*> commands) {
        std::string log;
        for (auto c : commands) log.append("run ").append(c).append("\n");
        return log;
    };
    EXPECT_EQ(logOf(""), runs({OS, Which, LsbRelease, Serial, FirmwareSerial, Model, FirmwareModel, Logical, CPUModel,
                               Clock, Cores, Siblings, Memory, Swap, Boot}));
    EXPECT_EQ(logOf(command(Which, "1") + command(Serial, "1234") + command(Model, "M123")),
              runs({OS, Which, Release, Serial, Model, Logical, CPUModel, Clock, Cores, Siblings, Memory, Swap, Boot}));
}

TEST(Info, WhatTheMachineSays) {
    const auto info = infoOf("host db7\npagesize 65536\nclocktick 250\n" + command(OS, "Linux 4.18 x86_64") +
                             command(Logical, "16") + command(CPUModel, "Some CPU @ 2.40GHz") +
                             command(Clock, "2399.998") + command(Cores, "4") + command(Siblings, "8") +
                             command(Memory, "16316412") + command(Swap, "1023") + command(Boot, "1457269448"));
    EXPECT_EQ(info.hostname.view(), "db7");
    EXPECT_EQ(info.os.view(), "Linux 4.18 x86_64");
    EXPECT_EQ(info.lcpucount, 16);
    EXPECT_EQ(info.cpumodel.view(), "Some CPU @ 2.40GHz");
    EXPECT_EQ(info.clockMHz, 2399);
    EXPECT_EQ(info.corecount, 4);
    EXPECT_EQ(info.siblingcount, 8);
    EXPECT_EQ(info.HTmode, 2);
    EXPECT_EQ(info.memoryMB, 15933);
    EXPECT_EQ(info.swapMB, 0);
    EXPECT_EQ(info.pagesize, 65536);
    EXPECT_EQ(info.clocktick, 250);
    EXPECT_EQ(info.boottime, 1457269448);
}

TEST(Info, Host) {
    EXPECT_EQ(infoOf("host\n").hostname.view(), "failed_to_get_hostname_err_0");
    EXPECT_EQ(infoOf("hosterror EPERM\n").hostname.view(), "failed_to_get_hostname_err_1");
    const std::string name(70, 'h');
    EXPECT_EQ(infoOf("host " + name + "\n").hostname.view(), name.substr(0, 63));
}

TEST(Info, Distribution) {
    auto info =
        infoOf(command(Which, "0") + command(LsbRelease, "\tDebian\n\tDebian GNU/Linux 12\n \t 12\n\tbookworm"));
    EXPECT_EQ(info.lx_distributor.view(), "Debian");
    EXPECT_EQ(info.lx_description.view(), "Debian GNU/Linux 12");
    EXPECT_EQ(info.lx_release.view(), "12");
    EXPECT_EQ(info.lx_code.view(), "bookworm");
    // Fewer lines, and lines with nothing in them.
    info = infoOf(command(LsbRelease, "\tDebian\n\n   "));
    EXPECT_EQ(info.lx_distributor.view(), "Debian");
    EXPECT_EQ(info.lx_description.view(), "");
    EXPECT_EQ(info.lx_release.view(), "");
    EXPECT_EQ(info.lx_code.view(), "");
    // 63 characters of each line are read, including the newline; the rest counts as the next line.
    const std::string name(70, 'n');
    info = infoOf(command(LsbRelease, name + "\nx"));
    EXPECT_EQ(info.lx_distributor.view(), name.substr(0, 62));
    EXPECT_EQ(info.lx_description.view(), name.substr(0, 7));
    EXPECT_EQ(info.lx_release.view(), "x");
    // No lsb_release.
    info = infoOf(command(Which, "1") + command(Release, "CentOS release 6.5 (Final)\nsecond"));
    EXPECT_EQ(info.lx_distributor.view(), "lsb_release not found");
    EXPECT_EQ(info.lx_description.view(), "CentOS release 6.5 (Final)");
    EXPECT_EQ(info.lx_release.view(), "lsb_release not found");
    EXPECT_EQ(info.lx_code.view(), "lsb_release not found");
    for (auto& [text, shown] : {std::pair{"1234567", "lsb_release not found"}, {"12345678", "12345678"}})
        EXPECT_EQ(infoOf(command(Which, "1") + command(Release, text)).lx_description.view(), shown);
    EXPECT_EQ(infoOf(command(Which, "127")).lx_description.view(), "lsb_release not found");
    // Without a shell nothing is known, not even that lsb_release is missing.
    info = infoOf(std::string("nopipe ") + Which + "\nnopipe " + LsbRelease + "\n");
    EXPECT_EQ(info.lx_distributor.view(), "");
}

TEST(Info, Hardware) {
    for (auto& [text, shown] : {std::pair{"", "firmware"}, {"123", "firmware"}, {"1234", "1234"}}) {
        const auto info = infoOf(command(Serial, text) + command(FirmwareSerial, "firmware") + command(Model, text) +
                                 command(FirmwareModel, "firmware"));
        EXPECT_EQ(info.sn.view(), shown);
        EXPECT_EQ(info.model.view(), shown);
    }
    const auto info = infoOf(command(Serial, "123"));
    EXPECT_EQ(info.sn.view(), ""); // a serial number that is too short is not kept
}

TEST(Info, Siblings) {
    const auto mode = [](const char* cores, const char* siblings) {
        return infoOf(command(Cores, cores) + command(Siblings, siblings)).HTmode;
    };
    EXPECT_EQ(mode("4", "4"), 1);
    EXPECT_EQ(mode("4", "8"), 2);
    EXPECT_EQ(mode("3", "8"), 2);
    EXPECT_EQ(mode("8", "4"), 0);
    EXPECT_EQ(mode("0", "4"), 0);
    EXPECT_EQ(mode("-1", "4"), 0);
    EXPECT_EQ(mode("", ""), 0);
}

TEST(Info, LimitsOfLines) {
    const std::string text = "0123456789012345678901234567890123456789012345678901234567890123456789";
    for (size_t size : {61U, 62U, 63U, 64U, 70U}) {
        // A buffer of 64 has room for 62 characters and the newline. A line that fills it loses its last character.
        EXPECT_EQ(infoOf(command(OS, text.substr(0, size))).os.view(), text.substr(0, std::min<size_t>(size, 62)));
        EXPECT_EQ(infoOf(command(CPUModel, text.substr(0, size))).cpumodel.view(),
                  text.substr(0, std::min<size_t>(size, 61)));
    }
    // Output without a newline loses its last character, too.
    Made machine(std::string("text /x \"\"\n"));
    EXPECT_EQ(infoOf(command(Cores, std::string(29, ' ') + "47")).corecount, 4); // 31 bytes are read, the last dropped
    EXPECT_EQ(infoOf(command(Cores, std::string(28, ' ') + "47")).corecount, 47);
}

// Each command has a limit of its own. One byte of it is for the terminator, and the last character read is dropped.
TEST(Info, LimitsOfTexts) {
    std::string text;
    for (int i = 0; i < 100; i++) text += static_cast<char>('!' + i % 90);
    static constexpr struct {
        const char* command;
        Text<64> TSystemInfo::* field;
        size_t limit;
        const char* before; // an earlier command whose answer makes this one run
        const char* answer;
    } Cases[] = {
        {OS, &TSystemInfo::os, 64, nullptr, nullptr},
        {Release, &TSystemInfo::lx_description, 63, Which, "1"},
        {Serial, &TSystemInfo::sn, 64, nullptr, nullptr},
        {FirmwareSerial, &TSystemInfo::sn, 64, Serial, "123"},
        {Model, &TSystemInfo::model, 64, nullptr, nullptr},
        {FirmwareModel, &TSystemInfo::model, 64, Model, "123"},
        {CPUModel, &TSystemInfo::cpumodel, 63, nullptr, nullptr},
    };
    for (auto& c : Cases) {
        const auto before = c.before ? command(c.before, c.answer) : std::string();
        EXPECT_EQ((infoOf(before + command(c.command, text)).*c.field).view(), text.substr(0, c.limit - 2))
            << c.command;
    }
}

// The last digit that counts, and the next one.
TEST(Info, LimitsOfNumbers) {
    static constexpr struct {
        const char* command;
        size_t limit;
        int64_t (*value)(const TSystemInfo&);
    } Cases[] = {
        {Logical, 1024, [](const TSystemInfo& i) -> int64_t { return i.lcpucount; }},
        {Clock, 1024, [](const TSystemInfo& i) -> int64_t { return i.clockMHz; }},
        {Cores, 32, [](const TSystemInfo& i) -> int64_t { return i.corecount; }},
        {Siblings, 32, [](const TSystemInfo& i) -> int64_t { return i.siblingcount; }},
        {Boot, 64, [](const TSystemInfo& i) -> int64_t { return i.boottime; }},
        {Which, 64, [](const TSystemInfo& i) -> int64_t { return i.lx_distributor.empty() ? 0 : 7; }},
    };
    for (auto& c : Cases) {
        const auto zeros = [&](size_t more) { return std::string(c.limit - 3 + more, '0'); };
        EXPECT_EQ(c.value(infoOf(command(c.command, zeros(0) + "7"))), 7) << c.command;
        EXPECT_EQ(c.value(infoOf(command(c.command, zeros(1) + "7"))), 0) << c.command;
    }
    for (auto& [name, value] : {std::pair{Memory, &TSystemInfo::memoryMB}, {Swap, &TSystemInfo::swapMB}}) {
        EXPECT_EQ(infoOf(command(name, std::string(1018, '0') + "2048")).*value, 2);
        EXPECT_EQ(infoOf(command(name, std::string(1018, '0') + "20480")).*value, 2);
    }
}

TEST(Info, NumbersAreCutToTheirWidth) {
    EXPECT_EQ(infoOf(command(Clock, "4294969695.9")).clockMHz, 2399);
    EXPECT_EQ(infoOf(command(Clock, "3000000000")).clockMHz, -1294967296);
    EXPECT_EQ(infoOf(command(Boot, "4294967300")).boottime, 4);
    EXPECT_EQ(infoOf(command(Boot, "2147483648")).boottime, -2147483648LL);
    EXPECT_EQ(infoOf(command(Memory, "4398046511104")).memoryMB, 4294967296);
    EXPECT_EQ(infoOf(command(Memory, "-1025")).memoryMB, -1); // toward zero
    EXPECT_EQ(infoOf(command(Logical, "none")).lcpucount, 0);
}

// Beyond the years that the C library can represent there is no date.
TEST(Info, BootTimeWithoutADate) {
    Made machine("");
    TSystemInfo info;
    info.boottime = std::numeric_limits<int64_t>::max();
    EXPECT_NE(printed([&] { dispSystemInfo(info); }).find("\n      Boot Time    : , 9223372036854775807\n"),
              std::string::npos);
}
