#include "model/lvmname.h"

#include <algorithm>

LvmName splitLvmName(std::string_view name) {
    LvmName parts;
    std::string* part = &parts.group;
    for (size_t i = 0; i < name.size(); i++) {
        if (name[i] == '-' && i + 1 < name.size() && name[i + 1] == '-') i++;
        else if (name[i] == '-' && part != &parts.layer) {
            part = part == &parts.group ? &parts.volume : &parts.layer;
            continue;
        }
        *part += name[i];
    }
    return parts;
}

bool isLvm(std::string_view uuid) { return uuid.starts_with("LVM-"); }

// What follows the identities of group and volume, 32 letters each.
static std::string_view suffix(std::string_view uuid) { return uuid.substr(std::min<size_t>(uuid.size(), 68)); }

// "name_rimage_0": LVM lets nobody else use these words.
static bool hasLegName(std::string_view name) {
    auto end = name.find_last_not_of("0123456789");
    if (end == name.npos) return false;
    const bool numbered = end + 1 < name.size() && name[end] == '_';
    const auto stem = numbered ? name.substr(0, end) : name;
    if (numbered)
        for (const auto* word : {"_rimage", "_rmeta", "_mimage", "_mimagetmp", "_vorigin"})
            if (stem.ends_with(word)) return true;
    for (const auto* word : {"_mlog", "_tdata", "_tmeta", "_cdata", "_cmeta", "_cvol", "_corig", "_wcorig", "_imeta",
                             "_iorig", "_vdata", "_pmspare"})
        if (stem.ends_with(word)) return true;
    return name.substr(0, end + 1).ends_with("-pvmove");
}

bool isHiddenLvm(std::string_view name, std::string_view uuid) {
    if (!isLvm(uuid)) return false;
    const auto layer = suffix(uuid);
    return (!layer.empty() && layer != "-pool") || hasLegName(name);
}

std::string_view layerOwner(std::string_view name, std::string_view uuid) {
    for (const std::string_view layer : {"-tpool", "-real"})
        if (isLvm(uuid) && suffix(uuid) == layer && name.ends_with(layer))
            return name.substr(0, name.size() - layer.size());
    return {};
}
