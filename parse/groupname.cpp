#include "parse/groupname.h"

#include "parse/json.h"

#include <algorithm>

static bool hasHex(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

// The ids of containers are 64 hexadecimal digits.
static bool isContainerId(std::string_view text) { return text.size() == 64 && hasHex(text); }

// False, and unchanged, when the text does not begin so.
static bool dropStart(std::string_view& text, std::string_view start) {
    if (!text.starts_with(start)) return false;
    text.remove_prefix(start.size());
    return true;
}

static bool dropEnd(std::string_view& text, std::string_view end) {
    if (!text.ends_with(end)) return false;
    text.remove_suffix(end.size());
    return true;
}

// --- Kinds

// "pod0123abcd-..." of the cgroupfs driver, "kubepods-burstable-pod0123abcd_....slice" of systemd's, where hyphens
// would separate slices. Pods that the node itself defines have a uid of 32 digits without hyphens.
static bool podOf(std::string_view name, std::string& uid) {
    const bool slice = dropEnd(name, ".slice");
    if (slice) {
        const auto at = name.rfind("-pod");
        if (!name.starts_with("kubepods") || at == name.npos) return false;
        name.remove_prefix(at + 1);
    }
    if (!dropStart(name, "pod") || name.size() < 32 || name.size() > 36) return false;
    if (!std::all_of(name.begin(), name.end(), [](char c) { return c == '-' || c == '_' || hasHex({&c, 1}); }))
        return false;
    uid = name;
    if (slice) std::replace(uid.begin(), uid.end(), '_', '-');
    return true;
}

static constexpr struct {
    std::string_view start;
    GroupRuntime runtime;
} Prefixes[] = {
    {"docker-",         GroupRuntime::Docker    },
    {"libpod-conmon-",  GroupRuntime::Podman    },
    {"libpod-",         GroupRuntime::Podman    },
    {"cri-containerd-", GroupRuntime::Containerd},
    {"nerdctl-",        GroupRuntime::Containerd},
    {"crio-conmon-",    GroupRuntime::Crio      },
    {"crio-",           GroupRuntime::Crio      },
};

// False, and the group unchanged, when the name is none of these:
// "docker-ID.scope", "crio-ID", and "kubepods-....slice:cri-containerd:ID" where the two drivers are mixed up.
static bool containerOf(std::string_view name, GroupName& group) {
    dropEnd(name, ".scope");
    if (const auto colon = name.rfind(':'); colon != name.npos) {
        const auto driver = name.substr(0, colon), id = name.substr(colon + 1);
        if (!isContainerId(id)) return false;
        group.id = id;
        group.runtime = driver.ends_with(":crio") ? GroupRuntime::Crio : GroupRuntime::Containerd;
        return true;
    }
    for (auto& [start, runtime] : Prefixes)
        if (auto rest = name; dropStart(rest, start) && isContainerId(rest)) {
            group.id = rest, group.runtime = runtime;
            return true;
        }
    return false;
}

// A name that is an id alone: the group that it is in decides whose.
static GroupRuntime runtimeOf(std::string_view parent) {
    std::string uid;
    if (podOf(parent, uid)) return GroupRuntime::Kubernetes;
    if (parent == "docker") return GroupRuntime::Docker;
    if (parent == "libpod_parent") return GroupRuntime::Podman;
    return GroupRuntime::None;
}

// "lxc.payload.NAME", "lxc.monitor.NAME", "lxc/NAME", "lxc.payload/NAME"
static bool lxcOf(std::string_view parent, std::string_view name, GroupName& group) {
    const bool below = parent == "lxc" || parent == "lxc.payload" || parent == "lxc.monitor";
    if (!below && !dropStart(name, "lxc.payload.") && !dropStart(name, "lxc.monitor.")) return false;
    if (name.empty()) return false;
    group.runtime = GroupRuntime::Lxc;
    group.name = name;
    return true;
}

static GroupKind unitKind(std::string_view name) {
    if (name.ends_with(".slice")) return GroupKind::Slice;
    if (name.ends_with(".scope")) return GroupKind::Scope;
    for (std::string_view end : {".service", ".socket", ".mount", ".swap"})
        if (name.ends_with(end) && name.size() > end.size()) return GroupKind::Unit;
    return GroupKind::Group;
}

GroupName nameGroup(std::string_view parent, std::string_view name) {
    GroupName group;
    if (name.empty()) {
        group.kind = GroupKind::Root;
        return group;
    }
    if (podOf(name, group.id)) {
        group.kind = GroupKind::Pod, group.runtime = GroupRuntime::Kubernetes;
        return group;
    }
    group.kind = GroupKind::Container;
    if (containerOf(name, group) || lxcOf(parent, name, group)) return group;
    if (isContainerId(name)) {
        group.id = name, group.runtime = runtimeOf(parent);
        return group;
    }
    if (auto machine = name;
        dropStart(machine, "systemd-nspawn@") && dropEnd(machine, ".service") && !machine.empty()) {
        group.name = machine, group.runtime = GroupRuntime::Nspawn;
        return group;
    }
    group.kind = unitKind(name);
    if (group.kind != GroupKind::Group) group.name = name;
    return group;
}

std::string_view nameOf(GroupKind kind) {
    static constexpr std::string_view Names[] = {"root", "slice", "unit", "scope", "container", "pod", "group"};
    return Names[static_cast<size_t>(kind)];
}

// --- Files of the runtimes

std::string dockerName(std::string_view json) {
    const auto config = parseJson(json);
    if (!config || (*config)["Name"].kind != Json::String) return {};
    auto name = (*config)["Name"].word();
    dropStart(name, "/");
    return std::string(name);
}

std::vector<ContainerName> podmanNames(std::string_view json) {
    std::vector<ContainerName> names;
    const auto containers = parseJson(json);
    if (!containers || containers->kind != Json::Array) return names;
    for (auto& container : containers->items) {
        auto& known = container["names"];
        if (container["id"].kind != Json::String || known.items.empty() || known.items[0].kind != Json::String)
            continue;
        names.push_back({container["id"].text, known.items[0].text});
    }
    return names;
}

// The parts of POD_NAMESPACE_REST: names of Kubernetes have no underscore.
static bool threeParts(std::string_view text, std::string_view (&parts)[3]) {
    const auto first = text.find('_');
    const auto second = first == text.npos ? first : text.find('_', first + 1);
    if (second == text.npos) return false;
    parts[0] = text.substr(0, first);
    parts[1] = text.substr(first + 1, second - first - 1);
    parts[2] = text.substr(second + 1);
    return !parts[0].empty() && !parts[1].empty() && !parts[2].empty();
}

std::optional<ContainerName> parseContainerLog(std::string_view file) {
    std::string_view parts[3];
    if (!dropEnd(file, ".log") || !threeParts(file, parts)) return {};
    const auto hyphen = parts[2].rfind('-');
    if (hyphen == 0 || hyphen == parts[2].npos || !isContainerId(parts[2].substr(hyphen + 1))) return {};
    ContainerName log;
    log.id = parts[2].substr(hyphen + 1);
    log.name.append(parts[1]).append("/").append(parts[0]).append(":").append(parts[2].substr(0, hyphen));
    return log;
}

std::optional<ContainerName> parsePodLog(std::string_view file) {
    std::string_view parts[3];
    if (!threeParts(file, parts)) return {};
    ContainerName log;
    log.id = parts[2];
    log.name.append(parts[0]).append("/").append(parts[1]);
    return log;
}
