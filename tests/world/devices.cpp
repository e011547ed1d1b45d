// Directives of clocks, sockets, terminal and helpers, and the waiting of the made-up machine.
#include "tests/world/devices.h"

#include "tests/world/lines.h"
#include "tests/world/world.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

// --- Clocks

// SECONDS, or SECONDS and up to six digits of a fraction; microseconds.
static int64_t microsecondsOf(const std::string& text) {
    const auto point = text.find('.');
    std::string fraction = point == text.npos ? "" : text.substr(point + 1);
    fraction.resize(6, '0');
    return std::stoll(text.substr(0, point)) * 1000000 + std::stoll(fraction);
}

bool World::applyClock(const std::string& name, std::string rest) {
    if (name == "clock") {
        const int64_t before = now;
        now = microsecondsOf(rest);
        if (!started || now < before) return true; // the first reading, or a clock that was set back
        clocks.monotonic += now - before;
        clocks.boot += now - before;
    } else if (name == "mono") clocks.monotonic = microsecondsOf(rest);
    else if (name == "boot") clocks.boot = microsecondsOf(rest);
    else if (name == "clockstep") now += std::stoll(rest) * 1000;
    else if (name == "asleep") {
        now += std::stoll(rest) * 1000;
        clocks.boot += std::stoll(rest) * 1000;
    } else if (name == "owncpu") clocks.own = std::stoull(rest);
    else if (name == "pid") clocks.pid = std::stoi(rest);
    else if (name == "nocpuclocks") clocks.matchProc = false;
    else if (name == "cpuclock") {
        const int pid = std::stoi(cutWord(rest));
        if (rest == "gone") clocks.cpu.erase(pid);
        else clocks.cpu[pid] = std::stoull(rest);
    } else return false;
    return true;
}

// --- Sockets

static int protocolOf(const std::string& name) {
    if (name == "route") return NETLINK_ROUTE;
    if (name == "sockdiag") return NETLINK_SOCK_DIAG;
    if (name == "uevent") return NETLINK_KOBJECT_UEVENT;
    if (name == "taskstats") return NETLINK_GENERIC;
    throw std::runtime_error("unknown netlink protocol " + name);
}

static uint32_t groupsOf(const std::string& key) {
    if (key == "exits") return 1;
    if (key == "ended") return 1 | 4; // of TCP, both families
    if (key == "links") return RTMGRP_LINK;
    if (key == "addresses") return RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
    return static_cast<uint32_t>(std::stoul(key));
}

void tellAll(TDevices& devices, int protocol, uint32_t groups, const std::string& news) {
    for (auto& [handle, socket] : devices.sockets)
        if (socket.protocol == protocol && (socket.groups & groups)) socket.news.push_back(news);
}

// ACTION DEVPATH KEY=VALUE...: strings that end in NUL, as the kernel sends them.
static std::string ueventOf(std::string rest) {
    const std::string action = cutWord(rest), path = decoded(cutWord(rest));
    std::string text = action + "@" + path;
    const auto add = [&](const std::string& one) { text.append(1, '\0').append(one); };
    add("ACTION=" + action);
    add("DEVPATH=" + path);
    while (!rest.empty()) add(decoded(cutWord(rest)));
    return text.append(1, '\0');
}

// --- Everything else

static int signalOf(const std::string& name) {
    static const std::map<std::string, int> Known = {{"INT", SIGINT},   {"TERM", SIGTERM},   {"HUP", SIGHUP},
                                                     {"PIPE", SIGPIPE}, {"WINCH", SIGWINCH}, {"CONT", SIGCONT}};
    const auto known = Known.find(name);
    if (known == Known.end()) throw std::runtime_error("unknown signal " + name);
    return known->second;
}

static void comes(TDevices& devices, int signal) {
    if (signal == SIGPIPE) devices.pipeClosed = true;
    else if (signal == SIGWINCH || signal == SIGCONT) devices.resized = true;
    else if (devices.end == 0) devices.end = signal;
}

static void setDevice(const std::string& value, uint32_t& major, uint32_t& minor) {
    major = static_cast<uint32_t>(std::stoul(value));
    minor = static_cast<uint32_t>(std::stoul(value.substr(value.find(':') + 1)));
}

static void setFacts(TFileFacts& facts, std::string rest) {
    while (!rest.empty()) {
        const std::string word = cutWord(rest), value = word.substr(word.find('=') + 1);
        if (word.starts_with("size=")) facts.size = std::stoull(value);
        else if (word.starts_with("mtime=")) facts.modified = microsecondsOf(value) * 1000;
        else if (word.starts_with("dev=")) setDevice(value, facts.major, facts.minor);
        else if (word.starts_with("rdev=")) setDevice(value, facts.deviceMajor, facts.deviceMinor);
        else if (word.starts_with("inode=")) facts.inode = std::stoull(value);
        else if (word.starts_with("links=")) facts.links = static_cast<uint32_t>(std::stoul(value));
        else if (word.starts_with("type=") && value.size() == 1) facts.type = value[0];
        else throw std::runtime_error("unknown word of statx: " + word);
    }
}

bool World::applyDevice(const std::string& name, std::string rest, const std::vector<std::string>& directive) {
    if (name == "kernel") devices.release = rest;
    else if (name == "machine") devices.machine = rest;
    else if (name == "size") {
        const int columns = std::stoi(cutWord(rest));
        devices.size = {columns, std::stoi(rest)};
    } else if (name == "keys") devices.keys += decoded(rest);
    else if (name == "signal") comes(devices, signalOf(rest));
    else if (name == "early" || name == "late") return true; // read before the step comes
    else if (name == "taskstats") {
        devices.taskstats.kind = rest == "silent" ? TTaskstats::Silent : TTaskstats::Works;
        devices.taskstats.refusal = rest.empty() || rest == "silent" ? 0 : errnoByName(rest);
    } else if (name == "netlink" || name == "notice") {
        const std::string protocol = cutWord(rest), key = rest;
        const auto messages = encodeMessages(protocol, directive[2]);
        if (name == "netlink") devices.answers[protocol + " " + key] = messages;
        else tellAll(devices, protocolOf(protocol), groupsOf(key), messages.bytes);
    } else if (name == "nonetlink") {
        const int protocol = protocolOf(cutWord(rest));
        devices.noSockets[protocol] = errnoByName(rest);
    } else if (name == "overrun") {
        for (auto& [handle, socket] : devices.sockets)
            if (socket.protocol == protocolOf(rest)) socket.lost++;
    } else if (name == "uevent") tellAll(devices, NETLINK_KOBJECT_UEVENT, 1, ueventOf(rest));
    else if (name == "statx") {
        const auto path = normal(decoded(cutWord(rest)));
        setFacts(devices.facts[path], rest);
    } else if (name == "openfile") {
        const auto path = normal(decoded(cutWord(rest)));
        devices.openFiles[path] = std::stoull(rest);
    } else if (name == "hang") devices.hung.insert(decoded(rest));
    else if (name == "unhang") devices.hung.erase(decoded(rest));
    else if (name == "answerafter") {
        const int64_t ms = std::stoll(cutWord(rest));
        devices.delays[decoded(rest)] = ms * 1000;
    } else if (name == "netcookie") {
        const auto inode = cutWord(rest);
        devices.netCookies[inode] = std::stoull(rest);
    } else if (name == "speed") {
        const auto interface = decoded(cutWord(rest));
        devices.speeds[interface] = std::stoll(rest);
    } else if (name == "tool") devices.tools[directive[1]] = directive[2];
    else if (name == "toolstatus") {
        const int status = std::stoi(cutWord(rest));
        devices.statuses[rest] = status;
    } else return false;
    return true;
}

// --- Waiting

int64_t TDevices::readyAt(int handle, int64_t now) {
    const auto found = helpers.find(handle);
    if (found == helpers.end() || found->second.empty()) return -1;
    auto& first = found->second.front();
    if (hung.count(first.words)) return first.since = 0, -1;
    if (first.since == 0) first.since = now;
    const auto delay = delays.find(first.words);
    return first.since + (delay == delays.end() ? 0 : delay->second);
}

bool TDevices::isReady(int handle, int64_t now) {
    if (handle == KeysHandle) return !keys.empty();
    if (const auto socket = sockets.find(handle); socket != sockets.end())
        return !socket->second.news.empty() || socket->second.lost > 0;
    const int64_t ready = readyAt(handle, now);
    return ready >= 0 && ready <= now;
}

static int64_t millisecondsIn(const std::vector<std::vector<std::string>>& step, const char* name) {
    for (const auto& directive : step)
        if (directive[0] == name) return std::stoll(directive[1]);
    return -1;
}

void World::wait(int64_t deadline, const std::function<bool()>& woken, const std::function<int64_t()>& soonest) {
    const int64_t start = clocks.monotonic;
    log += "wait " + std::to_string(std::max<int64_t>(0, deadline - start)) + "\n";
    const auto passTo = [&](int64_t moment) { advance(std::max<int64_t>(0, moment - clocks.monotonic)); };
    for (;;) {
        if (woken()) return;
        int64_t early = -1, late = 0;
        if (reached + 1 < steps.size()) {
            early = millisecondsIn(steps[reached + 1], "early");
            late = std::max<int64_t>(0, millisecondsIn(steps[reached + 1], "late"));
        }
        const bool before = early >= 0 && start + early * 1000 < deadline;
        const int64_t step = before ? start + early * 1000 : deadline + late * 1000;
        if (const int64_t ready = soonest(); ready >= 0 && ready < std::min(step, deadline)) {
            passTo(ready);
            continue;
        }
        passTo(step);
        nextStep();
        if (!before) return;
    }
}

// --- Files that are written

const std::pair<const std::string, uint64_t>* World::diskOf(const std::string& path) const {
    for (const auto& disk : disks)
        if (path == disk.first || path.starts_with(disk.first + "/")) return &disk;
    return nullptr;
}

static uint64_t blocksOf(size_t bytes) { return (bytes + DiskBlock - 1) / DiskBlock; }

uint64_t World::usedOf(const std::string& disk) const {
    uint64_t used = 0;
    const std::string below = disk + "/";
    for (auto node = nodes.lower_bound(below); node != nodes.end() && node->first.starts_with(below); ++node)
        if (node->second.kind == TNode::File) used += blocksOf(node->second.text.size());
    return used;
}

// On a full disk a part of the text is written, as by the kernel.
int World::append(const std::string& path, std::string_view text) {
    if (const int error = failure("write", path)) return error;
    if (!nodes.count(path)) make(path, TNode::File, "");
    auto& content = nodes[path].text;
    size_t room = text.size();
    if (const auto* disk = diskOf(path)) {
        const uint64_t all = disk->second / DiskBlock, used = usedOf(disk->first), own = blocksOf(content.size());
        const uint64_t most = (all > used ? all - used + own : own) * DiskBlock;
        room = std::min<uint64_t>(room, most - content.size());
    }
    content += text.substr(0, room);
    if (!saved.empty()) std::ofstream(saved + path.substr(path.rfind('/')), std::ios::binary) << content;
    return room < text.size() ? ENOSPC : 0;
}

int World::truncate(const std::string& path, uint64_t size) {
    if (!nodes.count(path)) make(path, TNode::File, "");
    nodes[path].text.resize(size);
    return append(path, "");
}

int World::makeFolder(const std::string& path) {
    if (const int error = failure("make", path)) return error;
    if (!nodes.count(path)) make(path, TNode::Dir, "");
    return nodes[path].kind == TNode::Dir ? 0 : EEXIST;
}

int World::makeLink(const std::string& path, const std::string& target) {
    if (const int error = failure("make", path)) return error;
    if (nodes.count(path)) return EEXIST;
    make(path, TNode::Link, target);
    return 0;
}

int World::rename(const std::string& from, const std::string& to) {
    if (const int error = failure("rename", from)) return error;
    const auto found = nodes.find(from);
    if (found == nodes.end()) return ENOENT;
    const TNode moved = found->second;
    if (moved.kind == TNode::Dir) return EISDIR;
    drop(from);
    drop(to);
    make(to, moved.kind, moved.text);
    nodes[to].inode = moved.inode;
    if (!saved.empty() && moved.kind == TNode::File)
        std::ofstream(saved + to.substr(to.rfind('/')), std::ios::binary) << moved.text;
    return 0;
}
