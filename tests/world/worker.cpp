// The made-up machine behind base/worker.h: its helpers answer in line, after the delays of the world.
#include "base/worker.h"

#include "tests/world/world.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <linux/netlink.h>

static World& world() { return *World::current; }
static TDevices& devices() { return World::current->devices; }

static void setText(const TQuestion& question, const TNode& node, Answer& answer) {
    constexpr size_t Most = 65536;
    std::string text = node.text;
    size_t from = question.from;
    if (question.kind == static_cast<int>(Question::Kind::Names)) {
        text.clear();
        for (const auto& name : node.entries) text += name + "\n";
        from = 0;
        for (uint64_t passed = 0; passed < question.from && from < text.size(); passed++)
            from = text.find('\n', from) + 1;
    }
    from = std::min(from, text.size());
    answer.text = text.substr(from, Most);
    answer.cut = text.size() - from > Most;
}

static Answer answerOf(const TQuestion& question) {
    Answer answer;
    const auto path = World::normal(question.words);
    if (question.kind == static_cast<int>(Question::Kind::Space)) {
        answer.error = world().failure("statfs", path);
        if (answer.error == 0 && !world().find(path)) answer.error = ENOENT;
        TSpaceFacts facts;
        if (answer.error == 0) world().space(path, facts);
        answer.space = {facts.bsize, facts.blocks, facts.bfree, facts.bavail, facts.files, facts.ffree, facts.readOnly};
    } else if (question.kind == static_cast<int>(Question::Kind::Sockets)) {
        const auto* there = world().find(path);
        const auto name = there ? there->text : std::string(); // net:[4026531840]
        answer.error = world().failure("link", path);
        const auto inode = name.size() < 7 ? std::string() : name.substr(5, name.size() - 6);
        if (answer.error == 0 && inode != std::to_string(question.from)) answer.error = ENOENT;
        if (answer.error) return answer;
        const auto messages = socketsAnswer(devices(), question.request, inode);
        if (const auto cookie = devices().netCookies.find(inode); cookie != devices().netCookies.end())
            answer.netns = cookie->second;
        const bool unknown = messages.error == ENOENT || messages.error == EINVAL; // such a protocol or family
        answer.error = unknown ? 0 : messages.error;
        answer.cut = messages.interrupted;
        answer.text = messages.bytes;
    } else if (question.kind == static_cast<int>(Question::Kind::Speed)) {
        const auto found = devices().speeds.find(question.words);
        if (found == devices().speeds.end()) answer.error = EOPNOTSUPP;
        else answer.mbit = found->second;
    } else {
        const auto* node = world().find(path);
        if (world().watch) world().watch(path);
        answer.error = world().failure("open", path);
        if (answer.error == 0 && !node) answer.error = ENOENT;
        if (answer.error == 0) setText(question, *node, answer);
    }
    return answer;
}

bool Worker::start() {
    fd = ++devices().lastHandle;
    devices().helpers[fd];
    world().log += "helper\n";
    return true;
}

Worker::~Worker() {
    if (fd >= 0 && World::current) devices().helpers.erase(fd);
}

void Worker::kill() {}

bool Worker::isGone() { return true; }

bool Worker::send(const Question& question, uint64_t number) {
    const std::string words = question.words.empty() ? "" : question.words[0];
    const std::string request = question.words.size() > 1 ? question.words[1] : "";
    devices().helpers.at(fd).push_back(
        {number, static_cast<int>(question.kind), words, 0, question.from, request, {}, 0, false});
    return true;
}

// The first question when its time has come; null: it has not.
static TQuestion* dueQuestion(int handle) {
    const int64_t now = world().clocks.monotonic, ready = devices().readyAt(handle, now);
    return ready < 0 || ready > now ? nullptr : &devices().helpers.at(handle).front();
}

// How many bytes the next messages of an answer have, as many as the kernel gives at once.
static size_t nextPiece(std::string_view left) {
    constexpr size_t Most = 32768;
    size_t size = 0;
    nlmsghdr header;
    while (size + sizeof header <= left.size()) {
        memcpy(&header, left.data() + size, sizeof header);
        if (header.nlmsg_len < sizeof header) return left.size(); // made up to be wrong
        const size_t next = size + NLMSG_ALIGN(header.nlmsg_len);
        if (size > 0 && next > Most) break;
        size = next;
    }
    return std::min(size, left.size());
}

// An answer about sockets comes in pieces, as from a real worker, and then an empty one. True: it is whole.
static bool takePiece(TQuestion& due, Answer& answer) {
    if (due.messages.empty()) {
        answer = answerOf(due);
        const bool sockets = due.kind == static_cast<int>(Question::Kind::Sockets);
        if (!sockets || answer.error || answer.text.empty()) return true;
        due.messages.swap(answer.text), due.cut = answer.cut, due.netns = answer.netns;
    }
    answer = Answer();
    answer.cut = due.cut, answer.netns = due.netns;
    answer.text = due.messages.substr(due.given, nextPiece(std::string_view(due.messages).substr(due.given)));
    due.given += answer.text.size();
    answer.more = !answer.text.empty();
    return !answer.more;
}

Came Worker::receive(Answer& answer, uint64_t& number) {
    auto* due = dueQuestion(fd);
    if (!due) return Came::Nothing;
    number = due->number;
    if (takePiece(*due, answer)) devices().helpers.at(fd).pop_front();
    return Came::Answer;
}

// --- Tools

bool Tool::start(const Question& question) {
    if (question.words.empty()) return errno = EINVAL, false;
    std::string words;
    for (const auto& word : question.words) words.append(words.empty() ? "" : " ").append(word);
    world().log += "tool " + words + "\n";
    fd = ++devices().lastHandle;
    devices().helpers[fd].push_back({0, static_cast<int>(Question::Kind::Tool), words, 0, 0, "", {}, 0, false});
    most = question.most;
    return true;
}

Tool::~Tool() {
    if (fd >= 0 && World::current) devices().helpers.erase(fd);
}

void Tool::kill() { killed = true; }

Came Tool::receive(Answer& to) {
    if (killed) return Came::End;
    const auto* due = dueQuestion(fd);
    if (!due) return Came::Nothing;
    const auto output = devices().tools.find(due->words);
    const auto status = devices().statuses.find(due->words);
    to = Answer();
    to.status = status != devices().statuses.end() ? status->second : output == devices().tools.end() ? 127 : 0;
    if (output != devices().tools.end()) to.text = output->second.substr(0, most);
    to.cut = output != devices().tools.end() && output->second.size() > most;
    devices().helpers.at(fd).pop_front();
    return Came::Answer;
}
