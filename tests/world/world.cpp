#include "tests/world/world.h"

#include "tests/world/lines.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

World* World::current = nullptr;

// --- Reading

static std::string fileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string World::normal(std::string_view path) {
    std::string result = path.starts_with('/') ? "" : ".";
    while (!path.empty()) {
        const auto part = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(part.size() + 1, path.size()));
        if (part == "..") result.resize(std::min(result.rfind('/'), result.size()));
        else if (!part.empty() && part != ".") result.append("/").append(part);
    }
    return result.empty() ? "/" : result;
}

// A directive becomes a list: its name, its words (the last one is the rest of the line) and its body, if it has one.
void World::load(const std::string& file) {
    std::istringstream text(fileText(file));
    const std::string folder = file.substr(0, file.rfind('/') + 1);
    int number = 0;
    for (std::string line; std::getline(text, line);) {
        number++;
        if (line.empty() || line[0] == '#') continue;
        std::string rest = line;
        const std::string name = cutWord(rest);
        if (name == "include") {
            load(rest.starts_with('/') ? rest : folder + rest);
            continue;
        }
        if (name == "step") {
            steps.resize(std::max(steps.size(), static_cast<size_t>(std::stoul(rest)) + 1));
            continue;
        }
        std::vector<std::string> directive{name};
        if (name == "file" || name == "command" || name == "netlink" || name == "notice" || name == "tool") {
            const auto mark = rest.rfind(" <<");
            if (mark == rest.npos) throw std::runtime_error(file + ":" + std::to_string(number) + ": no <<WORD");
            const std::string word = rest.substr(mark + 3);
            std::string body;
            while (std::getline(text, line) && line != word) number++, body.append(line).append("\n");
            directive.insert(directive.end(), {rest.substr(0, mark), body});
        } else if (name == "text") {
            const std::string path = cutWord(rest);
            directive.insert(directive.end(), {path, decoded(std::string_view(rest).substr(1, rest.size() - 2))});
        } else if (name == "copy") {
            const std::string path = cutWord(rest), from = cutWord(rest);
            directive.insert(directive.end(), {path, fileText(folder + from), rest});
        } else if (name == "commandcopy") {
            const std::string from = cutWord(rest);
            directive.insert(directive.end(), {rest, fileText(folder + from)});
        } else {
            directive.push_back(rest);
        }
        steps.back().push_back(directive);
    }
}

World::World(const std::string& folder) {
    steps.resize(1);
    make("/", TNode::Dir, "");
    make(".", TNode::Dir, "");
    load(folder + "/world");
    for (auto& directive : steps[0]) apply(directive);
    started = true;
    setenv("TZ", zone.c_str(), 1);
    current = this;
}

// --- Directives

void World::make(const std::string& path, TNode::Kind kind, std::string text) {
    if (path != "/" && path != ".") {
        const auto slash = path.rfind('/');
        const std::string parent = slash == 0 ? "/" : path.substr(0, slash);
        if (!nodes.count(parent)) make(parent, TNode::Dir, "");
        auto& entries = nodes[parent].entries;
        if (!nodes.count(path)) entries.push_back(path.substr(slash + 1));
    }
    auto& node = nodes[path];
    node.kind = kind;
    node.text = std::move(text);
    if (!node.inode) node.inode = nextInode++;
}

void World::drop(const std::string& path) {
    const auto slash = path.rfind('/');
    const auto parent = nodes.find(slash == 0 ? "/" : path.substr(0, slash));
    if (parent != nodes.end()) std::erase(parent->second.entries, path.substr(slash + 1));
    const auto below = [&](const std::string& other) { return other == path || other.starts_with(path + "/"); };
    std::erase_if(nodes, [&](auto& entry) { return below(entry.first); });
    std::erase_if(fails, [&](auto& entry) { return below(entry.first.second); });
    std::erase_if(slows, [&](auto& entry) { return below(entry.first); });
    std::erase_if(spaces, [&](auto& entry) { return below(entry.first); });
    std::erase_if(devices.facts, [&](auto& entry) { return below(entry.first); });
    std::erase_if(devices.openFiles, [&](auto& entry) { return below(entry.first); });
}

// The lines, cut to their first `count` words, as an older kernel would print them.
static std::string firstColumns(const std::string& text, size_t count) {
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line); result += "\n") {
        std::istringstream words(line);
        std::string word;
        result += "    ";
        for (size_t i = 0; i < count && words >> word; i++) result.append(i ? " " : "").append(word);
    }
    return result;
}

void World::apply(const std::vector<std::string>& directive) {
    const std::string& name = directive[0];
    std::string rest = directive[1];
    const auto path = [&] { return normal(decoded(cutWord(rest))); };
    if (name == "argv0") program = rest;
    else if (name == "tz") zone = rest;
    else if (name == "host") hostName = rest;
    else if (name == "hosterror") hostError = errnoByName(rest);
    else if (name == "terminal") terminal = true;
    else if (name == "pagesize") pageSize = std::stoi(rest);
    else if (name == "clocktick") clockTicks = std::stoi(rest);
    else if (name == "user") {
        const auto uid = static_cast<uint32_t>(std::stoll(cutWord(rest)));
        users[uid] = decoded(rest);
    } else if (name == "file" || name == "text") make(path(), TNode::File, directive[2]);
    else if (name == "copy")
        make(path(), TNode::File,
             directive[3].empty() ? directive[2] : firstColumns(directive[2], std::stoul(directive[3])));
    else if (name == "link") {
        const auto at = path();
        make(at, TNode::Link, decoded(rest));
    } else if (name == "dir") make(path(), TNode::Dir, "");
    else if (name == "inode") {
        const auto at = path();
        nodes.at(at).inode = std::stoull(rest);
    } else if (name == "gone") drop(path());
    else if (name == "fail" || name == "heal") {
        const auto operation = cutWord(rest);
        const auto at = path();
        if (name == "heal") fails.erase({operation, at});
        else fails[{operation, at}] = errnoByName(rest);
    } else if (name == "fs") {
        const auto at = path();
        if (!nodes.count(at)) make(at, TNode::Dir, "");
        TSpaceFacts facts;
        std::istringstream words(rest);
        words >> facts.bsize >> facts.blocks >> facts.bfree >> facts.bavail >> facts.files >> facts.ffree;
        std::string mode;
        facts.readOnly = words >> mode && mode == "ro";
        spaces[at] = facts;
    } else if (name == "disk") {
        const auto at = path();
        if (!nodes.count(at)) make(at, TNode::Dir, "");
        disks[at] = std::stoull(rest);
    } else if (name == "command" || name == "commandcopy") commands[directive[1]] = directive[2];
    else if (name == "nopipe") noPipes.insert(rest);
    else if (name == "endless") endlessCommands.insert(rest);
    else if (name == "slow") {
        const int ms = std::stoi(cutWord(rest));
        slows[path()] = ms;
    } else if (name == "slowcommand") {
        const int ms = std::stoi(cutWord(rest));
        slowCommands[rest] = ms;
    } else if (!applyClock(name, rest) && !applyDevice(name, rest, directive)) {
        throw std::runtime_error("unknown directive " + name);
    }
}

// --- Answers

const TNode* World::find(const std::string& path) const {
    auto found = nodes.find(path);
    if (found == nodes.end()) found = nodes.find(resolved(path, false));
    return found == nodes.end() ? nullptr : &found->second;
}

std::string World::resolved(std::string path, bool last) const {
    int links = 40; // as many as the kernel follows
    for (size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        if (end == path.npos && !last) return path;
        const auto found = nodes.find(path.substr(0, end));
        if (found != nodes.end() && found->second.kind == TNode::Link && links-- > 0) {
            const auto& target = found->second.text;
            const std::string parent = target.starts_with('/') ? "" : path.substr(0, path.rfind('/', end - 1) + 1);
            path = normal(parent + target + (end == path.npos ? "" : path.substr(end)));
            end = 0;
        } else if (end == path.npos) {
            return path;
        }
    }
}

int World::failure(const char* operation, const std::string& path) const {
    const auto found = fails.find({operation, path});
    return found == fails.end() ? 0 : found->second;
}

void World::open(const std::string& path) {
    if (watch) watch(path);
    if (const auto found = slows.find(path); found != slows.end()) advance(found->second * 1000);
}

bool World::run(const std::string& command, std::string& text) {
    log += "run " + command + "\n";
    if (watch) watch(command);
    if (noPipes.count(command)) return false;
    if (const auto found = slowCommands.find(command); found != slowCommands.end()) advance(found->second * 1000);
    const auto found = commands.find(command);
    text = found == commands.end() ? "" : found->second;
    return true;
}

bool World::space(const std::string& path, TSpaceFacts& facts) const {
    const auto found = spaces.find(path);
    facts = found == spaces.end() ? TSpaceFacts{} : found->second;
    if (const auto* disk = diskOf(path); disk && found == spaces.end()) {
        const uint64_t all = disk->second / DiskBlock, used = std::min(all, usedOf(disk->first));
        facts = {DiskBlock, all, all - used, all - used, 1000000, 1000000};
    }
    return true;
}

const std::string* World::user(uint32_t uid) const {
    const auto found = users.find(uid);
    return found == users.end() ? nullptr : &found->second;
}

void World::advance(int64_t microseconds) {
    now += microseconds;
    clocks.monotonic += microseconds;
    clocks.boot += microseconds;
}

void World::nextStep() {
    if (++reached >= steps.size()) throw TKilled{};
    for (auto& directive : steps[reached]) apply(directive);
}

void World::pause(unsigned microseconds) {
    log += "pause " + std::to_string(microseconds) + "\n";
    advance(microseconds);
    nextStep();
}

int World::remove(const std::string& path) {
    log += "remove " + path + "\n";
    const std::string at = normal(path);
    if (const int error = failure("remove", at)) return error;
    const auto* node = find(at);
    if (!node) return ENOENT;
    if (node->kind == TNode::Dir) return EISDIR;
    drop(at);
    return 0;
}
