// The names of containers and pods, from the files of their runtimes. They are asked for in the helper process: the
// files may lie on storage that does not answer.
#pragma once

#include "base/helper.h"
#include "base/root.h"
#include "parse/groupname.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Works in rounds: want() collects what has no name yet, start() asks for all of it at once, and some passes later
// take() has what the files say.
class GroupNames {
    // One file or directory, piece by piece.
    struct Reading {
        Question::Kind kind;
        std::string path;
        std::string id; // of the container whose file it is; empty: it is about many
        Helper::Ticket ticket = 0;
        uint64_t from = 0;
        std::string text;
    };
    Root root;
    Helper& helper;
    uint64_t forbidden = 0;
    bool wantContainers = false, wantPods = false;
    std::vector<std::string> wantDocker; // ids
    std::vector<Reading> readings;       // of the round
    std::map<std::string, std::string, std::less<>> pods, containers;

    void ask(Reading& reading) const;
    void add(Question::Kind kind, const std::string& path, const std::string& id = {});
    bool isDone(Reading& reading);
    void keepNames(const Reading& reading);

public:
    GroupNames(const Root& where, Helper& asked) : root(where), helper(asked) {}
    // Notes that this container or pod has no name. False: the next round has no room for it.
    bool want(const GroupName& group);
    // Asks for what is wanted, unless a round is under way.
    void start();
    // True: a round has ended, and find() has its names until the next one.
    bool take();
    // Empty: no file has a name for it.
    std::string_view find(const GroupName& group) const;
    uint64_t notAllowed() const { return forbidden; }
};
