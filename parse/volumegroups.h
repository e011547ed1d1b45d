// The output of `vgs --reportformat json --units b`: the volume groups with their sizes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct VolumeGroup {
    std::string name;
    std::optional<uint64_t> size_bytes, free_bytes;
    std::string attributes; // "wz--n-": the fourth letter is p when a physical volume is missing
    bool partial() const { return attributes.size() > 3 && attributes[3] == 'p'; }
};

// None when the text is no report of groups.
std::optional<std::vector<VolumeGroup>> parseVolumeGroups(std::string_view json);
