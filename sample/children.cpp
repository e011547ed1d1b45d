#include "sample/children.h"

void Children::set(uint32_t slot, int parent) {
    if (slot >= links.size()) links.resize(size_t{slot} + 1);
    auto& link = links[slot];
    if (link.parent == parent) return;
    if (link.before != None) links[link.before].after = link.after;
    else if (link.parent && link.after != None) first[link.parent] = link.after;
    else if (link.parent) first.erase(link.parent);
    if (link.after != None) links[link.after].before = link.before;
    link = Link();
    if (!parent) return;
    link.parent = parent;
    const auto [found, isNew] = first.try_emplace(parent, slot);
    if (isNew) return;
    link.after = found->second;
    links[link.after].before = slot;
    found->second = slot;
}

void Children::find(int parent, std::vector<uint32_t>& slots) const {
    const auto found = first.find(parent);
    if (found == first.end()) return;
    for (auto slot = found->second; slot != None; slot = links[slot].after) slots.push_back(slot);
}
