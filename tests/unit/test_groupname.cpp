#include "parse/groupname.h"

#include <string>

#include <gtest/gtest.h>

static const std::string Id = "3f2a91c04e1b5d6f7a8b9c0d1e2f3a4b5c6d7e8f9a0b1c2d3e4f5a6b7c8d9e0f";
static const std::string Pod = "kubepods-burstable-pod0a1b2c3d_4e5f_6071_8293_a4b5c6d7e8f9.slice";
static const std::string Uid = "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9";

TEST(GroupName, Containers) {
    using R = GroupRuntime;
    const struct {
        std::string parent, name;
        R runtime;
    } cases[] = {
        {"system.slice", "docker-" + Id + ".scope", R::Docker},
        {"docker", Id, R::Docker},
        {"machine.slice", "libpod-" + Id + ".scope", R::Podman},
        {"machine.slice", "libpod-conmon-" + Id + ".scope", R::Podman},
        {"libpod_parent", "libpod-" + Id, R::Podman},
        {Pod, "cri-containerd-" + Id + ".scope", R::Containerd},
        {"pod" + Uid, Id, R::Kubernetes},
        {"system.slice", "nerdctl-" + Id + ".scope", R::Containerd},
        {"containerd.service", "kubepods-burstable-pod" + Uid + ".slice:cri-containerd:" + Id, R::Containerd},
        {Pod, "crio-" + Id + ".scope", R::Crio},
        {Pod, "crio-conmon-" + Id + ".scope", R::Crio},
        {"pod" + Uid, "crio-" + Id, R::Crio},
        {"of a tool of one's own", Id, R::None},
    };
    for (auto& [parent, name, runtime] : cases) {
        const auto group = nameGroup(parent, name);
        EXPECT_EQ(group.kind, GroupKind::Container) << name;
        EXPECT_EQ(group.runtime, runtime) << name;
        EXPECT_EQ(group.id, Id) << name;
        EXPECT_EQ(group.name, "") << name;
    }
}

TEST(GroupName, ContainersWithANameInThePath) {
    for (auto& [parent, name] : {std::pair{"", "lxc.payload.web"},
                                 {"", "lxc.monitor.web"},
                                 {"lxc", "web"},
                                 {"lxc.payload", "web"},
                                 {"machine.slice", "systemd-nspawn@web.service"}}) {
        const auto group = nameGroup(parent, name);
        EXPECT_EQ(group.kind, GroupKind::Container) << name;
        EXPECT_EQ(group.name, "web") << name;
        EXPECT_EQ(group.id, "") << name;
    }
    const auto colon = nameGroup("", "lxc.payload.web:1");
    EXPECT_EQ(colon.name, "web:1");
    EXPECT_EQ(colon.id, "");
}

TEST(GroupName, Pods) {
    const std::string names[] = {Pod, "kubepods-besteffort-pod0a1b2c3d_4e5f_6071_8293_a4b5c6d7e8f9.slice",
                                 "kubepods-pod0a1b2c3d_4e5f_6071_8293_a4b5c6d7e8f9.slice", "pod" + Uid};
    for (auto& name : names) {
        const auto group = nameGroup("kubepods.slice", name);
        EXPECT_EQ(group.kind, GroupKind::Pod) << name;
        EXPECT_EQ(group.id, Uid) << name;
    }
    // Those that a node defines for itself.
    EXPECT_EQ(nameGroup("burstable", "pod0123456789abcdef0123456789abcdef").id, "0123456789abcdef0123456789abcdef");
}

TEST(GroupName, UnitsAndOthers) {
    const struct {
        const char* name;
        GroupKind kind;
    } cases[] = {
        {"", GroupKind::Root},
        {"system.slice", GroupKind::Slice},
        {"kubepods.slice", GroupKind::Slice},
        {"kubepods-burstable.slice", GroupKind::Slice},
        {"ssh.service", GroupKind::Unit},
        {"user@1000.service", GroupKind::Unit},
        {"dev-disk-by\\x2duuid.swap", GroupKind::Unit},
        {"session-4.scope", GroupKind::Scope},
        {".service", GroupKind::Group},
        {"docker", GroupKind::Group},
        {"docker-3f2a91c04e1b.scope", GroupKind::Scope}, // too short for an id
        {"libpod-", GroupKind::Group},
        {":", GroupKind::Group},
        {"lxc.payload.", GroupKind::Group},
        {"systemd-nspawn@.service", GroupKind::Unit},
        {"podcast", GroupKind::Group},
        {"podzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzz", GroupKind::Group},
        {"kubepods-pod.slice", GroupKind::Slice},
        {"a\nb\x1B[31m", GroupKind::Group},
    };
    for (auto& [name, kind] : cases) {
        const auto group = nameGroup("above", name);
        EXPECT_EQ(group.kind, kind) << name;
        EXPECT_EQ(group.id, "") << name;
        EXPECT_EQ(group.runtime, GroupRuntime::None) << name;
    }
    EXPECT_EQ(nameGroup("system.slice", "ssh.service").name, "ssh.service");
    EXPECT_EQ(nameGroup("", std::string(4096, 'f')).kind, GroupKind::Group);
}

TEST(GroupName, FilesOfTheRuntimes) {
    EXPECT_EQ(dockerName(R"({"ID":"3f2a","Name":"/web","Config":{"Image":"nginx"}})"), "web");
    EXPECT_EQ(dockerName(R"({"Name":"a/b"})"), "a/b");
    for (auto text : {"", "{", "[]", "{}", R"({"Name":7})", R"({"Name":null})", R"(["Name"])"})
        EXPECT_EQ(dockerName(text), "") << text;

    const auto names = podmanNames(R"([{"id":"3f2a","names":["db","alias"],"layer":"x"},{"id":"4b"},{"names":["c"]},
                                       {"id":7,"names":["d"]},{"id":"5c","names":[1]},{"id":"6d","names":["e"]},3])");
    ASSERT_EQ(names.size(), 2U);
    EXPECT_EQ(names[0].id, "3f2a");
    EXPECT_EQ(names[0].name, "db");
    EXPECT_EQ(names[1].name, "e");
    for (auto text : {"", "[", "{}", "3"}) EXPECT_TRUE(podmanNames(text).empty()) << text;

    const auto log = parseContainerLog("api-7f9c_shop_api-server-" + Id + ".log");
    ASSERT_TRUE(log);
    EXPECT_EQ(log->id, Id);
    EXPECT_EQ(log->name, "shop/api-7f9c:api-server");
    const std::string wrong[] = {"",
                                 ".log",
                                 "a_b_c.log",
                                 "a_b_c-" + Id,
                                 "a_b_-" + Id + ".log",
                                 "_b_c-" + Id + ".log",
                                 "a__c-" + Id + ".log",
                                 "a-" + Id + ".log"};
    for (auto& file : wrong) EXPECT_FALSE(parseContainerLog(file)) << file;

    const auto pod = parsePodLog("shop_api-7f9c_" + Uid);
    ASSERT_TRUE(pod);
    EXPECT_EQ(pod->id, Uid);
    EXPECT_EQ(pod->name, "shop/api-7f9c");
    for (auto file : {"", "a", "a_b", "a_b_", "_b_c"}) EXPECT_FALSE(parsePodLog(file)) << file;
}
