// What a control group is, from its path: systemd's units, and containers and pods as their runtimes name them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

enum class GroupKind : uint8_t {
    Root,
    Slice,     // of systemd: holds other groups
    Unit,      // a service or another unit of systemd
    Scope,     // processes that systemd did not start: sessions
    Container, // and the processes of its runtime that watch it
    Pod,
    Group // any other
};
enum class GroupRuntime : uint8_t { None, Docker, Podman, Containerd, Crio, Lxc, Nspawn, Kubernetes };

struct GroupName {
    GroupKind kind = GroupKind::Group;
    GroupRuntime runtime = GroupRuntime::None;
    std::string id;   // of a container its 64 digits, of a pod its uid with hyphens; empty: it has none
    std::string name; // where the path has it: units, LXC's containers; else empty
};

// `name`: the group's own name, the last part of its path; `parent`: that of the group that it is in.
GroupName nameGroup(std::string_view parent, std::string_view name);
std::string_view nameOf(GroupKind kind);

// --- Names in the files of the runtimes

struct ContainerName {
    std::string id, name;
};
// Docker's config.v2.json of a container: "Name" without its slash. Empty: this is no such file.
std::string dockerName(std::string_view json);
// Podman's containers.json: [{"id": "0123...", "names": ["web"]}]. Empty: this is no such file.
std::vector<ContainerName> podmanNames(std::string_view json);
// A link in /var/log/containers, POD_NAMESPACE_CONTAINER-ID.log, as NAMESPACE/POD:CONTAINER.
std::optional<ContainerName> parseContainerLog(std::string_view file);
// A directory of /var/log/pods, NAMESPACE_POD_UID, as NAMESPACE/POD.
std::optional<ContainerName> parsePodLog(std::string_view file);
