// What a process is: its account, group, command line and limits.
#include "sample/procread.h"

#include "base/filestatus.h"
#include "base/numbers.h"
#include "parse/groupname.h"

#include <cstdio>

static constexpr std::string_view lastPart(std::string_view path) { return path.substr(path.rfind('/') + 1); }

// The container or pod that the path leads through, else the innermost unit or session.
static void setUnit(std::string_view path, ProcGroup& group) {
    for (GroupKind best = GroupKind::Group; path.size() > 1; path = path.substr(0, path.rfind('/'))) {
        const auto parent = path.substr(0, path.rfind('/'));
        const auto what = nameGroup(lastPart(parent), lastPart(path));
        const bool outer = what.kind == GroupKind::Container || what.kind == GroupKind::Pod;
        const bool inner = what.kind == GroupKind::Unit || what.kind == GroupKind::Scope;
        if (!outer && (!inner || best != GroupKind::Group)) continue;
        constexpr size_t Short = 12; // digits of an id that people know
        best = what.kind;
        group.unit = !what.name.empty() ? what.name : !what.id.empty() ? what.id.substr(0, Short) : lastPart(path);
        if (outer) return void(group.container = what);
    }
}

void ProcReader::askForName(ProcGroup& group) {
    constexpr uint8_t MostTries = 4; // a runtime may write the name after it has made the group
    if (!group.container.id.empty() && group.tries < MostTries && names.want(group.container)) group.tries++;
}

void ProcReader::takeNames() {
    if (names.take())
        for (auto& [path, group] : groups) {
            const auto name = group->container.id.empty() ? std::string_view() : names.find(group->container);
            if (!name.empty()) group->unit = name, group->container.id.clear();
        }
    names.start();
}

std::shared_ptr<const ProcGroup> ProcReader::groupOf(std::string_view path) {
    if (const auto found = groups.find(path); found != groups.end()) return found->second;
    auto group = std::make_shared<ProcGroup>();
    group->path = path;
    setUnit(path, *group);
    askForName(*group);
    return groups.emplace(group->path, group).first->second;
}

void ProcReader::readGroup(Process& process) {
    if (read(process.pid, "cgroup") != ProcAnswer::Good) return;
    const auto path = parseProcessGroup(text.view());
    if (!process.group || process.group->path != path) process.group = groupOf(path);
}

static void setCommand(Process& process, std::string_view text) {
    auto command = parseCommandLine(text, ProcReader::MostCommand);
    if (!command.empty()) process.command = std::move(command); // one that is ending has none
}

// The kernel waits for the lock of the process's memory. A process of one thread holds it only while it runs or is
// blocked; of others any thread can. For these the helper waits.
void ProcReader::readCommand(Process& process) {
    if (process.kernel || process.state == 'Z') return;
    if (process.threads > 1 || process.state == 'D') return askForCommand(process);
    constexpr size_t Most = 65536; // bytes: arguments may have megabytes, which the buffer would keep
    if (read(process.pid, "cmdline", Reading::Whole, Most) == ProcAnswer::Good) setCommand(process, text.view());
}

void ProcReader::askForCommand(Process& process) {
    if (process.asked || asked.size() >= MostAsked) return; // asked again in its turn
    Question question;
    question.kind = Question::Kind::File;
    question.words = {root.path("/proc/" + std::to_string(process.pid) + "/cmdline")};
    asked.push_back({helper.ask(std::move(question)), process.pid, process.start});
    process.asked = true;
}

void ProcReader::takeAnswers(const std::function<Process*(int pid)>& find) {
    takeNames();
    users.pass();
    std::erase_if(asked, [&](const Asked& one) {
        Answer answer;
        const auto state = helper.take(one.ticket, answer);
        if (state == Helper::State::Queued || state == Helper::State::Asked) return false;
        if (state == Helper::State::Late) helper.forget(one.ticket);
        auto* process = find(one.pid);
        if (!process || process->start != one.start) return true;
        process->asked = false;
        if (state == Helper::State::Answered && answer.error == 0) setCommand(*process, answer.text);
        return true;
    });
}

void ProcReader::readLimits(Process& process) {
    if (process.kernel) return;
    const auto number = [&](const char* file) -> std::optional<int64_t> {
        int64_t value = 0;
        if (read(process.pid, file) != ProcAnswer::Good) return {};
        auto rest = text.view();
        return takeNumber(rest, value) ? std::optional(value) : std::nullopt;
    };
    process.oom_adjust = number("oom_score_adj");
    process.oom_score = number("oom_score");
    if (read(process.pid, "limits") == ProcAnswer::Good) process.descriptor_limit = parseFileLimit(text.view());
}

void ProcReader::readDescriptors(Process& process) {
    if (!countsDescriptors || process.kernel) return;
    snprintf(place, sizeof place, "%d/fd", process.pid);
    FileStatus status;
    process.descriptors.reset();
    if (getFileStatus(directory, place, status)) process.descriptors = status.size;
}
