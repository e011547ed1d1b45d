#include "parse/volumegroups.h"

#include "parse/json.h"

#include <charconv>

// "1073741824B"
static std::optional<uint64_t> bytes(std::string_view text) {
    uint64_t size = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), size);
    if (read.ec != std::errc{} || std::string_view(read.ptr, text.data() + text.size()) != "B") return {};
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
