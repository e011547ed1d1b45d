// Children by their parents, compared with a plain list.
#include "sample/children.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

static std::vector<uint32_t> childrenOf(const Children& children, int parent) {
    std::vector<uint32_t> slots;
    children.find(parent, slots);
    std::sort(slots.begin(), slots.end());
    return slots;
}

TEST(Children, OfOneParent) {
    Children children;
    EXPECT_TRUE(childrenOf(children, 1).empty());
    children.set(3, 1), children.set(0, 1), children.set(9, 1), children.set(4, 7);
    EXPECT_EQ(childrenOf(children, 1), (std::vector<uint32_t>{0, 3, 9}));
    children.set(0, 1); // as it was
    children.remove(3);
    children.remove(3);
    children.set(9, 7);
    EXPECT_EQ(childrenOf(children, 1), std::vector<uint32_t>{0});
    EXPECT_EQ(childrenOf(children, 7), (std::vector<uint32_t>{4, 9}));
    children.remove(0);
    EXPECT_TRUE(childrenOf(children, 1).empty());
    EXPECT_TRUE(childrenOf(children, 0).empty()); // processes without a parent are nobody's
}

TEST(Children, WhateverHappens) {
    const auto seed = std::random_device()();
    std::mt19937 random(seed);
    Children children;
    std::map<uint32_t, int> parents;
    for (int step = 0; step < 3000; step++) {
        const auto slot = static_cast<uint32_t>(random() % 40);
        const auto parent = static_cast<int>(random() % 6);
        children.set(slot, parent);
        parents[slot] = parent;
        const auto asked = static_cast<int>(random() % 5) + 1;
        std::vector<uint32_t> expected;
        for (auto& [child, of] : parents)
            if (of == asked) expected.push_back(child);
        ASSERT_EQ(childrenOf(children, asked), expected) << "seed " << seed << ", step " << step;
    }
}
