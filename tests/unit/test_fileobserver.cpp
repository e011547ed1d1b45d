// Random machines: an observer that reads every descriptor in each sample finds nothing that the area `file` missed,
// but for what is stated: files that somebody moved who is gone, and which only idle processes have, are found in turn.
#include "model/file.h"
#include "sample/file.h"
#include "tests/unit/made.h"

#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {
struct File { // an open file
    uint64_t number = 0, inode = 0, position = 0;
    size_t holders = 0; // descriptors
};
using FilePtr = std::shared_ptr<File>;

struct Actor { // a process
    uint64_t start = 0, read = 0;
    bool ran = false, fresh = true;
    std::map<uint32_t, FilePtr> files;
};

// What the observer saw of one sample.
struct Seen {
    std::vector<Ran> ran;
    std::vector<ProcRow> processes;
    std::map<std::pair<uint64_t, uint64_t>, std::pair<uint64_t, uint64_t>> files; // file and position by descriptor
};

class Machine {
    std::mt19937_64 random;
    const bool compares; // the kernel compares open files; otherwise no two have the same inode
    std::map<int, Actor> actors;
    std::map<std::string, std::string> written; // directives by descriptor, as the world has them
    uint64_t files = 0, starts = 1000;
    int pids = 100;

    uint64_t any(uint64_t below) { return random() % below; }

public:
    std::string lines;
    std::vector<Seen> seen;
    Machine(uint64_t seed, bool kernelCompares) : random(seed), compares(kernelCompares) {
        for (int i = 0; i < 6; i++) begin();
        for (auto& [pid, actor] : actors)
            for (int i = 0; i < 3; i++) open(actor);
        record();
    }

    void begin() { actors[freePid()].start = starts++; }
    int freePid() {
        int pid = 0;
        do pid = pids + static_cast<int>(any(20));
        while (actors.count(pid));
        return pid;
    }
    void put(Actor& actor, const FilePtr& file) {
        uint32_t number = 3;
        while (actor.files.count(number) || any(3) == 0) number++;
        actor.files[number] = file;
        file->holders++;
    }
    void open(Actor& actor) {
        auto file = std::make_shared<File>();
        file->number = ++files;
        file->inode = compares ? 1 + any(6) : files;
        put(actor, file);
    }
    void close(Actor& actor, uint32_t number) {
        actor.files[number]->holders--;
        actor.files.erase(number);
    }
    void move(Actor& actor, File& file) {
        const uint64_t bytes = 1 + any(1000);
        if (any(8) == 0 && file.holders == 1) file.position = any(file.position + 1);
        else file.position += bytes, actor.read += bytes;
    }
    void fork(Actor& parent) {
        Actor child;
        child.start = starts++, child.ran = true;
        child.files = parent.files;
        for (auto& [number, file] : child.files) file->holders++;
        actors[freePid()] = child;
    }
    void end(int pid) {
        for (auto& [number, file] : actors[pid].files) file->holders--;
        actors.erase(pid);
    }
    // Something that a process does; it runs for that.
    void act(int pid) {
        auto& actor = actors[pid];
        actor.ran = true;
        if (actor.files.empty()) return open(actor);
        auto chosen = actor.files.begin();
        std::advance(chosen, static_cast<long>(any(actor.files.size())));
        switch (any(12)) {
        case 0:
            return open(actor);
        case 1:
            return close(actor, chosen->first);
        case 2: { // dup and close
            const auto file = chosen->second;
            put(actor, file);
            return close(actor, chosen->first);
        }
        case 3:
            if (actors.size() < 10) fork(actor);
            return;
        case 4:
            if (actors.size() > 4) end(pid);
            return;
        default:
            return move(actor, *chosen->second);
        }
    }
    void step() {
        for (auto& [pid, actor] : actors) actor.ran = actor.fresh = false, actor.read = 0;
        std::vector<int> all;
        for (auto& [pid, actor] : actors) all.push_back(pid);
        for (const int pid : all)
            if (any(2) == 0) act(pid);
        if (any(10) == 0) begin();
        for (auto& [pid, actor] : actors) actor.ran |= actor.fresh;
        lines += "step " + std::to_string(seen.size()) + "\n";
        record();
    }
    // The directives of what has changed, and what the observer sees.
    void record() {
        std::map<std::string, std::string> now;
        auto& sight = seen.emplace_back();
        for (auto& [pid, actor] : actors) {
            const std::string process = std::to_string(pid);
            now["/proc/" + process + "/fdinfo"] = "dir /proc/" + process + "/fdinfo\n";
            for (auto& [number, file] : actor.files) {
                const std::string name = process + "/fd/" + std::to_string(number);
                const std::string info = "/proc/" + process + "/fdinfo/" + std::to_string(number);
                now[info] = "file " + info + " <<END\npos:\t" + std::to_string(file->position) +
                            "\nflags:\t02\nmnt_id:\t20\nino:\t" + std::to_string(file->inode) + "\nEND\n";
                now["/proc/" + name] =
                    "link /proc/" + name + " /data/x\nstatx /proc/" + name + " inode=" + std::to_string(file->inode) +
                    "\n" + (compares ? "openfile /proc/" + name + " " + std::to_string(file->number) + "\n" : "");
                sight.files[{static_cast<uint64_t>(pid), number}] = {file->number, file->position};
            }
            if (!actor.ran && seen.size() > 1) continue;
            sight.ran.push_back({pid, actor.start, 1, actor.fresh, false, 'S'});
            ProcRow row;
            row.pid = static_cast<uint64_t>(pid), row.start = actor.start, row.name = "actor";
            row.read_chars = actor.read, row.write_chars = 0;
            sight.processes.push_back(row);
        }
        for (auto& [path, text] : written)
            if (!now.count(path)) lines += "gone " + path + "\n";
        for (auto& [path, text] : now)
            if (const auto old = written.find(path); old == written.end() || old->second != text) lines += text;
        written = std::move(now);
    }
};

// What the observer knows of a file: where the sampler saw it last.
using Known = std::map<uint64_t, uint64_t>;

void compare(const Seen& sight, const Rows<FileRow>& rows, Known& known) {
    std::map<uint64_t, const FileRow*> reported;
    for (auto& row : rows.rows) {
        const auto found = sight.files.find({row.pid, row.descriptor});
        ASSERT_NE(found, sight.files.end()) << "a row of a descriptor that is not there";
        const auto [other, isNew] = reported.emplace(found->second.first, &row);
        ASSERT_TRUE(isNew) << "two rows of one open file: " << row.pid << " " << row.descriptor << " " << row.evidence
                           << ", " << other->second->pid << " " << other->second->descriptor << " "
                           << other->second->evidence;
        EXPECT_EQ(row.position, found->second.second);
    }
    std::set<uint64_t> active, there;
    for (auto& process : sight.ran)
        for (auto& [descriptor, file] : sight.files)
            if (descriptor.first == static_cast<uint64_t>(process.pid)) active.insert(file.first);
    for (auto& [descriptor, file] : sight.files) {
        const auto [number, position] = file;
        if (!there.insert(number).second) continue;
        const auto before = known.find(number);
        const auto row = reported.find(number);
        if (before == known.end()) { // opened since
            ASSERT_EQ(row != reported.end(), position > 0) << "file " << number;
            known[number] = position;
            continue;
        }
        if (row == reported.end()) {
            ASSERT_TRUE(position == before->second || !active.count(number))
                << "file " << number << " at " << position << " was at " << before->second;
            continue;
        }
        const auto last = before->second;
        EXPECT_EQ(row->second->forward, position > last ? position - last : 0) << "file " << number;
        EXPECT_EQ(row->second->backward, position < last ? last - position : 0) << "file " << number;
        EXPECT_EQ(row->second->evidence == "passed", !active.count(number)) << "file " << number;
        before->second = position;
    }
    std::erase_if(known, [&](auto& item) { return !there.count(item.first); });
}
} // namespace

static void observe(uint64_t seed, bool compares) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    constexpr int Steps = 40;
    Machine machine(seed, compares);
    for (int i = 0; i < Steps; i++) machine.step();
    Made made("file /proc/self/mountinfo <<END\n20 1 8:1 / / rw - ext4 /dev/sda1 rw\nEND\n" + machine.lines);
    FileSampler sampler{Root()};
    FileSample now;
    Known known;
    sampler.sample(machine.seen[0].ran, now);
    for (auto& [descriptor, file] : machine.seen[0].files) known[file.first] = file.second;
    uint64_t exact = 0;
    std::map<std::pair<uint64_t, uint64_t>, uint64_t> transferred; // by process
    for (size_t i = 1; i < machine.seen.size(); i++) {
        made.step();
        const auto& sight = machine.seen[i];
        Rows<ProcRow> processes;
        processes.rows = sight.processes;
        for (auto& row : sight.processes) {
            auto& read = transferred[{row.pid, row.start}];
            read += *row.read_chars;
            const auto path = "/proc/" + std::to_string(row.pid) + "/task/" + std::to_string(row.pid) + "/io";
            made.world.truncate(path, 0);
            made.world.append(path, "rchar: " + std::to_string(read) +
                                        "\nwchar: 0\nsyscr: 1\nsyscw: 1\nread_bytes: 0\nwrite_bytes: 0\n"
                                        "cancelled_write_bytes: 0\n");
        }
        sampler.sample(sight.ran, now);
        Rows<FilesRow> all;
        Rows<FileRow> rows;
        fileRows(now, processes, all, rows);
        compare(sight, rows, known);
        if (testing::Test::HasFatalFailure()) FAIL() << "in sample " << i;
        for (auto& row : rows.rows) exact += row.mark == "=";
    }
    EXPECT_GT(exact, 0U);
}

TEST(FileObserver, NothingIsMissed) {
    for (uint64_t seed = 1; seed <= 40; seed++) {
        observe(seed, true);
        if (HasFatalFailure()) return;
    }
}

TEST(FileObserver, NothingIsMissedWhereTheKernelDoesNotCompare) {
    for (uint64_t seed = 1; seed <= 40; seed++) {
        observe(seed, false);
        if (HasFatalFailure()) return;
    }
}
