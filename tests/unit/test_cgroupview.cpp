// The table of groups.
#include "view/cgroup.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

static CgroupRow rowOf(const std::string& path, uint64_t cpu_us) {
    CgroupRow row;
    row.path = path, row.name = path.substr(path.rfind('/') + 1), row.kind = "unit", row.named = true;
    row.cpu_us = cpu_us;
    return row;
}

static std::string shown(const Interval& interval, size_t width, const ViewRow& asked = {}) {
    const LogHead head;
    Page page(width, false);
    showCgroups(interval, {head, asked}, page);
    return page.text();
}

static Interval someGroups() {
    Interval interval;
    interval.cgroupsTotal.rows = {{2, 30, 26}};
    interval.cgroups.elapsed_us = 2000000;
    auto& rows = interval.cgroups.rows;
    rows = {rowOf("/", 3000000), rowOf("/system.slice/cron.service", 20000), rowOf("/idle.slice", 0)};
    auto api = rowOf("/kubepods.slice/kubepods-pod1.slice/cri-containerd-3f2a91c04e1b.scope", 1000000);
    api.kind = "container", api.name = "shop/api:main";
    api.periods = 20, api.throttled_periods = 19, api.quota = 0.5;
    api.memory = 96, api.memory_limit = 100;
    rows.push_back(api);
    return interval;
}

TEST(CgroupView, TheBusiestFirst) {
    const auto text = shown(someGroups(), 120);
    const auto root = text.find("\n/ "), api = text.find("\nshop/api:main "), cron = text.find("\n/system.slice/cron");
    EXPECT_TRUE(root < api && api < cron && cron != text.npos) << text;
    EXPECT_EQ(text.find("idle.slice"), text.npos);
    EXPECT_NE(text.find(" 50.0  0.50  100.0  95.0    96  96.0"), text.npos) << text;
    EXPECT_NE(text.find("30 groups, 26 idle\n"), text.npos) << text;
}

TEST(CgroupView, LimitsOrderAndFilter) {
    ViewRow asked;
    asked.sort = "mem";
    asked.rows = 2;
    auto text = shown(someGroups(), 120, asked);
    EXPECT_NE(text.find("shop/api"), text.npos);
    EXPECT_EQ(text.find("cron"), text.npos);
    EXPECT_NE(text.find("2 more that were active"), text.npos) << text;
    asked.cgroup = "/system.slice/";
    text = shown(someGroups(), 120, asked);
    EXPECT_EQ(text.find("shop/api"), text.npos);
    EXPECT_NE(text.find("cron"), text.npos);
    asked.cgroup = "/system";
    EXPECT_EQ(shown(someGroups(), 120, asked), "CGROUP  30 groups, 26 idle\n");
}

TEST(CgroupView, WhatItCannotShow) {
    EXPECT_EQ(shown(Interval(), 80), "");
    auto interval = someGroups();
    interval.cgroups.rows = {rowOf("/" + std::string(300, 'x') + "\x1B\n/end", 5)};
    const auto text = shown(interval, 80);
    EXPECT_EQ(text.find('\x1B'), text.npos);
    EXPECT_NE(text.find("\n...xxx"), text.npos) << text;
    EXPECT_NE(text.find("\\x1B\\x0A/end "), text.npos) << text;
    interval.cgroups.rows[0].kind = "container", interval.cgroups.rows[0].name = "3f2a91c04e1b";
    interval.cgroups.rows[0].named = false;
    EXPECT_NE(shown(interval, 80).find("\ncontainer 3f2a91c04e1b "), std::string::npos);
}
