#include "why/rules.h"

#include <algorithm>

static void blameUnknown(const Scene& scene, Finding& finding) {
    finding.rest = "what they wait for is not known";
    addBlocked(scene, finding);
}

void judgeBlocked(Scene& scene) {
    const auto* cpu = scene.interval.cpu.one();
    const auto* all = scene.interval.processesTotal.one();
    if (!(cpu && cpu->blocked) && !all) return;
    const double blocked = cpu && cpu->blocked ? number(cpu->blocked) : static_cast<double>(all->blocked);
    const bool explained = std::any_of(scene.findings.begin(), scene.findings.end(), [](auto& finding) {
        const auto& why = finding.why;
        return why.resource == "DISK" || why.resource == "MEMORY" || why.rule == textOf(Rule::FsStuck).name;
    });
    if (explained || !scene.limits.isBeyond(Rule::BlockedTasks, blocked)) return;
    auto& finding = scene.add(Rule::BlockedTasks, "BLOCKED", "", blocked, 40);
    finding.why.figure = "tasks blocked";
    finding.blame = blameUnknown;
}
