// The lists of volume groups, logical and physical volumes that reports of the volume tools fill.
#pragma once

#include "classic/collect/volumes.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

// They are empty before each test.
class Lvm : public testing::Test {
protected:
    void SetUp() override {
        vglist.clear();
        lvlist.clear();
        pvlist.clear();
    }
};

// When a line has two keys, the first one in the list of keys decides, wherever it is in the line. The other key has no
// effect. `values` returns the record that a line makes, as text.
inline void expectOrder(const std::vector<std::string>& keys, std::string (*values)(const std::string& line)) {
    for (size_t first = 0; first < keys.size(); first++)
        for (size_t second = first + 1; second < keys.size(); second++) {
            const auto rest = "  " + keys[first] + "   7 / 77";
            const auto alone = values(std::string(keys[second].size(), '.') + rest);
            EXPECT_EQ(values(keys[second] + rest), alone) << keys[second] << " before " << keys[first];
            EXPECT_NE(values(keys[second] + "  .........  7 / 77"), alone) << keys[second];
        }
}

// What a record says of its segments, as text.
inline std::string extentsOf(const std::vector<TSegment>& segments) {
    std::string all;
    for (auto& s : segments) {
        for (int number : {s.lext[0], s.lext[1], s.pext[0], s.pext[1]}) all.append(",").append(std::to_string(number));
        all.append(",").append(s.name.view()).append(",").append(s.type.view());
    }
    return all;
}
