// The made-up machine behind base/pager.h: a pager can be run if /usr/bin has it, and shows everything.
#include "base/pager.h"

#include "tests/world/world.h"

void Pager::finish() { process = -1; }

bool Pager::start(const std::vector<std::string>& words) {
    if (words.empty() || !World::current->find("/usr/bin/" + words[0])) return false;
    World::current->log += "pager";
    for (auto& word : words) World::current->log += " " + word;
    World::current->log += "\n";
    process = 1;
    return true;
}
