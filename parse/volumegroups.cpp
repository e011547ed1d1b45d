#include "parse/volumegroups.h"

#include "base/numbers.h"
#include "parse/json.h"

// "1073741824B"
static std::optional<uint64_t> bytes(std::string_view text) {
    uint64_t size = 0;
    if (!text.ends_with('B') || !toNumber(text.substr(0, text.size() - 1), size)) return {};
    return size;
}

std::optional<std::vector<VolumeGroup>> parseVolumeGroups(std::string_view text) {
    const auto json = parseJson(text);
    if (!json || (*json)["report"].kind != Json::Array) return {};
    std::vector<VolumeGroup> groups;
    for (auto& report : (*json)["report"].items)
        for (auto& group : report["vg"].items)
            if (!group["vg_name"].text.empty())
                groups.push_back({group["vg_name"].text, bytes(group["vg_size"].text), bytes(group["vg_free"].text),
                                  group["vg_attr"].text});
    return groups;
}
