#include "model/lvmname.h"

#include <string>

#include <gtest/gtest.h>

static const std::string Uuid = "LVM-vbVv30BJ7C3j6UyjxdDPdMyHuKdYc1LlI0WU2gyF84NyiFU2YUVK4GD9BC2GIMdp";

TEST(LvmName, Split) {
    const auto shown = [](std::string_view name) {
        const auto parts = splitLvmName(name);
        return parts.group + "|" + parts.volume + "|" + parts.layer;
    };
    EXPECT_EQ(shown("vg00-lvhome"), "vg00|lvhome|");
    EXPECT_EQ(shown("vg--a-lv----x.y_z+1"), "vg-a|lv--x.y_z+1|");
    EXPECT_EQ(shown("vg-lv-real"), "vg|lv|real");
    EXPECT_EQ(shown("vg-lv-a-b"), "vg|lv|a-b");
    EXPECT_EQ(shown("vg---lv"), "vg-|lv|");
    EXPECT_EQ(shown(""), "||");
    EXPECT_EQ(shown("-"), "||");
    EXPECT_EQ(shown("---"), "-||");
    EXPECT_EQ(shown("plain"), "plain||");
}

TEST(LvmName, HiddenLayers) {
    EXPECT_FALSE(isHiddenLvm("vg-root", Uuid));
    EXPECT_FALSE(isHiddenLvm("vg-pool0", Uuid + "-pool"));
    EXPECT_FALSE(isHiddenLvm("vg-my_rimage", Uuid));
    EXPECT_FALSE(isHiddenLvm("vg-rimage_0", Uuid)); // no underscore before the word
    EXPECT_FALSE(isHiddenLvm("vg-r5_rimage_0", "mpath-x"));
    EXPECT_FALSE(isHiddenLvm("vg-r5_rimage_0", ""));
    EXPECT_FALSE(isHiddenLvm("", Uuid));
    EXPECT_FALSE(isHiddenLvm("123", Uuid));
    for (const auto* name :
         {"vg-r5_rimage_0", "vg-r5_rmeta_12", "vg-m_mimage_1", "vg-m_mlog", "vg-p_tdata", "vg-pvmove0"})
        EXPECT_TRUE(isHiddenLvm(name, Uuid)) << name;
    for (const auto* suffix : {"-real", "-cow", "-tpool", "-tmeta", "-cvol"})
        EXPECT_TRUE(isHiddenLvm("vg-x", Uuid + suffix)) << suffix;
}

TEST(LvmName, OwnersOfSharedLayers) {
    EXPECT_EQ(layerOwner("vg-pool0-tpool", Uuid + "-tpool"), "vg-pool0");
    EXPECT_EQ(layerOwner("vg-orig-real", Uuid + "-real"), "vg-orig");
    EXPECT_EQ(layerOwner("vg-slow_corig", Uuid + "-real"), "");
    EXPECT_EQ(layerOwner("vg-x-real", Uuid), "");
    EXPECT_EQ(layerOwner("vg-x-real", "CRYPT-real"), "");
}
