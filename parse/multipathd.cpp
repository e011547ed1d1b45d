#include "parse/multipathd.h"

#include "parse/json.h"

static void addPaths(const Json& group, MultipathMap& map) {
    for (auto& path : group["paths"].items) {
        if (path["dev"].text.empty()) continue;
        map.paths.push_back({.device = path["dev"].text,
                             .dm = path["dm_st"].text,
                             .deviceState = path["dev_st"].text,
                             .checker = path["chk_st"].text,
                             .group = static_cast<unsigned>(group["group"].whole().value_or(0)),
                             .groupState = group["dm_st"].text});
    }
}

std::optional<std::vector<MultipathMap>> parseMultipathMaps(std::string_view text) {
    const auto json = parseJson(text);
    if (!json || (*json)["maps"].kind != Json::Array) return {};
    std::vector<MultipathMap> maps;
    for (auto& map : (*json)["maps"].items) {
        if (map["sysfs"].text.empty()) continue;
        maps.push_back({map["name"].text, map["sysfs"].text, map["dm_st"].text, {}});
        for (auto& group : map["path_groups"].items) addPaths(group, maps.back());
    }
    return maps;
}
