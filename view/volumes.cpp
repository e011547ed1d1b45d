#include "view/volumes.h"

#include "view/format.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

static constexpr size_t DeepestMap = 32; // levels; no real map has ten, a damaged log may have a circle

// The rows by the device that they are about.
struct DeviceMap {
    std::map<std::string_view, const VolumeRow*> volumes;
    std::map<std::string_view, std::vector<const HoldsRow*>> above; // by what is held
    std::map<std::string_view, std::vector<const MountRow*>> mounts;
    std::set<std::string_view> standing; // on something

    explicit DeviceMap(const Interval& interval) {
        for (auto& row : interval.volumes.rows) volumes[row.dev] = &row;
        for (auto& edge : interval.holds.rows) {
            if (!volumes.count(edge.holder) || !volumes.count(edge.held)) continue;
            above[edge.held].push_back(&edge);
            standing.insert(edge.holder);
        }
        for (auto& row : interval.mounts.rows) mounts[row.dev].push_back(&row);
    }
    std::vector<const HoldsRow*> on(std::string_view dev) const {
        const auto found = above.find(dev);
        return found == above.end() ? std::vector<const HoldsRow*>{} : found->second;
    }
    // The first place, and how many more there are: "/srv +2".
    std::string mounted(std::string_view dev) const {
        const auto found = mounts.find(dev);
        if (found == mounts.end()) return {};
        const auto more = found->second.size() - 1;
        return safeText(found->second[0]->point) + (more ? " +" + std::to_string(more) : "");
    }
};

// --- The tree

static std::string nameOf(const VolumeRow& row) {
    const bool mapped = row.name.starts_with("dm-") && !row.label.empty();
    return safeText(mapped ? row.label : row.name);
}

// What a name alone does not tell: the array's name, the loop's file, the disk's model.
static std::string detailOf(const VolumeRow& row) {
    const auto name = nameOf(row), label = safeText(row.label);
    return label == name || row.kind == "part" ? std::string() : label;
}

static std::string joined(std::initializer_list<std::string> parts) {
    std::string text;
    for (auto& part : parts)
        if (!part.empty()) text.append(text.empty() ? "" : ", ").append(part);
    return text;
}

// "path failed, device offline"; a member's or cache's state as it is. Nothing where all is as it should be.
static std::string edgeState(const HoldsRow& edge) {
    const bool usual = edge.state == "active" || edge.state == "in_sync" || edge.state == "optimized";
    const bool runs = edge.device_state.empty() || edge.device_state == "running" || edge.device_state == "live";
    std::string state;
    if (!usual && !edge.state.empty()) state = (edge.device_state.empty() ? "" : "path ") + safeText(edge.state);
    return joined({state, runs ? "" : "device " + safeText(edge.device_state)});
}

namespace {
class Tree {
    const DeviceMap& map;
    Table& table;
    std::set<std::string_view> shown;
    size_t left;

    void row(const VolumeRow& row, const HoldsRow* edge, size_t level) {
        const bool again = !shown.insert(row.dev).second;
        const auto path = edge ? edgeState(*edge) : std::string();
        table.cell(std::string(2 * level, ' ') + nameOf(row));
        table.cell(again ? "" : orNone(row.size_bytes, sizeText));
        table.cell(again ? "above" : safeText(row.kind), again ? Tone::Dim : Tone::Plain);
        table.cell(again ? "" : safeText(row.fs));
        table.cell(joined({path, again ? "" : safeText(row.state)}), Tone::Notice);
        table.cell(again ? "" : map.mounted(row.dev));
        table.cell(again ? "" : detailOf(row), Tone::Dim);
        if (again || level >= DeepestMap) return;
        for (const auto* next : map.on(row.dev)) add(next->holder, next, level + 1);
    }

public:
    Tree(const DeviceMap& all, Table& into, size_t most) : map(all), table(into), left(most) {}
    void add(std::string_view dev, const HoldsRow* edge = nullptr, size_t level = 0) {
        if (!left) return;
        left--;
        row(*map.volumes.at(dev), edge, level);
    }
    bool has(std::string_view dev) const { return shown.count(dev) > 0; }
};
} // namespace

static void showGroups(const Interval& interval, Page& page) {
    static constexpr Column Columns[] = {
        {"GROUP", 22, 0, true },
        {"size",  6,  0, false},
        {"free",  6,  0, false},
        {"state", 8,  1, true },
    };
    Table table(Columns);
    for (auto& group : interval.volumeGroups.rows) {
        table.cell(safeText(group.name));
        table.cell(orNone(group.size_bytes, sizeText)), table.cell(orNone(group.free_bytes, sizeText));
        table.cell(safeText(group.state), Tone::Bad);
    }
    if (!table.empty()) table.show(page);
}

void showVolumes(const Interval& interval, const View& view, Page& page) {
    static constexpr Column Columns[] = {
        {"VOLUME",  22, 0, true },
        {"size",    6,  2, false},
        {"kind",    6,  1, true },
        {"content", 11, 3, true },
        {"state",   8,  0, true },
        {"mounted", 12, 0, true },
        {"is",      2,  4, true },
    };
    const DeviceMap map(interval);
    Table table(Columns);
    Tree tree(map, table, view.rowsOr(static_cast<size_t>(-1)));
    for (auto& row : interval.volumes.rows)
        if (!map.standing.count(row.dev)) tree.add(row.dev);
    // Only in a damaged log does something stand on itself.
    for (auto& row : interval.volumes.rows)
        if (!tree.has(row.dev)) tree.add(row.dev);
    if (!table.empty()) table.show(page);
    showGroups(interval, page);
}

// --- What a disk holds

namespace {
struct Use {
    std::string group, text; // "vg_sys:" "root /"
};

class Uses {
    const DeviceMap& map;
    std::set<std::string_view> seen;

    // "p2" of sda2, nvme0n1p2 and mpatha-part2.
    static std::string partName(const VolumeRow& row) {
        const auto name = nameOf(row);
        return "p" + name.substr(name.find_last_not_of("0123456789") + 1);
    }
    void addVolume(const VolumeRow& row, const std::string& chain, size_t level) {
        const auto slash = std::min(row.label.find('/'), row.label.size());
        const auto mounts = map.mounted(row.dev);
        const auto upper = map.on(row.dev);
        const auto name = safeText(std::string_view(row.label).substr(std::min(slash + 1, row.label.size())));
        if (!mounts.empty() || upper.empty())
            all.push_back(
                {chain + safeText(row.label.substr(0, slash)) + ":", mounts.empty() ? name : name + " " + mounts});
        add(row.dev, chain, level);
    }
    void addOther(const VolumeRow& row, const std::string& chain, size_t level) {
        const auto mounts = map.mounted(row.dev);
        const bool part = row.kind == "part";
        const auto name = part ? partName(row) : nameOf(row);
        if (!mounts.empty()) all.push_back({chain, name + " " + mounts});
        else if (!part && map.on(row.dev).empty()) all.push_back({chain, name});
        add(row.dev, part ? chain : chain + name + " ", level);
    }

public:
    std::vector<Use> all;
    explicit Uses(const DeviceMap& rows) : map(rows) {}
    void add(std::string_view dev, const std::string& chain, size_t level) {
        if (level >= DeepestMap) return;
        for (const auto* edge : map.on(dev)) {
            if (!seen.insert(edge->holder).second) continue;
            const auto& row = *map.volumes.at(edge->holder);
            if (row.kind == "lvm" || row.kind == "thinpool") addVolume(row, chain, level + 1);
            else addOther(row, chain, level + 1);
        }
    }
};
} // namespace

Holdings::Holdings(const Interval& interval) : map(std::make_unique<DeviceMap>(interval)) {}
Holdings::Holdings(Holdings&&) noexcept = default;
Holdings& Holdings::operator=(Holdings&&) noexcept = default;
Holdings::~Holdings() = default;

std::string Holdings::of(std::string_view dev) const {
    Uses uses(*map);
    if (const auto mounts = map->mounted(dev); !mounts.empty()) uses.all.push_back({"", mounts});
    uses.add(dev, "", 0);
    std::string text, group;
    for (auto& use : uses.all) {
        const bool same = use.group == group && !text.empty();
        text.append(text.empty() ? "" : ", ");
        if (!same && !use.group.empty()) text.append(use.group).append(use.group.ends_with(' ') ? "" : " ");
        text.append(use.text);
        group = use.group;
    }
    return text;
}
