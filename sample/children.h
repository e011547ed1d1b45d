// Which processes are whose children, so that those of a process that ended are found without looking at all others.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

class Children {
    static constexpr uint32_t None = UINT32_MAX;
    struct Link {
        int parent = 0; // pid; 0: it has none
        uint32_t before = None, after = None;
    };
    std::vector<Link> links;                 // by slot
    std::unordered_map<int, uint32_t> first; // slot, by the pid of the parent

public:
    // The process in this slot is a child of this one now.
    void set(uint32_t slot, int parent);
    // The process in this slot is no more.
    void remove(uint32_t slot) { set(slot, 0); }
    // Adds the slots of the children of a process.
    void find(int parent, std::vector<uint32_t>& slots) const;
};
