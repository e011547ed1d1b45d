#include "base/figures.h"
#include "why/rules.h"

#include <algorithm>

namespace {
// Where the CPU time of the machine went, microseconds.
struct Machine {
    double cpus = 1, used = 0, system = 0, interrupts = 0, steal = 0, all = 0;
    double busy() const { return percent(used + steal, all); }
};
} // namespace

static Machine machineOf(const CpuRow& row) {
    Machine machine;
    machine.cpus = std::max(number(row.cpus), 1.0);
    machine.system = number(row.system_us), machine.steal = number(row.steal_us);
    machine.interrupts = number(row.irq_us) + number(row.softirq_us);
    machine.used = number(row.user_us) + number(row.nice_us) + machine.system + machine.interrupts;
    machine.all = machine.used + machine.steal + number(row.idle_us) + number(row.iowait_us);
    return machine;
}

// A task whose group has used up its quota counts as one that waits for a CPU, however idle the CPUs are.
static bool anyThrottled(const Interval& interval) {
    return std::any_of(interval.cgroups.rows.begin(), interval.cgroups.rows.end(),
                       [](auto& group) { return number(group.throttled_periods) > 0; });
}

// --- Culprits

// "2.2 CPUs, waited 1.4 s, nice 19"
static std::string usageText(const Interval& interval, const ProcRow& process) {
    const double cpus = perSecond(number(process.cpu_us), interval.processes) / 1e6;
    std::string text = cpus >= 0.995 ? fixedText(cpus, 1) + " CPUs" : fixedText(cpus * 100, 0) + "% of a CPU";
    if (number(process.wait_us) >= 50000) {
        join(text, "waited " + fixedText(number(process.wait_us) / 1e6, 1) + " s");
        if (number(process.threads) > 1) text += " over " + countText(number(process.threads)) + " threads";
    }
    if (process.nice.value_or(0) > 0) join(text, "nice " + std::to_string(*process.nice));
    return text;
}

static bool isIn(const ProcRow& process, std::string_view group) {
    return group.empty() || isBelow(process.cgroup, group);
}

// The CPU time of all processes of a group; of the machine when it has no name.
static void addUsers(const Scene& scene, std::string_view group, Finding& finding) {
    // A nice process takes what is left over. It counts for less in the order than one that is not.
    constexpr double Nice = 1.0 / 3;
    for (auto& process : scene.interval.processes.rows) {
        if (!isIn(process, group)) continue;
        if (number(process.cpu_us) > 0) {
            auto& own = finding.culprits.emplace_back(culpritOf(process, number(process.cpu_us)));
            if (process.nice.value_or(0) > 0) own.order *= Nice;
            own.row.evidence = usageText(scene.interval, process);
        }
        if (number(process.children_us) > 0) {
            auto& children = finding.culprits.emplace_back(culpritOf(process, number(process.children_us)));
            children.row.role = "children";
            children.row.evidence = childrenText(scene.interval, process);
        }
    }
}

static void addWaiting(const Scene& scene, std::string_view group, Finding& finding) {
    constexpr double Least = 0.02; // of the interval
    const auto& processes = scene.interval.processes;
    std::vector<Sufferer> waiting;
    for (auto& process : processes.rows)
        if (isIn(process, group) && number(process.wait_us) >= Least * static_cast<double>(processes.elapsed_us))
            waiting.push_back({&process, number(process.wait_us) / 1e6});
    addSufferers(finding, std::move(waiting), "waited for a CPU", "s");
}

static void blameUsers(const Scene& scene, Finding& finding) {
    const auto& interval = scene.interval;
    const auto machine = machineOf(*interval.cpu.one());
    const auto* all = interval.processesTotal.one();
    finding.total = all && all->used_us ? number(all->used_us) : machine.used;
    finding.why.total_unit = "us";
    addUsers(scene, {}, finding);
    // Interrupts are charged to nobody.
    const double interrupts = all && all->irq_us ? number(all->irq_us) : machine.interrupts;
    auto& culprit = finding.culprits.emplace_back();
    culprit.row.name = "interrupts", culprit.row.mark = '~';
    culprit.amount = culprit.order = interrupts;
    if (interval.processes.rest) {
        auto& others = finding.culprits.emplace_back();
        others.row.name = "processes without a row", others.row.mark = '=';
        others.amount = number(interval.processes.rest->cpu_us) + number(interval.processes.rest->children_us);
    }
    addWaiting(scene, {}, finding);
}

static void blameHost(const Scene&, Finding& finding) {
    finding.rest = "other guests of the same host, which cannot be seen from here";
}

// --- The machine's CPUs

static void addFigures(const Scene& scene, const Machine& machine, const CpuRow& row, Finding& finding) {
    auto& text = finding.why.text;
    if (finding.why.rule != "cpu.queue")
        join(text, "run queue " + countText(number(row.running)) + " on " + countText(machine.cpus) + " CPUs");
    join(text, "used " + fixedText(machine.busy(), 1) + "%");
    join(text, "sys " + fixedText(percent(machine.system, machine.all), 1) + "%");
    if (machine.steal > 0) join(text, "steal " + fixedText(percent(machine.steal, machine.all), 1) + "%");
    const double forks = perSecond(number(row.forks), scene.interval.cpu);
    if (scene.limits.isBeyond(Rule::ForksRate, forks))
        join(text, countText(forks) + " forks/s (" + limitText(Rule::ForksRate, scene.limits[Rule::ForksRate]) + ")",
             "; ");
}

void judgeCpu(Scene& scene) {
    const auto* row = scene.interval.cpu.one();
    if (!row || scene.interval.cpu.elapsed_us <= 0) return;
    constexpr double Idle = 75, Busy = 90; // percent of the CPUs that are used
    const auto machine = machineOf(*row);
    const auto stall = stallOf(scene.interval, "cpu");
    const double queue = number(row->running) / machine.cpus;
    if (stall) {
        const bool throttled = machine.busy() < Idle && anyThrottled(scene.interval);
        if (throttled) scene.approach(Rule::CpuStall, "CPU", "", stall->some, machine.busy());
        else if (scene.measure(Rule::CpuStall, "CPU", "", stall->some)) {
            auto& finding = scene.add(Rule::CpuStall, "CPU", "", stall->some, stall->some);
            finding.why.figure = "stalled some";
            finding.blame = blameUsers;
            addFigures(scene, machine, *row, finding);
        }
    } else {
        const bool beyond = scene.limits.isBeyond(Rule::CpuQueue, queue) && number(row->running) > machine.cpus;
        scene.approach(Rule::CpuQueue, "CPU", "", queue,
                       std::min(scene.limits.nearness(Rule::CpuQueue, queue), percent(machine.busy(), Busy)));
        if (beyond && machine.busy() >= Busy) {
            auto& finding = scene.add(Rule::CpuQueue, "CPU", "", queue, std::min(queue * 20, 95.0));
            finding.why.figure = "tasks for each CPU";
            finding.blame = blameUsers;
            addFigures(scene, machine, *row, finding);
        }
    }
    const double steal = percent(machine.steal, machine.all);
    if (scene.limits.isBeyond(Rule::CpuSteal, steal)) {
        auto& finding = scene.add(Rule::CpuSteal, "CPU", "steal", steal, steal + 1);
        finding.why.figure = "taken by the host";
        finding.why.text = "used " + fixedText(percent(machine.used, machine.all), 1) + "%";
        finding.blame = blameHost;
    }
}

// --- Quotas

static void blameGroup(const Scene& scene, Finding& finding) {
    const auto& group = scene.interval.cgroups.rows[finding.at];
    finding.total = number(group.cpu_us);
    finding.why.total_unit = "us";
    addUsers(scene, group.path, finding);
    addWaiting(scene, group.path, finding);
}

static std::string quotaText(const Scene& scene, const CgroupRow& group) {
    const auto& groups = scene.interval.cgroups;
    std::string text = "used " + fixedText(perSecond(number(group.cpu_us), groups) / 1e6, 2);
    if (group.quota) text += " of " + fixedText(*group.quota, 2);
    text += " CPUs";
    if (number(group.cpu_some_us) > 0 && groups.elapsed_us > 0)
        join(text,
             "stalled " + stallText({percent(number(group.cpu_some_us), static_cast<double>(groups.elapsed_us)),
                                     percent(number(group.cpu_full_us), static_cast<double>(groups.elapsed_us))})
                              .substr(8),
             "; ");
    return text;
}

static std::string hostText(const Scene& scene) {
    const auto* row = scene.interval.cpu.one();
    if (!row) return {};
    const double idle = 100 - machineOf(*row).busy();
    const std::string text = "the machine is " + fixedText(idle, 0) + "% idle";
    return idle >= 25 ? text + ": the limit is the cause, not the host" : text;
}

void judgeQuotas(Scene& scene) {
    const auto& groups = scene.interval.cgroups;
    for (size_t i = 0; i < groups.rows.size(); i++) {
        const auto& group = groups.rows[i];
        Finding* finding = nullptr;
        if (number(group.periods) > 0) {
            const double throttled = percent(number(group.throttled_periods), number(group.periods));
            if (!scene.measure(Rule::QuotaThrottled, "QUOTA", group.path, throttled)) continue;
            finding = &scene.add(Rule::QuotaThrottled, "QUOTA", group.path, throttled, throttled * 0.8);
            finding->why.figure = "periods throttled";
        } else if (!group.periods && group.quota && *group.quota > 0 && groups.elapsed_us > 0) {
            const double used = percent(number(group.cpu_us), *group.quota * static_cast<double>(groups.elapsed_us));
            if (!scene.measure(Rule::QuotaUsed, "QUOTA", group.path, used)) continue;
            finding = &scene.add(Rule::QuotaUsed, "QUOTA", group.path, used, 60);
            finding->why.figure = "used of its quota";
        } else {
            continue;
        }
        finding->at = i;
        finding->why.text = quotaText(scene, group);
        finding->why.note = hostText(scene);
        finding->blame = blameGroup;
    }
}
