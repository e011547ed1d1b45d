#include "sample/churn.h"

#include "base/clock.h"
#include "base/held.h"
#include "base/program.h"
#include "parse/attributes.h"

#include <algorithm>
#include <cerrno>

#include <linux/genetlink.h>

// linux/taskstats.h
static constexpr std::string_view FamilyName("TASKSTATS\0", 10);
static constexpr uint8_t Get = 1;
static constexpr uint16_t Register = 3;

// The reports of several seconds of a storm have room.
static constexpr int Room = 32 << 20; // bytes
// Processes whose first thread has ended and whose others go on for ever must not fill the memory.
static constexpr size_t MostFirsts = 4096;

ChurnSampler::ChurnSampler(const Root& where) : root(where), state(begin()) {}

NoReports tryReports(const Root& root) { return ChurnSampler(root).reports(); }

NoReports ChurnSampler::begin() {
    if (root.isOther()) return NoReports::OtherRoot;
    if (!socket.open(NETLINK_GENERIC, 0, Room)) return NoReports::Unknown;
    auto request = genericRequest(GENL_ID_CTRL, CTRL_CMD_GETFAMILY, false, CTRL_ATTR_FAMILY_NAME, FamilyName);
    std::optional<uint16_t> family;
    if (socket.ask(request, message) == Asked::Whole)
        eachMessage(message.view(), [&](uint16_t type, std::string_view payload) {
            if (type == GENL_ID_CTRL) family = parseFamily(payload, FamilyName.substr(0, FamilyName.size() - 1));
        });
    const auto none = [&](NoReports why) {
        socket.close();
        return why;
    };
    if (!family) return none(NoReports::Unknown);
    HeldFile possible("/sys/devices/system/cpu/possible");
    std::string cpus("0");
    if (possible.read(message, Reading::Single)) cpus = message.view().substr(0, message.view().find('\n'));
    cpus += '\0';
    request = genericRequest(*family, Get, true, Register, cpus);
    if (socket.ask(request, message) == Asked::Failed)
        return none(errno == EPERM || errno == EACCES ? NoReports::Refused
                    : errno == EINVAL                 ? NoReports::OtherNamespace // of pids or users
                                                      : NoReports::Unknown);
    // In another network namespace the kernel agrees, and no report ever comes. One must come of a child that ends.
    const auto child = endedChild();
    const bool seen = child && takeMessages(static_cast<uint32_t>(*child));
    reported.clear();
    return seen ? NoReports::None : none(NoReports::OtherNamespace);
}

// True: among them is the end of the awaited thread.
bool ChurnSampler::takeMessages(uint32_t awaited) {
    bool seen = false;
    while (socket.take(message))
        eachMessage(message.view(), [&](uint16_t, std::string_view payload) {
            const auto task = parseEndedTask(payload);
            if (!task) return;
            seen |= task->pid == awaited;
            add(*task);
        });
    return seen;
}

void ChurnSampler::add(const EndedTask& task) {
    const bool first = task.pid == task.process;
    if (!task.last) {
        if (!first) return;
        if (firsts.size() >= MostFirsts) firsts.clear();
        firsts[task.process] = {task.status, task.name};
        return;
    }
    if (reported.size() >= MostReports) return void(full = true);
    auto& process = reported.emplace_back();
    process.pid = task.process, process.parent = task.parent, process.uid = task.uid;
    process.status = task.status, process.name = task.name;
    process.cpu_ns = task.cpu_ns, process.life_us = task.life_us;
    const auto kept = firsts.find(task.process);
    if (kept == firsts.end()) return;
    if (!first) process.status = kept->second.status, process.name = kept->second.name;
    firsts.erase(kept);
}

void ChurnSampler::look() {
    constexpr int64_t Every = 5000000; // microseconds: some thousand ends a second have room
    takeMessages(0);
    lookAt = getMonotonic() + Every;
}

void ChurnSampler::sample(ChurnSample& now) {
    now.at_us = getMonotonic();
    now.ended.clear();
    now.reported = state == NoReports::None;
    now.lost = 0;
    if (!now.reported) return;
    look();
    now.ended.swap(reported);
    now.lost = socket.overruns() - overruns + (full ? 1 : 0);
    overruns = socket.overruns();
    full = false;
}
