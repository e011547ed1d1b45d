#include "wyrtlog/chart/consumers.h"

#include "view/format.h"

#include <algorithm>
#include <unordered_set>

// What a forged log can make us keep.
static constexpr size_t MostLevels = 200000;

// --- Processes

// CPU time that was used, whoever did it, in microseconds. What the host took away (steal) was used by nobody here.
static double usedCpu(const Interval& interval) {
    const auto* row = interval.cpu.one();
    return row ? valueOf(row->user_us) + valueOf(row->nice_us) + valueOf(row->system_us) + valueOf(row->irq_us) +
                     valueOf(row->softirq_us)
               : 0;
}

// Calls f(row) for each process, and for those together that found no room.
template <typename F> static void eachProcess(const Interval& interval, const F& f) {
    for (auto& row : interval.processes.rows) f(row);
    if (interval.processes.rest) f(*interval.processes.rest);
}

void ConsumerCharts::addProcesses(const Interval& interval, int64_t time_ms) {
    const auto elapsed_us = static_cast<double>(interval.processesTotal.elapsed_us);
    if (elapsed_us <= 0) return;
    const double seconds = elapsed_us / 1e6;
    // Children that lived shortly are part of their parent.
    const auto cpuOf = [](const ProcRow& row) { return valueOf(row.cpu_us) + valueOf(row.children_us); };
    const auto waitOf = [](const ProcRow& row) { return valueOf(row.wait_us); };
    const auto ioOf = [](const ProcRow& row) { return valueOf(row.read_bytes) + valueOf(row.write_bytes); };
    const auto addTop = [&](Top& top, const auto& amountOf, double factor, double least) {
        double whole = 0;
        parts.clear();
        eachProcess(interval, [&](const ProcRow& row) {
            const double amount = amountOf(row) * factor;
            whole += amount;
            if (amount > 0 && &row != (interval.processes.rest ? &*interval.processes.rest : nullptr))
                parts.push_back({processes.find(row.name, row.unit, row.pid), static_cast<float>(amount)});
        });
        top.add(time_ms, seconds, std::max(whole, least), parts);
    };
    addTop(cpu, cpuOf, 100 / elapsed_us, usedCpu(interval) * 100 / elapsed_us);
    addTop(wait, waitOf, 100 / elapsed_us, 0);
    addTop(io, ioOf, 1 / seconds, 0);
    // Connections whose process is not known are in the sums of the namespaces only.
    const auto tcpOf = [](const ProcRow& row) { return valueOf(row.tcp_received) + valueOf(row.tcp_sent); };
    double tcp = 0;
    for (auto& row : interval.namespaces.rows) tcp += valueOf(row.received) + valueOf(row.sent);
    if (!interval.namespaces.rows.empty()) addTop(network, tcpOf, 1 / seconds, tcp / seconds);
}

void ConsumerCharts::addProcessMemory(const Interval& interval, int64_t time_ms) {
    const auto* all = interval.processesTotal.one();
    // Now and then all have rows, the first time of each log file.
    if (all && interval.processes.rows.size() >= all->processes) processMemory.clear();
    for (auto& row : interval.exits.rows) {
        const auto known = processMemory.find(row.pid);
        if (known != processMemory.end() && known->second.start == row.start) processMemory.erase(known);
    }
    for (auto& row : interval.processes.rows) {
        const auto& bytes = row.anonymous ? row.anonymous : row.rss;
        if (!bytes || (processMemory.size() >= MostLevels && !processMemory.contains(row.pid))) continue;
        processMemory[row.pid] = {processes.find(row.name, row.unit, row.pid), row.start, static_cast<float>(*bytes)};
    }
    const auto* machine = interval.memory.one();
    if (!machine || !machine->anonymous) return;
    parts.clear();
    for (auto& [pid, level] : processMemory) parts.push_back({level.member, level.bytes});
    memory.add(time_ms, static_cast<double>(interval.elapsed_us) / 1e6, valueOf(machine->anonymous), parts);
}

// --- Groups

// Groups without a group below them: the figures of the others are sums.
static std::vector<const CgroupRow*> leavesOf(const Interval& interval) {
    std::unordered_set<std::string_view> parents;
    for (auto& row : interval.cgroups.rows)
        for (std::string_view path = row.path; path.find('/') != path.npos;)
            if (path = path.substr(0, path.rfind('/')); !parents.insert(path).second) break;
    std::vector<const CgroupRow*> leaves;
    for (auto& row : interval.cgroups.rows)
        if (row.path != "/" && !parents.contains(row.path)) leaves.push_back(&row);
    return leaves;
}

void ConsumerCharts::addGroups(const Interval& interval, int64_t time_ms) {
    const auto elapsed_us = static_cast<double>(interval.cgroups.elapsed_us);
    const double seconds = elapsed_us / 1e6;
    const auto* all = interval.cgroupsTotal.one();
    if (all && interval.cgroups.rows.size() >= all->groups) groupsMemory.clear();
    const auto leaves = leavesOf(interval);
    const auto find = [&](const CgroupRow& row) { return groups.find(row.name.empty() ? row.path : row.name, "", 0); };
    for (auto* row : leaves) {
        if (!row->memory || (groupsMemory.size() >= MostLevels && !groupsMemory.contains(row->path))) continue;
        groupsMemory[row->path] = {find(*row), 0, static_cast<float>(*row->memory)};
    }
    if (elapsed_us > 0) {
        const auto addTop = [&](Top& top, const auto& amountOf, double factor, double least) {
            double whole = 0;
            parts.clear();
            for (auto* row : leaves) {
                const double amount = amountOf(*row) * factor;
                whole += amount;
                if (amount > 0) parts.push_back({find(*row), static_cast<float>(amount)});
            }
            top.add(time_ms, seconds, std::max(whole, least), parts);
        };
        addTop(
            groupCpu, [](const CgroupRow& row) { return valueOf(row.cpu_us); }, 100 / elapsed_us,
            usedCpu(interval) * 100 / elapsed_us);
        addTop(
            groupIo, [](const CgroupRow& row) { return valueOf(row.read_bytes) + valueOf(row.write_bytes); },
            1 / seconds, 0);
    }
    if (groupsMemory.empty()) return;
    double whole = 0;
    parts.clear();
    for (auto& [path, level] : groupsMemory)
        parts.push_back({level.member, level.bytes}), whole += static_cast<double>(level.bytes);
    groupMemory.add(time_ms, static_cast<double>(interval.elapsed_us) / 1e6, whole, parts);
}

void ConsumerCharts::add(const Interval& interval, int64_t time_ms) {
    addProcesses(interval, time_ms);
    addProcessMemory(interval, time_ms);
    addGroups(interval, time_ms);
}

void ConsumerCharts::halve() {
    for (auto* top : {&cpu, &wait, &io, &memory, &network, &groupCpu, &groupIo, &groupMemory}) top->halve();
}

// --- All of them

// The largest, and what the others are together.
static void giveTop(const Top& top, const Members& members, Picture&& picture, std::vector<Picture>& all) {
    picture.stacked = true;
    picture.times = pointTimes(top.moments());
    auto others = std::vector<float>();
    for (auto& bucket : top.moments()) {
        others.push_back(bucket[0].whole);
        if (bucket[1].time_ms != bucket[0].time_ms) others.push_back(bucket[1].whole);
    }
    for (const auto member : top.largest()) {
        auto points = pointsOf(top.moments(), member);
        for (size_t i = 0; i < points.size(); i++) others[i] = std::max(0.0F, others[i] - points[i]);
        picture.series.push_back({members.text(member), std::move(points)});
    }
    if (std::any_of(others.begin(), others.end(), [](float point) { return point > 0; }))
        picture.series.push_back({"others", std::move(others)});
    addPicture(std::move(picture), all);
}

void ConsumerCharts::give(std::vector<Picture>& all) const {
    const auto process = [&](const Top& top, const char* title, const char* note, const char* unit) {
        giveTop(top, processes, {Section::Processes, title, note, unit, true, false, 0, {}, {}}, all);
    };
    process(cpu, "CPU time by process", "100% is one CPU; the others have interrupts, too", "%");
    process(wait, "Waits for a CPU by process", "100% is one thread that waited all the time", "%");
    process(io, "Storage I/O by process", "as they asked for it; what they wrote may reach the disks later", "B/s");
    process(memory, "Anonymous memory by process", "what only they use", "B");
    process(network, "TCP by process", "bytes sent and received", "B/s");
    const auto group = [&](const Top& top, const char* title, const char* note, const char* unit) {
        giveTop(top, groups, {Section::Groups, title, note, unit, true, false, 0, {}, {}}, all);
    };
    group(groupCpu, "CPU time by group", "100% is one CPU", "%");
    group(groupIo, "Storage I/O by group", "as the disks did it", "B/s");
    group(groupMemory, "Memory by group", "with their part of the page cache", "B");
}
