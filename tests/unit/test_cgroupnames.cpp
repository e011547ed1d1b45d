// Names of containers and pods, and where they come from.
#include "tests/unit/cgroupmachine.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

// The members that a group does not name have their defaults.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

TEST(CgroupRows, NamesOfContainers) {
    const std::string a(64, 'a'), b(64, 'b'), c(64, 'c'), d(64, 'd'), uid = "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9";
    const std::string pod = "/kubepods.slice/kubepods-pod0a1b2c3d_4e5f_6071_8293_a4b5c6d7e8f9.slice";
    GroupMachine machine(GroupMounts + groupOf("", {.below = 8}) + groupOf("/system.slice", {}) +
                         groupOf("/system.slice/docker-" + a + ".scope", {}) + groupOf("/machine.slice", {}) +
                         groupOf("/machine.slice/libpod-" + b + ".scope", {}) + groupOf("/kubepods.slice", {}) +
                         groupOf(pod, {}) + groupOf(pod + "/cri-containerd-" + c + ".scope", {}) +
                         groupOf(pod + "/crio-" + d + ".scope", {}) + "file /var/lib/docker/containers/" + a +
                         "/config.v2.json <<END\n{\"Name\":\"/web\"}\nEND\n"
                         "file /var/lib/containers/storage/overlay-containers/containers.json <<END\n[{\"id\":\"" +
                         b + "\",\"names\":[\"db\"]}]\nEND\nlink /var/log/containers/api_shop_main-" + c + ".log /x\n" +
                         "dir /var/log/pods/shop_api_" + uid + "\nstep 1\nstep 2\n");
    auto result = machine.next(true);
    const auto* row = result.find("/system.slice/docker-" + a + ".scope");
    ASSERT_TRUE(row);
    EXPECT_EQ(row->name, "web");
    EXPECT_EQ(row->kind, "container");
    EXPECT_TRUE(row->named);
    EXPECT_EQ(result.find("/machine.slice/libpod-" + b + ".scope")->name, "db");
    EXPECT_EQ(result.find(pod)->name, "shop/api");
    EXPECT_EQ(result.find(pod)->kind, "pod");
    EXPECT_EQ(result.find(pod + "/cri-containerd-" + c + ".scope")->name, "shop/api:main");
    row = result.find(pod + "/crio-" + d + ".scope");
    EXPECT_EQ(row->name, "dddddddddddd") << "no file has its name";
    EXPECT_FALSE(row->named);
    // Names are looked up when a group is new, not each time.
    std::string opened;
    machine.made.world.watch = [&](const std::string& path) { opened += path + "\n"; };
    machine.next();
    EXPECT_EQ(opened.find("/var/"), opened.npos) << opened;
}

// Lists and files that do not fit into one answer come in pieces.
TEST(CgroupRows, NamesOfManyContainers) {
    const std::string id(64, 'e'), podman(64, 'f');
    std::string lines = GroupMounts + groupOf("", {.below = 3}) + groupOf("/machine.slice", {.below = 2}) +
                        groupOf("/machine.slice/libpod-" + podman + ".scope", {}) +
                        groupOf("/machine.slice/crio-" + id + ".scope", {}),
                json = "[";
    for (int i = 0; i < 900; i++) {
        auto other = std::to_string(100000 + i);
        other.resize(64, '0');
        lines += "link /var/log/containers/api_shop_main-" + other + ".log /x\n";
        json += "{\"id\":\"" + other + "\",\"names\":[\"n" + std::to_string(i) + "\"],\"layer\":\"" + other + "\"},";
    }
    ASSERT_GT(json.size(), 2U * 65536);
    lines += "link /var/log/containers/web_shop_last-" + id + ".log /x\nfile " +
             "/var/lib/containers/storage/overlay-containers/containers.json <<END\n" + json + "{\"id\":\"" + podman +
             "\",\"names\":[\"db\"]}]\nEND\n";
    for (int i = 1; i < 9; i++) lines += "step " + std::to_string(i) + "\n";
    GroupMachine machine(lines);
    GroupResult result;
    for (int i = 1; i < 8; i++) {
        auto next = machine.next();
        if (next.find("/machine.slice/crio-" + id + ".scope")) result = std::move(next); // a row when its name is known
    }
    ASSERT_TRUE(result.find("/machine.slice/crio-" + id + ".scope"));
    EXPECT_EQ(result.find("/machine.slice/crio-" + id + ".scope")->name, "shop/web:last");
    EXPECT_EQ(result.find("/machine.slice/libpod-" + podman + ".scope")->name, "db");
}

// Storage that does not answer holds nobody up, and the id stays.
TEST(CgroupRows, NamesThatDoNotCome) {
    const std::string a(64, 'a'), b(64, 'b'), docker = "/var/lib/docker/containers/";
    GroupMachine machine(GroupMounts + groupOf("", {.below = 2}) + groupOf("/docker-" + a + ".scope", {}) +
                         groupOf("/docker-" + b + ".scope", {}) + "text " + docker + a +
                         "/config.v2.json \"{}\"\nhang " + docker + a + "/config.v2.json\ntext " + docker + b +
                         "/config.v2.json \"{}\"\nfail open " + docker + b +
                         "/config.v2.json EACCES\nstep 1\nstep 2\nstep 3\nstep 4\n");
    for (int i = 0; i < 3; i++) machine.next();
    const auto result = machine.next(true);
    EXPECT_EQ(result.find("/docker-" + a + ".scope")->name, "aaaaaaaaaaaa");
    EXPECT_FALSE(result.find("/docker-" + b + ".scope")->named);
    EXPECT_GE(machine.sampler.notAllowed(), 1U);
    EXPECT_EQ(machine.helper.abandoned(), 0U); // nobody waits for it any more
}
