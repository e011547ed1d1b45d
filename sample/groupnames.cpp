#include "sample/groupnames.h"

#include "base/numbers.h"

#include <algorithm>
#include <cerrno>

static constexpr size_t MostText = 16 << 20; // bytes of a file or of a directory's names
static constexpr size_t MostDocker = 32;     // files in a round
static constexpr int64_t Patience = 1000000; // microseconds
static constexpr const char *ContainerLogs = "/var/log/containers", *PodLogs = "/var/log/pods";
static constexpr const char* Podman = "/var/lib/containers/storage/overlay-containers/containers.json";
static constexpr const char* Docker = "/var/lib/docker/containers/"; // ID/config.v2.json

// --- A round

bool GroupNames::want(const GroupName& group) {
    if (group.kind == GroupKind::Pod) return wantPods = true;
    if (group.runtime == GroupRuntime::Docker) {
        if (wantDocker.size() >= MostDocker) return false;
        wantDocker.push_back(group.id);
    }
    return wantContainers = true;
}

void GroupNames::ask(Reading& reading) const {
    Question question;
    question.kind = reading.kind;
    question.words = {reading.path};
    question.patience_us = Patience;
    question.from = reading.from;
    reading.ticket = helper.ask(std::move(question));
}

void GroupNames::add(Question::Kind kind, const std::string& path, const std::string& id) {
    ask(readings.emplace_back(Reading{kind, root.path(path), id, 0, 0, {}}));
}

void GroupNames::start() {
    if (!readings.empty()) return;
    if (wantContainers) add(Question::Kind::Names, ContainerLogs), add(Question::Kind::File, Podman);
    if (wantPods) add(Question::Kind::Names, PodLogs);
    for (auto& id : wantDocker) add(Question::Kind::File, Docker + id + "/config.v2.json", id);
    wantContainers = wantPods = false;
    wantDocker.clear();
    helper.pump(); // the answers come during the pause
}

// Takes the next piece. What is late, forbidden or not there has no names.
bool GroupNames::isDone(Reading& reading) {
    if (!reading.ticket) return true;
    Answer answer;
    const auto state = helper.take(reading.ticket, answer);
    if (state == Helper::State::Queued || state == Helper::State::Asked) return false;
    if (state == Helper::State::Late) helper.forget(reading.ticket);
    reading.ticket = 0;
    if (state != Helper::State::Answered) return true;
    forbidden += answer.error == EACCES || answer.error == EPERM;
    if (answer.error) return true;
    reading.text += answer.text;
    const bool names = reading.kind == Question::Kind::Names;
    reading.from +=
        names ? static_cast<uint64_t>(std::count(answer.text.begin(), answer.text.end(), '\n')) : answer.text.size();
    if (!answer.cut || answer.text.empty() || reading.text.size() >= MostText) return true;
    ask(reading);
    return false;
}

bool GroupNames::take() {
    if (readings.empty()) return false;
    bool done = true;
    for (auto& reading : readings) done = isDone(reading) && done;
    if (!done) return false;
    pods.clear(), containers.clear();
    for (auto& reading : readings) keepNames(reading);
    readings.clear();
    return true;
}

// --- Names

void GroupNames::keepNames(const Reading& reading) {
    if (reading.text.empty()) return;
    if (!reading.id.empty()) {
        if (auto name = dockerName(reading.text); !name.empty()) containers[reading.id] = std::move(name);
        return;
    }
    if (reading.kind == Question::Kind::File) {
        for (auto& known : podmanNames(reading.text)) containers.emplace(known.id, known.name);
        return;
    }
    const bool ofPods = reading.path == root.path(PodLogs);
    std::string_view text = reading.text;
    for (std::string_view line; takeLine(text, line);)
        if (auto known = ofPods ? parsePodLog(line) : parseContainerLog(line))
            (ofPods ? pods : containers).emplace(std::move(known->id), std::move(known->name));
}

std::string_view GroupNames::find(const GroupName& group) const {
    const auto& names = group.kind == GroupKind::Pod ? pods : containers;
    const auto found = names.find(group.id);
    return found == names.end() ? std::string_view() : found->second;
}
